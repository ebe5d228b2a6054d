#include "Name.h"

#include <cstdint>

namespace VESK::quarantine {

namespace {

constexpr std::size_t LONGEST = 255;
constexpr std::uint32_t NONE = 0xFFFFFFFF;

bool isHigh(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLow(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// One group of bytes, surrogates included. Reads no further than the terminating NUL.
std::uint32_t group(const unsigned char*& at) {
  const unsigned lead = *at++;
  if (lead < 0x80) return lead;
  const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4) return NONE;
  std::uint32_t value = lead & (0x3Fu >> more);
  for (int i = 0; i < more; ++i) {
    if ((*at & 0xC0) != 0x80) return NONE;
    value = value << 6 | (*at++ & 0x3Fu);
  }
  constexpr std::uint32_t LEAST[] = {0, 0x80, 0x800, 0x10000};
  return value < LEAST[more] || value > 0x10FFFF ? NONE : value;
}

std::uint32_t character(const unsigned char*& at) {
  const std::uint32_t first = group(at);
  if (isLow(first)) return NONE;
  if (!isHigh(first)) return first;
  const std::uint32_t second = group(at);
  return isLow(second) ? 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00) : NONE;
}

void append(std::string& text, const unsigned char* from, const unsigned char* to,
            std::uint32_t value) {
  if (to - from < 6) {
    text.append(from, to);
    return;
  }
  for (const int shift : {18, 12, 6, 0}) {
    const unsigned lead = shift == 18 ? 0xF0 : 0x80;
    text += static_cast<char>(lead | (value >> shift & 0x3F));
  }
}

}  // namespace

std::string usableName(const char* text) {
  std::string name;
  const unsigned char* at = reinterpret_cast<const unsigned char*>(text == nullptr ? "" : text);
  while (*at != '\0' && name.size() <= LONGEST) {
    const unsigned char* from = at;
    const std::uint32_t value = character(at);
    if (value == NONE || value < 0x20 || (value >= 0x7F && value < 0xA0)) return "";
    append(name, from, at, value);
  }
  return name.size() <= LONGEST ? name : "";
}

}  // namespace VESK::quarantine
