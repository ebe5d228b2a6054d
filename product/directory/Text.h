// Texts as they arrive from callers.
#ifndef VESK_DIRECTORY_TEXT_H
#define VESK_DIRECTORY_TEXT_H

#include <cstring>
#include <string>

namespace VESK::directory {

// Real UTF-8: a supplementary character that arrives as two three-byte surrogates becomes one
// four-byte group, U+0000 in two bytes ends the text, everything else stays as it is. Null reads as
// the empty text.
std::string realUtf8(const char* text);

// A text whose secret does not stay behind in freed memory.
struct Wiped {
  std::string& text;
  ~Wiped() { explicit_bzero(text.data(), text.size()); }
};

}  // namespace VESK::directory

#endif
