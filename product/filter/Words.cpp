#include "Words.h"

#include <cstdio>
#include <vector>

#include "Text.h"

namespace VESK::filter {

namespace {

// What stands between two stars.
struct Segment {
  std::string regex;
  std::string_view first;  // character
  std::string_view last;
};

// A word: segments with a star between each two; an empty one at an end stands beside a star.
using Word = std::vector<Segment>;

constexpr std::string_view ANY_LETTER = "_";

void addCharacter(Segment& segment, std::string_view regex, std::string_view character) {
  if (segment.regex.empty()) segment.first = character;
  segment.last = character;
  segment.regex += regex;
}

void addLiteral(Segment& segment, std::string_view character) {
  const unsigned char c = static_cast<unsigned char>(character[0]);
  char code[8] = {};
  if (c < ' ' || c == 0x7F) {
    std::snprintf(code, sizeof code, "\\x{%x}", c);
    addCharacter(segment, code, character);
  } else if (c < 0x80 && !boundsWord(character)) {
    addCharacter(segment, "\\" + std::string(character), character);
  } else {
    addCharacter(segment, character, character);
  }
}

class WordReader {
 public:
  // `blanksSeparate`: else one is a character of the word.
  WordReader(std::string_view source, bool blanksSeparate)
      : text(source), separate(blanksSeparate) {}

  // False at the end.
  bool next(Word& word) {
    while (separate && blankLength(text, at) > 0) at += blankLength(text, at);
    if (at >= text.size()) return false;
    word.assign(1, Segment());
    while (at < text.size() && !(separate && blankLength(text, at) > 0)) addNext(word);
    return true;
  }

 private:
  void addNext(Word& word) {
    const char c = text[at];
    if (c == '*') {
      ++at;
      if (word.size() == 1 || !word.back().regex.empty()) word.emplace_back();
    } else if (c == '?') {
      ++at;
      addCharacter(word.back(), "\\w", ANY_LETTER);
    } else {
      if (c == '\\' && at + 1 < text.size()) ++at;
      const std::size_t length = characterLength(text, at);
      addLiteral(word.back(), text.substr(at, length));
      at += length;
    }
  }

  std::string_view text;
  bool separate;
  std::size_t at = 0;
};

const char* boundaryAt(std::string_view character) {
  return !character.empty() && boundsWord(character) ? "\\b" : "";
}

// A star takes as little as it can and never thinks again, but for the last one, whose segment must
// end where the word ends: that is enough for stars, and takes no more steps than the word is long.
// At the phrase's ends a star means that the word may go on there, and finds nothing itself.
std::string wordRegEx(const Word& word, bool first, bool last) {
  const std::size_t count = word.size();
  if (count > 1 && word[0].regex.empty() && word[1].regex.empty()) {
    return first || last ? "\\w" : "\\w++";
  }
  const bool endsInStar = count > 1 && word.back().regex.empty();
  const std::size_t stop = endsInStar ? count - 1 : count;
  std::string made = (first ? boundaryAt(word[0].first) : "") + word[0].regex;
  for (std::size_t i = 1; i < stop; ++i) {
    const bool final = i + 1 == count;
    const bool opens = first && i == 1 && word[0].regex.empty();
    if (opens && i + 1 == stop && (last || !endsInStar)) {
      made +=
          word[i].regex;  // nothing in front of it and no star behind: it is looked for anywhere
    } else if (opens) {
      made += "(?<!\\w)(?>\\w*?" + word[i].regex + ")";
    } else {
      made += final ? "\\w*" + word[i].regex : "(?>\\w*?" + word[i].regex + ")";
    }
  }
  if (!last) return made + (endsInStar ? "\\w*+" : "");
  return made + boundaryAt(word.back().last);
}

std::string join(WordReader reader) {
  std::vector<Word> words;
  for (Word word; reader.next(word);) words.push_back(word);
  std::string made;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) made += "\\s++";
    made += wordRegEx(words[i], i == 0, i + 1 == words.size());
  }
  return made;
}

}  // namespace

std::string phraseToRegEx(std::string_view phrase) { return join({phrase, true}); }

std::string wordToRegEx(std::string_view word) { return join({word, false}); }

}  // namespace VESK::filter
