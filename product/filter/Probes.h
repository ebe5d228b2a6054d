// Texts that make a regular expression of the dangerous kind run away.
#ifndef VESK_PRODUCT_FILTER_PROBES_H
#define VESK_PRODUCT_FILTER_PROBES_H

#include <string_view>

#include "Pattern.h"

namespace VESK::filter {

// Whether `pattern`, compiled from `regularExpression`, takes a great many steps to find nothing in
// a short text. The texts are made from the expression itself: for each of its repetitions what
// stands before it once, then what it repeats some dozen times, then an end that does not fit.
// That finds (a+)+$, (a|ab|b)*c, (.*,)*x and .*.*.*.*x; it is no proof for the rest, whose matches
// are limited all the same.
bool runsAway(std::string_view regularExpression, const Pattern& pattern);

}  // namespace VESK::filter

#endif
