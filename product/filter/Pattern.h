// A compiled regular expression, and matching that always ends.
#ifndef VESK_PRODUCT_FILTER_PATTERN_H
#define VESK_PRODUCT_FILTER_PATTERN_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

// pcre2.h wants to know the width of its characters from whoever includes it.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace VESK::filter {

// Bytes. The longest expression that the converter takes becomes less than that.
inline constexpr std::size_t LONGEST_PATTERN = 256 * 1024;

class Pattern {
 public:
  // What is only looked at needs no preparation for speed.
  enum Purpose { FOR_VALIDATION, FOR_MATCHING };
  enum Outcome { FOUND, NOT_FOUND, GAVE_UP, FAILED };

  // As UTF-8 with Unicode's letters; look at ok() next.
  Pattern(std::string_view regularExpression, Purpose purpose);

  bool ok() const { return code != nullptr; }
  // Why not, in PCRE2's words, and the byte where it stopped.
  std::string error() const;
  std::size_t errorOffset() const { return offset; }

  std::uint32_t captures() const;
  std::set<std::string> groupNames() const;

  // Searches `text`, UTF-8, with a bounded number of steps in all; may be called by several
  // threads.
  Outcome match(std::string_view text) const;

  // Only at the text's beginning.
  Outcome matchStart(std::string_view text, std::uint32_t steps) const;

 private:
  Outcome run(std::string_view text, std::uint32_t options, std::uint32_t steps) const;

  struct FreeCode {
    void operator()(pcre2_code* handle) const { pcre2_code_free(handle); }
  };
  int number = 0;
  std::size_t offset = 0;
  std::unique_ptr<pcre2_code, FreeCode> code;
};

}  // namespace VESK::filter

#endif
