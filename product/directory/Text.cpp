#include "Text.h"

#include <algorithm>
#include <string_view>

namespace VESK::directory {

namespace {

// The surrogate of the given half ('\xA0' high, '\xB0' low) at the start of `text`, or -1.
int surrogate(std::string_view text, unsigned char half) {
  if (text.size() < 3 || text[0] != '\xED') return -1;
  const auto second = static_cast<unsigned char>(text[1]);
  const auto third = static_cast<unsigned char>(text[2]);
  if ((second & 0xF0) != half || (third & 0xC0) != 0x80) return -1;
  return (second & 0x0F) << 6 | (third & 0x3F);
}

void appendSupplementary(std::string& out, int high, int low) {
  const int code = 0x10000 + (high << 10) + low;
  out += static_cast<char>(0xF0 | code >> 18);
  out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
  out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
  out += static_cast<char>(0x80 | (code & 0x3F));
}

}  // namespace

std::string realUtf8(const char* text) {
  std::string out;
  std::string_view rest = text == nullptr ? "" : text;
  rest = rest.substr(0, rest.find("\xC0\x80"));
  out.reserve(rest.size());  // a text that grows leaves copies of a password behind
  while (!rest.empty()) {
    const std::size_t plain = std::min(rest.find('\xED'), rest.size());
    out.append(rest.substr(0, plain));
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    const int high = surrogate(rest, 0xA0);
    const int low = high < 0 ? -1 : surrogate(rest.substr(3), 0xB0);
    if (low >= 0) {
      appendSupplementary(out, high, low);
      rest.remove_prefix(6);
    } else {
      out += rest.front();
      rest.remove_prefix(1);
    }
  }
  return out;
}

}  // namespace VESK::directory
