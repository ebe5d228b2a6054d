// The product's content filters, as far as keyword expressions are checked with them.
//
// A keyword expression is what an administrator writes into a content rule; docs/keywords.md has
// examples, what each becomes, and what is refused:
//
//   expression  = term { OR term }            operators in capitals, between blanks
//   term        = factor { [ AND ] factor }   neighbours without an operator are an AND
//   factor      = [ NOT ] ( word | "phrase" | /regular expression/ | "(" expression ")" )
//
// In words and phrases `*` stands for any letters and digits of one word and `?` for one of them; a
// backslash takes the meaning of the character behind it away. Capitals do not matter. The empty
// expression matches nothing and is valid.
//
// Texts are UTF-8; a surrogate pair in two groups of three bytes, as a Java VM writes it, is taken
// for the character that it means. Nothing here throws for what is in a text.
#ifndef VESK_PRODUCT_FILTER_H
#define VESK_PRODUCT_FILTER_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VESK::filter {
class Pattern;
}

// What a filter looks at. Bytes that are no UTF-8 match nothing.
class VeskFilterInput {
 public:
  std::string_view text;  // borrowed
};

class VeskFilterResult {
 public:
  bool matched = false;
  bool gaveUp = false;  // nobody knows: the search took too many steps, or memory; the log says so
};

// Base of every filter. The order of the virtual functions is fixed: scanners are built against it.
class VeskFilter {
 public:
  virtual ~VeskFilter() = default;
  virtual bool init(const char* definition) = 0;
  virtual bool match(const VeskFilterInput& input, VeskFilterResult& result) = 0;
  virtual void reset() = 0;
  virtual bool setThreadData(void*) { return true; }
  virtual const char* filterName() const = 0;
  virtual bool isMultiFilterType() { return false; }
  virtual bool hasNamedObjects() { return false; }
  virtual bool getNamedObjectIds(const std::string& name, std::vector<unsigned int>& ids) {
    return getNamedObjectIds(name.c_str(), static_cast<int>(name.length()), ids);
  }
  virtual bool getNamedObjectIds(const char*, int, std::vector<unsigned int>&) { return false; }
};

// Base of the filters that hold several others.
class ContexFilterP : public VeskFilter {
 public:
  bool isMultiFilterType() override { return true; }
  virtual int filterCount() const = 0;
  virtual VeskFilter* filterAt(int index) = 0;  // owned by this filter
  virtual bool addFilter(VeskFilter* filter) = 0;
  virtual bool removeFilter(int index) = 0;
  virtual bool matchAll(const VeskFilterInput& input, VeskFilterResult& result) = 0;
};

// A filter by a regular expression in PCRE2's syntax. `match` may be called by several threads, the
// rest by one.
class ContentFilter : public VeskFilter {
 public:
  // False when KeywordList::valReg refuses the expression: the filter then matches nothing.
  bool init(const char* definition) override;
  // Capitals matter unless the expression says (?i). Ends after a bounded number of steps: in some
  // tenths of a second in a text of a million characters.
  bool match(const VeskFilterInput& input, VeskFilterResult& result) override;
  void reset() override;  // as before init
  const char* filterName() const override;

 protected:
  std::string pattern;  // the regular expression; empty until init

 private:
  std::shared_ptr<const VESK::filter::Pattern> compiled;
};

// A filter by a keyword expression.
class scanContentFilter : public ContentFilter {
 public:
  bool init(const char* definition) override;
  // The regular expression (PCRE2 syntax, for UTF-8 and Unicode's letters) that finds what the
  // keyword expression asks for. An expression that is wrong, null, longer than 10,000 characters
  // or of more than 100 regular expressions gives one that no validator accepts, and the log says
  // where and why. Time and memory grow with the length.
  std::string convertToRegEx(const char* expression);
  const char* filterName() const override;
};

// The filter for subject lines.
class scanContentSubjectFilter : public scanContentFilter {
 public:
  const char* filterName() const override;
};

class KeywordList {
 public:
  // Whether the regular expression can be used: it compiles (at most 256 KiB, parentheses 200
  // deep, 100 capturing groups), and does not run away on short texts made from it that almost fit.
  // The log says what is wrong, and where. The answer depends on nothing but the expression and
  // takes at most 50 ms.
  bool valReg(const char* regularExpression) const;
};

#endif
