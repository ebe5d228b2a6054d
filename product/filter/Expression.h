// Keyword expressions, as the header of the library describes them.
#ifndef VESK_PRODUCT_FILTER_EXPRESSION_H
#define VESK_PRODUCT_FILTER_EXPRESSION_H

#include <string>
#include <string_view>

#include "Text.h"

namespace VESK::filter {

// What an expression becomes that is wrong. Nothing closes the bracket: no dialect accepts it. So
// short that a std::string holds it without memory of its own, which may be what is missing.
inline constexpr const char* NO_REGEX = "[no keyword";

// The regular expression for `expression`, which is UTF-8. Sets the fault when it is wrong.
std::string toRegEx(std::string_view expression, Fault& fault);

}  // namespace VESK::filter

#endif
