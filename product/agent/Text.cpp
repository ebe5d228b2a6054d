#include "Text.h"

#include <algorithm>
#include <cstring>

namespace VESK::agent {

namespace {

constexpr char32_t INVALID = 0xFFFFFFFF;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Characters of an encoding's shortest form only; surrogates are taken as they are.
char32_t takeGroup(std::string_view& rest) {
  const auto lead = static_cast<unsigned char>(rest.front());
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  constexpr char32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
  char32_t code = length < 2 ? lead : lead & (0x7Fu >> length);
  bool whole = length > 0 && rest.size() >= length;
  for (std::size_t i = 1; whole && i < length; ++i) {
    whole = isContinuation(rest[i]);
    code = code << 6 | (static_cast<unsigned char>(rest[i]) & 0x3Fu);
  }
  whole = whole && code >= lowest[length] && code <= 0x10FFFF;
  rest.remove_prefix(whole ? length : 1);
  return whole ? code : INVALID;
}

bool isSurrogate(char32_t code, char32_t first) { return code >= first && code < first + 0x400; }

char32_t takeCharacter(std::string_view& rest) {
  const char32_t code = takeGroup(rest);
  if (isSurrogate(code, 0xD800) && !rest.empty()) {
    std::string_view behind = rest;
    const char32_t low = takeGroup(behind);
    if (isSurrogate(low, 0xDC00)) {
      rest = behind;
      return 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
  }
  return code >= 0xD800 && code < 0xE000 ? INVALID : code;
}

void append(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
    return;
  }
  const int groups = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr char32_t marks[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(marks[groups] | code >> (6 * groups));
  for (int i = groups - 1; i >= 0; --i) out += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
}

bool hasXmlForm(char32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code != 0xFFFE && code != 0xFFFF && code != INVALID;
}

}  // namespace

std::optional<std::string> textForXml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const char32_t code = takeCharacter(text);
    if (!hasXmlForm(code)) return std::nullopt;
    append(out, code);
  }
  return out;
}

std::string validUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const char32_t code = takeCharacter(text);
    append(out, code == INVALID ? 0xFFFD : code);
  }
  return out;
}

void copyCut(const std::string& text, char* buffer, std::size_t size) {
  std::size_t length = std::min(text.size(), size);
  if (length < text.size()) {
    while (length > 0 && isContinuation(text[length])) --length;
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

std::string oneLine(std::string_view text) {
  constexpr std::size_t LONGEST = 200;
  std::string line = validUtf8(text.substr(0, LONGEST));
  std::replace_if(
      line.begin(), line.end(),
      [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; }, ' ');
  const std::size_t from = std::min(line.find_first_not_of(' '), line.size());
  return line.substr(from, line.find_last_not_of(' ') + 1 - from);
}

}  // namespace VESK::agent
