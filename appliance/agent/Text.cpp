#include "Text.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace agent {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct Character {
  std::size_t length;  // bytes taken
  bool valid;
};

// Of a first byte: how many follow, and the least code point that needs so many.
struct Form {
  std::size_t more;
  std::uint32_t least;
};

Form formOf(unsigned char first) {
  if (first >= 0xC2 && first < 0xE0) return {1, 0x80};
  if (first >= 0xE0 && first < 0xF0) return {2, 0x800};
  if (first >= 0xF0 && first < 0xF5) return {3, 0x10000};
  return {0, 0};
}

bool allowed(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return (code < 0xD800 || code > 0xDFFF) && code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
}

Character next(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return {1, allowed(first)};
  const Form form = formOf(first);
  if (form.more == 0) return {1, false};
  std::uint32_t code = first & (0x3Fu >> form.more);
  std::size_t at = 1;
  for (; at <= form.more; ++at) {
    if (at == text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) {
      return {at, false};
    }
    code = code << 6 | (static_cast<unsigned char>(text[at]) & 0x3Fu);
  }
  return {at, code >= form.least && allowed(code)};
}

}  // namespace

std::string cleanText(std::string_view raw, std::size_t limit) {
  std::string text;
  while (!raw.empty()) {
    if (raw.starts_with("\r\n")) raw.remove_prefix(1);
    const Character character = next(raw);
    const std::string_view bytes = character.valid ? raw.substr(0, character.length) : replacement;
    if (bytes.size() > limit - text.size()) break;
    text += bytes;
    raw.remove_prefix(character.length);
  }
  return text;
}

std::string oneLine(std::string_view text) {
  std::string line;
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (code < 0x20 || code == 0x7F || character == '\\') {
      std::array<char, 5> escape{};
      std::snprintf(escape.data(), escape.size(), "\\x%02x", code);
      line += escape.data();
    } else {
      line += character;
    }
  }
  return line;
}

}  // namespace agent
