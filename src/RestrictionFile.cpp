#include "RestrictionFile.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

#include "product/log.h"

namespace {

using VESK::Log;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// A rule line, and so each part of it, has less.
constexpr std::size_t LINE_SIZE = 1024;
constexpr std::size_t KEY_WIDTH = 20;
constexpr std::size_t BLOCK_SIZE = 256 * 1024;

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
  // Only what was written to `gathered` is read. cppcheck-suppress uninitMemberVar
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
  static constexpr std::size_t LONGEST = KEY_WIDTH + LINE_SIZE + 2;

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

void writeRule(const Rule& rule, std::FILE* out) {
  if (rule.prefixLength != nullptr) {
    EnumerateAlternateIPAddresses(rule.address, rule.prefixLength, out, rule.action);
  } else {
    TableLines(out, rule.action).write(rule.address, std::strlen(rule.address));
  }
}

bool fail(const char* step, const char* path) {
  const int error = errno;
  Log::LogByLevel(1, "client restrictions: cannot %s %s: %s", step, path, std::strerror(error));
  return false;
}

bool sameFile(std::FILE* one, std::FILE* other) {
  struct stat first {};
  struct stat second {};
  return fstat(fileno(one), &first) == 0 && fstat(fileno(other), &second) == 0 &&
         S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// By now another call may have put its own table there.
bool isAt(const char* path, std::FILE* file) {
  struct stat named {};
  struct stat opened {};
  return lstat(path, &named) == 0 && fstat(fileno(file), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

bool writeRules(std::FILE* in, const char* input, std::FILE* out, const char* output) {
  char line[LINE_SIZE];
  Rule rule;
  while (ferror_unlocked(out) == 0 && fgets_unlocked(line, sizeof line, in) != nullptr) {
    if (parseRule(line, rule)) writeRule(rule, out);
  }
  if (ferror_unlocked(in) != 0) return fail("read", input);
  return (std::fflush(out) == 0 && ferror_unlocked(out) == 0) || fail("write", output);
}

// A table that is cut off would look whole to Postfix. `out` is null when it is closed already.
void dropTable(const File& out, const char* path) {
  int emptied = 0;
  if (out == nullptr) {
    emptied = truncate(path, 0);
  } else {
    __fpurge(out.get());
    emptied = ftruncate(fileno(out.get()), 0);
  }
  if (emptied != 0) fail("empty", path);
}

File streamOf(int descriptor) {
  if (descriptor < 0) return {};
  File file(fdopen(descriptor, "w"));
  if (!file) close(descriptor);
  return file;
}

// Not emptied yet. `made` tells whether it was not there before.
File openForWriting(const char* path, bool& made) {
  constexpr int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
  const int descriptor = open(path, flags | O_EXCL, 0666);
  made = descriptor >= 0;
  return streamOf(made ? descriptor : open(path, flags, 0666));
}

// A new file beside the table, which takes its place when it is whole. There is none for what is no
// plain file of one name, nor where the folder takes no file or not with the table's owner and
// mode: the table itself is then written to.
class Draft {
 public:
  Draft(const char* tablePath, std::FILE* table) : path(tablePath) {
    struct stat status {};
    if (!isAt(path, table) || fstat(fileno(table), &status) != 0) return;
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1) return;
    std::snprintf(name, sizeof name, "%s.XXXXXX", path);
    const int descriptor = mkostemp(name, O_CLOEXEC);
    if (descriptor < 0) {
      name[0] = '\0';
      return;
    }
    stream = streamOf(descriptor);
    if (!stream || !takeAfter(status)) drop();
  }
  ~Draft() { drop(); }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  explicit operator bool() const { return stream != nullptr; }
  std::FILE* get() const { return stream.get(); }

  bool place() {
    // Else a power cut may leave the new name and none of the content.
    if (fdatasync(fileno(stream.get())) != 0) return fail("write", path);
    if (std::fclose(stream.release()) != 0) return fail("write", path);
    if (std::rename(name, path) != 0) return fail("replace", path);
    name[0] = '\0';
    return true;
  }

 private:
  bool takeAfter(const struct stat& table) {
    struct stat own {};
    const int descriptor = fileno(stream.get());
    if (fstat(descriptor, &own) != 0) return false;
    const bool sameOwner = own.st_uid == table.st_uid && own.st_gid == table.st_gid;
    return (sameOwner || fchown(descriptor, table.st_uid, table.st_gid) == 0) &&
           fchmod(descriptor, table.st_mode & 07777) == 0;
  }
  void drop() {
    stream.reset();
    if (name[0] != '\0') unlink(name);
    name[0] = '\0';
  }

  const char* path;
  char name[PATH_MAX + sizeof ".XXXXXX"] = {};  // no heap, which may be at its end
  File stream;
};

// Into the table itself, which is emptied when it does not become whole.
bool writeInPlace(std::FILE* in, const char* input, File& out, const char* output) {
  if (ftruncate(fileno(out.get()), 0) != 0 && errno != EINVAL) return fail("empty", output);
  if (writeRules(in, input, out.get(), output)) {
    if (std::fclose(out.release()) == 0) return true;
    fail("write", output);
  }
  dropTable(out, output);
  return false;
}

}  // namespace

void EnumerateAlternateIPAddresses(const char* address, const char* prefixLength, std::FILE* out,
                                   const char* action) {
  const int prefix = lengthOf(prefixLength);
  if (prefix < 1 || prefix > 32) return;
  TableLines lines(out, action);
  enumerate(address, prefix, lines);
}

bool writeRestrictionFile(const char* input, const char* output) {
  const auto buffers = std::make_unique<char[]>(2 * BLOCK_SIZE);  // outlive the files
  File in(std::fopen(input, "re"));
  if (!in) return fail("open", input);
  bool made = false;
  File out = openForWriting(output, made);
  if (!out) {
    static_cast<void>(in.release());  // stays open until the process ends, on purpose
    return fail("open", output);
  }
  if (sameFile(in.get(), out.get())) {
    Log::LogByLevel(1, "client restrictions: %s cannot be both rules and table", input);
    return false;
  }
  std::setvbuf(in.get(), buffers.get(), _IOFBF, BLOCK_SIZE);
  Draft draft(output, out.get());
  std::setvbuf(draft ? draft.get() : out.get(), buffers.get() + BLOCK_SIZE, _IOFBF, BLOCK_SIZE);
  if (!draft) return writeInPlace(in.get(), input, out, output);
  if (writeRules(in.get(), input, draft.get(), output) && draft.place()) return true;
  if (made && isAt(output, out.get())) unlink(output);
  return false;
}
