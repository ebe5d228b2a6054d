#include "Binary.h"

#include <strings.h>

#include <algorithm>
#include <array>

namespace VESK::directory {

namespace {

unsigned byteAt(std::string_view value, std::size_t at) {
  return static_cast<unsigned char>(value[at]);
}

// Bytes of the character at the start of `text`; 0 when it is none.
std::size_t characterSize(std::string_view text) {
  const unsigned first = byteAt(text, 0);
  if (first < 0x80) return first == 0 ? 0 : 1;
  const std::size_t size = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (size == 0 || first > 0xF4 || text.size() < size) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((byteAt(text, i) & 0xC0) != 0x80) return 0;
  }
  const unsigned second = byteAt(text, 1);
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return wrong ? 0 : size;
}

// SID (revision 1): count of numbers, 48-bit authority, then the numbers, low byte first.
constexpr std::size_t SID_HEAD = 8;

bool isSid(std::string_view value) {
  return value.size() > SID_HEAD && byteAt(value, 0) == 1 && byteAt(value, 1) <= 15 &&
         value.size() == SID_HEAD + 4 * byteAt(value, 1);
}

std::string sidText(std::string_view sid) {
  std::uint64_t authority = 0;
  for (std::size_t i = 2; i < SID_HEAD; ++i) authority = authority << 8 | byteAt(sid, i);
  std::string out = "S-1-" + std::to_string(authority);
  for (std::size_t at = SID_HEAD; at < sid.size(); at += 4) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | byteAt(sid, at + i);
    out += "-" + std::to_string(number);
  }
  return out;
}

// The first three groups are numbers with their low byte first.
std::string guidText(std::string_view guid) {
  constexpr const char* HEX = "0123456789abcdef";
  constexpr std::array<std::size_t, 16> ORDER = {3, 2, 1,  0,  5,  4,  7,  6,
                                                 8, 9, 10, 11, 12, 13, 14, 15};
  std::string out;
  for (const std::size_t at : ORDER) {
    if (out.size() == 8 || out.size() == 13 || out.size() == 18 || out.size() == 23) out += '-';
    out += HEX[byteAt(guid, at) >> 4];
    out += HEX[byteAt(guid, at) & 0x0F];
  }
  return out;
}

std::string base64(std::string_view value) {
  constexpr const char* DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t at = 0; at < value.size(); at += 3) {
    const std::size_t bytes = std::min<std::size_t>(3, value.size() - at);
    unsigned group = 0;
    for (std::size_t i = 0; i < 3; ++i)
      group = group << 8 | (i < bytes ? byteAt(value, at + i) : 0);
    for (std::size_t i = 0; i < 4; ++i) {
      out += i <= bytes ? DIGITS[group >> (18 - 6 * i) & 0x3F] : '=';
    }
  }
  return out;
}

template <std::size_t COUNT>
bool isOneOf(const std::array<std::string_view, COUNT>& names, std::string_view attribute) {
  const std::string_view plain = attribute.substr(0, attribute.find(';'));
  return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
    return name.size() == plain.size() && strncasecmp(name.data(), plain.data(), name.size()) == 0;
  });
}

constexpr std::array<std::string_view, 7> SIDS = {"objectSid",
                                                  "sIDHistory",
                                                  "securityIdentifier",
                                                  "mS-DS-CreatorSID",
                                                  "tokenGroups",
                                                  "tokenGroupsGlobalAndUniversal",
                                                  "tokenGroupsNoGCAcceptable"};
constexpr std::array<std::string_view, 4> GUIDS = {"objectGUID", "schemaIDGUID",
                                                   "attributeSecurityGUID", "parentGUID"};

}  // namespace

bool isText(std::string_view value) {
  // Nearly every value is ASCII, which is seen many bytes at once.
  unsigned all = 0;
  for (const char c : value) all |= static_cast<unsigned char>(c);
  if (all < 0x80) return value.find('\0') == std::string_view::npos;
  while (!value.empty()) {
    const std::size_t size = characterSize(value);
    if (size == 0) return false;
    value.remove_prefix(size);
  }
  return true;
}

// A GUID may be text by chance, and is a GUID all the same.
std::optional<std::string> shownText(std::string_view attribute, std::string_view value) {
  constexpr std::size_t GUID_SIZE = 16;
  if (value.size() == GUID_SIZE && isOneOf(GUIDS, attribute)) return guidText(value);
  if (isText(value)) return {};
  return isSid(value) && isOneOf(SIDS, attribute) ? sidText(value) : base64(value);
}

std::optional<std::string> siblingSid(std::string_view sid, std::uint32_t number) {
  if (!isSid(sid)) return {};
  std::string sibling(sid.substr(0, sid.size() - 4));
  for (int shift = 0; shift < 32; shift += 8) sibling += static_cast<char>(number >> shift & 0xFF);
  return sibling;
}

}  // namespace VESK::directory
