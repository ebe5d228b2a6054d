#include <cstring>

#include "Expression.h"
#include "Pattern.h"
#include "Probes.h"
#include "product/filter.h"
#include "product/log.h"
#include "shared/Boundary.h"

using namespace VESK::filter;

namespace {

// Each one makes every step of a search slower.
constexpr std::uint32_t MOST_GROUPS = 100;

bool refuse(std::size_t position, const std::string& reason, const char* hint) {
  VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                        "keyword: regular expression refused at character %zu: %s; hint: %s",
                        position, reason.c_str(), hint);
  return false;
}

}  // namespace

bool KeywordList::valReg(const char* regularExpression) const try {
  if (regularExpression == nullptr) return false;
  // The converter has told what was wrong with the expression.
  if (std::strcmp(regularExpression, NO_REGEX) == 0) return false;
  const std::string_view text(regularExpression);
  const Pattern pattern(text, Pattern::FOR_VALIDATION);
  if (!pattern.ok()) {
    return refuse(positionOf(text, pattern.errorOffset()), pattern.error(),
                  "PCRE2's syntax, at most 256 KiB, parentheses 200 deep");
  }
  if (pattern.captures() > MOST_GROUPS) {
    return refuse(1, "more than 100 groups that capture", "write (?:...) for (...)");
  }
  if (runsAway(text, pattern)) {
    return refuse(
        1, "it runs away on a text that almost fits",
        "no repetition of what repeats itself, as in (a+)+ or (a|ab)*: write (?>a+)+, a+");
  }
  return true;
}
VESK_AT_BOUNDARY("keyword", false)
