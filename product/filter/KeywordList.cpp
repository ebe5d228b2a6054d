#include <cstring>

#include "Expression.h"
#include "Pattern.h"
#include "Probes.h"
#include "product/filter.h"
#include "product/log.h"

using namespace VESK::filter;

bool KeywordList::valReg(const char* regularExpression) const {
  if (regularExpression == nullptr) return false;
  // The converter has told what was wrong with the expression.
  if (std::strcmp(regularExpression, NO_REGEX) == 0) return false;
  const std::string_view text(regularExpression);
  const Pattern pattern(text, Pattern::FOR_VALIDATION);
  if (!pattern.ok()) {
    VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                          "keyword: regular expression refused at character %zu: %s; hint: it may "
                          "have %zu bytes and is written in PCRE2's syntax",
                          positionOf(text, pattern.errorOffset()), pattern.error().c_str(),
                          LONGEST_PATTERN);
    return false;
  }
  if (!runsAway(text, pattern)) return true;
  VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                        "keyword: regular expression refused: it runs away on a text that almost "
                        "fits; hint: no repetition of what repeats itself, as in (a+)+ or (a|ab)*: "
                        "write (?>a+)+ or a+");
  return false;
}
