// The product's content filters, as far as keyword expressions are checked with them.
//
// A keyword expression is what an administrator writes into a content rule; docs/keywords.md has
// the grammar and examples:
//
//   expression  = term { OR term }            operators in capitals, between blanks
//   term        = factor { [ AND ] factor }   neighbours without an operator are an AND
//   factor      = [ NOT ] ( word | "phrase" | /regular expression/ | "(" expression ")" )
//
// In words and phrases `*` stands for any characters of one word and `?` for one of them; a
// backslash takes the meaning of the character behind it away. Capitals do not matter. The empty
// expression matches nothing and is valid.
#ifndef VESK_PRODUCT_FILTER_H
#define VESK_PRODUCT_FILTER_H

#include <string>
#include <vector>

class VeskFilterInput;   // what a filter looks at; the scanner's own
class VeskFilterResult;  // what it found

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

class ContentFilter : public VeskFilter {
 public:
  bool init(const char* definition) override;
  bool match(const VeskFilterInput& input, VeskFilterResult& result) override;
  void reset() override;
  const char* filterName() const override;

 protected:
  std::string pattern;  // the regular expression; empty until init
};

class scanContentFilter : public ContentFilter {
 public:
  bool init(const char* definition) override;
  // The regular expression (PCRE2 syntax, UTF-8) that finds what the keyword expression asks for.
  // An expression that is wrong gives one that no validator accepts, and the log says where and
  // why. Never throws; time and memory grow with the length, which may not be more than 10,000
  // characters.
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
  // Whether the regular expression compiles, within limits on its size, depth and look-behind, and
  // ends on every text within a bounded number of steps: the log says what is wrong, and where.
  // Takes at most 50 ms.
  bool valReg(const char* regularExpression) const;
};

#endif
