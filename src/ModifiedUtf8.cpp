#include "ModifiedUtf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr const char* replacement = "\xEF\xBF\xBD";

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed UTF-8 character at `at`, which is not ASCII; 0 when there is none.
// The terminator is no continuation byte, so nothing behind it is read.
std::size_t characterLength(const unsigned char* at) {
  const unsigned char first = at[0];
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(at[i])) return 0;
  }
  if (first == 0xE0 && at[1] < 0xA0) return 0;  // longer than needed
  if (first == 0xF0 && at[1] < 0x90) return 0;
  if (first == 0xF4 && at[1] > 0x8F) return 0;  // beyond U+10FFFF
  return length;
}

void appendSurrogate(std::string& out, std::uint32_t unit) {
  out += static_cast<char>(0xE0 | (unit >> 12));
  out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
  out += static_cast<char>(0x80 | (unit & 0x3F));
}

void appendSupplementary(std::string& out, const unsigned char* at) {
  const std::uint32_t point =
      ((at[0] & 7U) << 18 | (at[1] & 63U) << 12 | (at[2] & 63U) << 6 | (at[3] & 63U)) - 0x10000;
  appendSurrogate(out, 0xD800 + (point >> 10));
  appendSurrogate(out, 0xDC00 + (point & 0x3FF));
}

// The first place that has to change, or the terminator.
const unsigned char* firstChange(const unsigned char* at) {
  for (;;) {
    while (*at != 0 && *at < 0x80) ++at;
    if (*at == 0) return at;
    const std::size_t length = characterLength(at);
    if (length == 0 || length == 4) return at;
    at += length;
  }
}

bool isAscii(const char* text, std::size_t length) {
  unsigned char seen = 0;
  for (std::size_t i = 0; i < length; ++i) seen = static_cast<unsigned char>(seen | text[i]);
  return seen < 0x80;
}

}  // namespace

ModifiedUtf8::ModifiedUtf8(const char* utf8) : text(utf8) {
  if (isAscii(utf8, std::strlen(utf8))) return;
  const auto* from = reinterpret_cast<const unsigned char*>(utf8);
  const unsigned char* change = firstChange(from);
  if (*change == 0) return;
  while (*change != 0) {
    converted.append(reinterpret_cast<const char*>(from), reinterpret_cast<const char*>(change));
    if (characterLength(change) == 4) {
      appendSupplementary(converted, change);
      from = change + 4;
    } else {
      converted += replacement;
      from = change + 1;
    }
    change = firstChange(from);
  }
  converted.append(reinterpret_cast<const char*>(from));
  text = converted.c_str();
}
