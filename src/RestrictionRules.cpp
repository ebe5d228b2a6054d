#include "RestrictionRules.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t KEY_WIDTH = 20;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Pointers into the line that was parsed.
struct Rule {
  const char* address;
  const char* prefixLength;  // null for a host
  const char* action;
};

void dropLineEnd(char* line) {
  const std::size_t length = std::strlen(line);
  if (length > 0 && (line[length - 1] == '\n' || line[length - 1] == '\r')) line[length - 1] = '\0';
}

// Where the action begins; null when the rule ends before. `separator` is the one character between
// the key and the action that must be there.
char* actionBehind(char* separator) {
  if (*separator == '\0') return nullptr;
  *separator = '\0';
  char* action = separator + 1;
  while (*action == ' ' || *action == '\t') ++action;
  return *action == '\0' ? nullptr : action;
}

bool parseRule(char* line, Rule& rule) {
  dropLineEnd(line);
  rule.address = line;
  rule.prefixLength = nullptr;
  char* end = line;
  if (char* slash = std::strchr(line, '/'); slash != nullptr) {
    *slash = '\0';
    end = slash + 1;
    if (!isDigit(*end)) return false;
    rule.prefixLength = end;
    while (isDigit(*end)) ++end;
  } else {
    // A line that begins with neither digit nor dot gives an empty key, on purpose.
    while (isDigit(*end) || *end == '.') ++end;
  }
  rule.action = actionBehind(end);
  return rule.action != nullptr;
}

// The lines of one rule: only their keys differ. They are gathered, since a call of stdio for each
// takes longer than making it.
class TableLines {
 public:
  // Only what was written to `gathered` is read.
  // cppcheck-suppress uninitMemberVar
  TableLines(std::FILE* to, const char* action)
      : out(to), tail(action), tailLength(std::strlen(action)) {}
  ~TableLines() { flush(); }
  TableLines(const TableLines&) = delete;
  TableLines& operator=(const TableLines&) = delete;

  void write(const char* key, std::size_t length) {
    if (sizeof gathered - used < LONGEST) flush();
    char* at = gathered + used;
    std::memset(at, ' ', KEY_WIDTH);
    std::memcpy(at, key, length);
    at += std::max(length, KEY_WIDTH);
    *at++ = '\t';
    std::memcpy(at, tail, tailLength);
    at[tailLength] = '\n';
    used = static_cast<std::size_t>(at + tailLength + 1 - gathered);
  }

 private:
  static constexpr std::size_t LONGEST = 2 * RULE_LINE_SIZE + 2;

  void flush() {
    fwrite_unlocked(gathered, 1, used, out);
    used = 0;
  }

  std::FILE* out;
  const char* tail;
  std::size_t tailLength;
  std::size_t used = 0;
  char gathered[4 * LONGEST];
};

struct Octet {
  char text[3];
  std::uint8_t length;
};

constexpr std::array<Octet, 256> makeOctets() {
  std::array<Octet, 256> octets{};
  for (unsigned value = 0; value < 256; ++value) {
    Octet& octet = octets[value];
    for (unsigned unit = 100; unit > 0; unit /= 10) {
      if (value < unit && unit > 1) continue;
      octet.text[octet.length++] = static_cast<char>('0' + value / unit % 10);
    }
  }
  return octets;
}

constexpr std::array<Octet, 256> OCTETS = makeOctets();

// The first `octets` parts of a dotted address; its length.
std::size_t printParts(std::uint32_t address, int octets, char* text) {
  char* to = text;
  for (int i = 0; i < octets; ++i) {
    const Octet& octet = OCTETS[address >> (24 - 8 * i) & 0xFF];
    if (i > 0) *to++ = '.';
    std::memcpy(to, octet.text, sizeof octet.text);
    to += octet.length;
  }
  return static_cast<std::size_t>(to - text);
}

// Over 32 for every number that is too large.
int lengthOf(const char* digits) {
  int number = 0;
  for (; isDigit(*digits) && number <= 32; ++digits) number = 10 * number + (*digits - '0');
  return number;
}

// The address text without its last `parts` dotted parts, as far as it has them.
std::size_t lengthWithout(const char* address, int parts) {
  std::size_t length = std::strlen(address);
  for (; parts > 0; --parts) {
    const void* dot = memrchr(address, '.', length);
    if (dot == nullptr) break;
    length = static_cast<std::size_t>(static_cast<const char*>(dot) - address);
  }
  return length;
}

// Four decimal numbers. The system's own parser takes 010 for 8, and so another network.
bool parseQuad(const char* text, std::uint32_t& value) {
  for (int octet = 0; octet < 4; ++octet) {
    if (octet > 0 && *text++ != '.') return false;
    if (!isDigit(*text)) return false;
    unsigned number = 0;
    for (; isDigit(*text) && number < 256; ++text) {
      number = 10 * number + static_cast<unsigned>(*text - '0');
    }
    if (number > 255) return false;
    value = value << 8 | number;
  }
  return *text == '\0';
}

void enumerate(const char* address, int prefix, TableLines& lines) {
  const int hostBits = 32 - prefix;
  const int hostOctets = hostBits / 8;
  if (hostBits % 8 == 0) return lines.write(address, lengthWithout(address, hostOctets));
  std::uint32_t value = 0;
  if (!parseQuad(address, value)) return;
  const std::uint32_t network = value & ~0U << hostBits;
  const std::uint32_t step = 1U << 8 * hostOctets;
  const std::uint32_t count = 1U << hostBits % 8;
  // Counted, since nothing lies behind 255.255.255.255.
  for (std::uint32_t i = 0; i < count; ++i) {
    char key[KEY_WIDTH];
    const std::size_t length = printParts(network + i * step, 4 - hostOctets, key);
    lines.write(key, length);
  }
}

}  // namespace

void EnumerateAlternateIPAddresses(const char* address, const char* prefixLength, std::FILE* out,
                                   const char* action) {
  const int prefix = lengthOf(prefixLength);
  if (prefix < 1 || prefix > 32) return;
  TableLines lines(out, action);
  enumerate(address, prefix, lines);
}

void writeRule(char* line, std::FILE* out) {
  Rule rule;
  if (!parseRule(line, rule)) return;
  if (rule.prefixLength != nullptr) {
    EnumerateAlternateIPAddresses(rule.address, rule.prefixLength, out, rule.action);
  } else {
    TableLines(out, rule.action).write(rule.address, std::strlen(rule.address));
  }
}
