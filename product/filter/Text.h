// Texts as they come from the console and from mails, and what a letter is.
#ifndef VESK_PRODUCT_FILTER_TEXT_H
#define VESK_PRODUCT_FILTER_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace VESK::filter {

// Why something is refused: where in the text, and what an administrator can do.
struct Fault {
  std::size_t at = 0;  // byte
  std::string reason;  // empty: nothing is wrong
  const char* hint = "";
};

// Real UTF-8. A surrogate pair in two groups of three bytes, as a Java VM writes it, becomes the
// one character that it means; a byte that belongs to no character becomes U+FFFD, and the first
// one's place in the result goes to `firstBad` (npos: there is none).
std::string toUtf8(std::string_view text, std::size_t& firstBad);

// Characters before the byte at `at`, plus one.
std::size_t positionOf(std::string_view text, std::size_t at);

// Bytes of the character that begins at `at`.
std::size_t characterLength(std::string_view text, std::size_t at);

// Bytes of the blank at `at`, 0 if there is none: ASCII's, and the no-break and ideographic space,
// which look like one in a form.
std::size_t blankLength(std::string_view text, std::size_t at);

// Whether a word that begins or ends with this character ends there: a letter, digit or underscore
// of a script that puts blanks between words.
bool boundsWord(std::string_view character);

}  // namespace VESK::filter

#endif
