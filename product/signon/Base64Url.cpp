#include "Base64Url.h"

#include <array>
#include <cstdint>

namespace VESK::signon {

namespace {

constexpr std::string_view DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::uint8_t NO_DIGIT = 64;

constexpr std::array<std::uint8_t, 256> valuesOfDigits() {
  std::array<std::uint8_t, 256> values{};
  for (std::uint8_t& value : values) value = NO_DIGIT;
  for (std::size_t i = 0; i < DIGITS.size(); ++i) {
    values[static_cast<unsigned char>(DIGITS[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}

constexpr auto VALUES = valuesOfDigits();

}  // namespace

std::optional<std::string> fromBase64Url(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() * 3 / 4);
  std::uint32_t held = 0;
  unsigned bits = 0;
  for (const char digit : text) {
    const std::uint8_t value = VALUES[static_cast<unsigned char>(digit)];
    if (value == NO_DIGIT) return std::nullopt;
    held = held << 6 | value;
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(held >> bits & 0xFF);
  }
  // What is left over is less than a digit, and zero.
  if (bits >= 6 || (held & ((1U << bits) - 1)) != 0) return std::nullopt;
  return bytes;
}

std::string toBase64Url(std::string_view bytes) {
  std::string text;
  std::uint32_t held = 0;
  unsigned bits = 0;
  for (const char byte : bytes) {
    held = held << 8 | static_cast<unsigned char>(byte);
    for (bits += 8; bits >= 6; bits -= 6) text += DIGITS[held >> (bits - 6) & 63];
  }
  if (bits > 0) text += DIGITS[held << (6 - bits) & 63];
  return text;
}

}  // namespace VESK::signon
