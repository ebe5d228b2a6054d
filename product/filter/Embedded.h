// Regular expressions that stand inside a keyword expression.
#ifndef VESK_PRODUCT_FILTER_EMBEDDED_H
#define VESK_PRODUCT_FILTER_EMBEDDED_H

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "Text.h"

namespace VESK::filter {

// Puts regular expressions into a larger one so that each means what it means alone: none leaves
// its group, and numbers of captured texts are its own.
class Embedder {
 public:
  // A group with the expression in it. A fault (see there) counts from the expression's beginning.
  std::string embed(std::string_view regularExpression, Fault& fault);

 private:
  int expressions = 0;
  std::uint32_t captures = 0;  // of those before
  std::set<std::string> names;
};

}  // namespace VESK::filter

#endif
