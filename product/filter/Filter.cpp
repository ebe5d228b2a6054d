#include "product/filter.h"

#include "Expression.h"
#include "Pattern.h"
#include "product/log.h"
#include "shared/Boundary.h"

using namespace VESK::filter;

namespace {

// Characters.
constexpr std::size_t LONGEST_EXPRESSION = 10'000;

std::string refuse(std::size_t position, const std::string& reason, const char* hint) {
  VESK::Log::LogByLevel(VESK::LOG_NORMAL, "keyword: at character %zu: %s; hint: %s", position,
                        reason.c_str(), hint);
  return NO_REGEX;
}

std::string convert(const char* expression) {
  if (expression == nullptr) return refuse(1, "no expression", "give an empty text");
  std::size_t bad = 0;
  const std::string text = toUtf8(expression, bad);
  if (bad != std::string::npos) {
    return refuse(positionOf(text, bad), "bytes that are not UTF-8", "write it anew");
  }
  if (positionOf(text, text.size()) > LONGEST_EXPRESSION + 1) {
    return refuse(LONGEST_EXPRESSION + 1, "longer than 10000 characters",
                  "make several rules of it");
  }
  Fault fault;
  std::string made = toRegEx(text, fault);
  if (!fault.reason.empty()) return refuse(positionOf(text, fault.at), fault.reason, fault.hint);
  return made;
}

}  // namespace

bool ContentFilter::init(const char* definition) try {
  reset();
  if (!KeywordList().valReg(definition)) return false;
  auto made = std::make_shared<const Pattern>(definition, Pattern::FOR_MATCHING);
  if (!made->ok()) return false;
  pattern = definition;
  compiled = std::move(made);
  return true;
}
VESK_AT_BOUNDARY("keyword", false)

bool ContentFilter::match(const VeskFilterInput& input, VeskFilterResult& result) try {
  result = {};
  if (!compiled) return false;
  std::size_t bad = 0;
  const Pattern::Outcome outcome = compiled->match(toUtf8(input.text, bad));
  result.matched = outcome == Pattern::FOUND;
  result.gaveUp = outcome == Pattern::GAVE_UP || outcome == Pattern::FAILED;
  if (result.gaveUp) {
    VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                          "keyword: match given up in a text of %zu bytes: too many steps; hint: "
                          "simplify the repetitions in %s",
                          input.text.size(), pattern.c_str());
  }
  return result.matched;
}
VESK_AT_BOUNDARY("keyword", (result.gaveUp = true, false))

void ContentFilter::reset() {
  pattern.clear();
  compiled.reset();
}

const char* ContentFilter::filterName() const { return "content"; }

bool scanContentFilter::init(const char* definition) try {
  return ContentFilter::init(convertToRegEx(definition).c_str());
}
VESK_AT_BOUNDARY("keyword", false)

std::string scanContentFilter::convertToRegEx(const char* expression) try {
  return convert(expression);
}
VESK_AT_BOUNDARY("keyword", NO_REGEX)  // an empty text would be valid, and match all

const char* scanContentFilter::filterName() const { return "scanContent"; }

const char* scanContentSubjectFilter::filterName() const { return "scanContentSubject"; }
