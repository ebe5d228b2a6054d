// ODBC's wide texts. They are the same with every driver and locale, which the narrow ones are not.
#ifndef VESK_DATABASE_TEXT_H
#define VESK_DATABASE_TEXT_H

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace VESK::database {

// A supplementary character may also arrive as two three-byte surrogates; bytes that are no UTF-8
// become U+FFFD.
std::u16string toUtf16(std::string_view text);
// A lone surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

// A text that does not stay behind in freed memory. Make room before it is filled: what it leaves
// when it grows is not wiped.
template <typename String>
struct Secret {
  Secret() = default;
  explicit Secret(String content) : text(std::move(content)) {}
  ~Secret() {
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size() * sizeof(text[0]));
  }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  String text;
};

}  // namespace VESK::database

#endif
