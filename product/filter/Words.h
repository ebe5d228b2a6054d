// Words and phrases of a keyword expression, as regular expressions.
#ifndef VESK_PRODUCT_FILTER_WORDS_H
#define VESK_PRODUCT_FILTER_WORDS_H

#include <string>
#include <string_view>

namespace VESK::filter {

// A phrase: words with blanks between them. `*` and `?` are wildcards, a backslash makes the next
// character an ordinary one. Empty when there is no word in it. Every search with the result takes
// time that grows with the text's length only, times that of the longest word in it.
std::string phraseToRegEx(std::string_view phrase);

// One word; a blank in it stands behind a backslash.
std::string wordToRegEx(std::string_view word);

}  // namespace VESK::filter

#endif
