#include "Text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "Pattern.h"

namespace VESK::filter {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

// One character as its bytes say, surrogates included; length 0 when they say none.
struct Decoded {
  std::uint32_t character = 0;
  std::size_t length = 0;
};

Decoded decode(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return {first, first == 0 ? 0U : 1U};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return {};
  std::uint32_t character = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return {};
    character = character << 6U | (byte(i) & 0x3FU);
  }
  constexpr std::uint32_t SMALLEST[] = {0, 0, 0x80, 0x800, 0x10000};
  if (character < SMALLEST[length] || character > 0x10FFFF) return {};
  return {character, length};
}

bool isHigh(std::uint32_t character) { return character >= 0xD800 && character <= 0xDBFF; }
bool isLow(std::uint32_t character) { return character >= 0xDC00 && character <= 0xDFFF; }

void append(std::string& text, std::uint32_t supplementary) {
  text += static_cast<char>(0xF0U | supplementary >> 18U);
  for (const unsigned shift : {12U, 6U, 0U}) {
    text += static_cast<char>(0x80U | (supplementary >> shift & 0x3FU));
  }
}

}  // namespace

std::string toUtf8(std::string_view text, std::size_t& firstBad) {
  firstBad = std::string_view::npos;
  std::string made;
  made.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Decoded one = decode(text, at);
    const Decoded next = isHigh(one.character) ? decode(text, at + 3) : Decoded();
    if (isLow(next.character)) {
      append(made, 0x10000 + ((one.character - 0xD800) << 10U) + (next.character - 0xDC00));
      at += 6;
    } else if (one.length == 0 || isHigh(one.character) || isLow(one.character)) {
      firstBad = std::min(firstBad, made.size());
      made += REPLACEMENT;
      at += std::max<std::size_t>(one.length, 1);
    } else {
      made += text.substr(at, one.length);
      at += one.length;
    }
  }
  return made;
}

std::size_t positionOf(std::string_view text, std::size_t at) {
  const std::string_view before = text.substr(0, at);
  return 1 + static_cast<std::size_t>(std::count_if(before.begin(), before.end(),
                                                    [](char c) { return (c & 0xC0) != 0x80; }));
}

std::size_t characterLength(std::string_view text, std::size_t at) {
  const std::size_t length = decode(text, at).length;
  return length == 0 ? 1 : length;
}

std::size_t blankLength(std::string_view text, std::size_t at) {
  if (at < text.size() && std::strchr(" \t\n\v\f\r", text[at]) != nullptr) return 1;
  for (const std::string_view blank : {"\xC2\xA0", "\xE3\x80\x80"}) {
    if (text.substr(at, blank.size()) == blank) return blank.size();
  }
  return 0;
}

bool boundsWord(std::string_view character) {
  if (character.size() == 1) {
    const char c = character[0];
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  }
  // The character tables are PCRE2's own, so that both mean the same letters.
  static const Pattern UNBOUND(
      "\\A(?:\\W|\\p{Han}|\\p{Hiragana}|\\p{Katakana}|\\p{Thai}|\\p{Lao}|"
      "\\p{Khmer}|\\p{Myanmar})",
      Pattern::FOR_MATCHING);
  return UNBOUND.match(character) != Pattern::FOUND;
}

}  // namespace VESK::filter
