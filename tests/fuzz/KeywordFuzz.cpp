// Keyword expressions: one that is taken compiles and can be searched with, one that is not has a
// place and a reason.
#include "Fuzz.h"
#include "filter/Expression.h"
#include "filter/Pattern.h"
#include "product/filter.h"

namespace {

using VESK::filter::Pattern;

void expectFault(const std::string& text) {
  std::size_t bad = 0;
  const std::string utf8 = VESK::filter::toUtf8(text, bad);
  VESK::filter::Fault fault;
  const std::string made = VESK::filter::toRegEx(utf8, fault);
  FUZZ_EXPECT(fault.reason.empty() || (fault.at <= utf8.size() && *fault.hint != '\0'));
  if (!fault.reason.empty() || bad != std::string::npos) return;
  // What the converter makes is never wrong in itself, only too large or too slow.
  FUZZ_EXPECT(fuzz::isUtf8(made));
  FUZZ_EXPECT(made.size() > VESK::filter::LONGEST_PATTERN ||
              Pattern(made, Pattern::FOR_VALIDATION).ok());
}

void expectMatches(ContentFilter& filter, const std::string& subject) {
  VeskFilterResult first;
  VeskFilterResult second;
  FUZZ_EXPECT(filter.match({subject}, first) == first.matched);
  filter.match({subject}, second);
  FUZZ_EXPECT(first.matched == second.matched && first.gaveUp == second.gaveUp);
  FUZZ_EXPECT(!first.matched || !first.gaveUp);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const bool bare = (input.byte() & 1) != 0;
  const std::string text = input.text();
  const std::string subject = input.rest().substr(0, 512);
  scanContentSubjectFilter keyword;
  ContentFilter expression;
  const std::string converted = keyword.convertToRegEx(text.c_str());
  FUZZ_EXPECT(keyword.convertToRegEx(text.c_str()) == converted);
  const bool valid = KeywordList().valReg((bare ? text : converted).c_str());
  ContentFilter& filter = bare ? expression : keyword;
  FUZZ_EXPECT(filter.init(text.c_str()) == valid);
  if (valid) expectMatches(filter, subject);
  filter.reset();
  VeskFilterResult none;
  FUZZ_EXPECT(!filter.match({subject}, none));
  expectFault(text);
  return 0;
}
