#include "Text.h"

namespace VESK::database {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

struct Decoded {
  char32_t point;
  std::size_t length;
};

Decoded decode(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {REPLACEMENT, 1};
  char32_t point = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {REPLACEMENT, 1};
    point = point << 6 | (next & 0x3FU);
  }
  const bool tooLong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
  if (tooLong || point > 0x10FFFF) return {REPLACEMENT, 1};
  return {point, length};
}

void append(std::string& text, char32_t point) {
  const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      put(0xE0 | point >> 12);
    } else {
      put(0xF0 | point >> 18);
      put(0x80 | (point >> 12 & 0x3F));
    }
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

bool isHigh(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLow(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

std::u16string toUtf16(std::string_view text) {
  std::u16string wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const Decoded next = decode(text);
    text.remove_prefix(next.length);
    if (next.point < 0x10000) {
      wide += static_cast<char16_t>(next.point);
    } else {
      wide += static_cast<char16_t>(0xD7C0 + (next.point >> 10));
      wide += static_cast<char16_t>(0xDC00 | (next.point & 0x3FF));
    }
  }
  return wide;
}

std::string toUtf8(std::u16string_view text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (isHigh(unit) && i + 1 < text.size() && isLow(text[i + 1])) {
      append(narrow, 0x10000 + ((unit & 0x3FFU) << 10) + (text[++i] & 0x3FFU));
    } else {
      append(narrow, isHigh(unit) || isLow(unit) ? REPLACEMENT : unit);
    }
  }
  return narrow;
}

}  // namespace VESK::database
