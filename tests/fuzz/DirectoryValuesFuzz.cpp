// Values that a directory sends or a search asks for: filters, DNs, ranges and bytes.
#include <ldap.h>

#include <algorithm>

#include "Fuzz.h"
#include "directory/Binary.h"
#include "directory/Filter.h"
#include "directory/Ranges.h"

namespace {

using namespace VESK::directory;

// The value as a server reads it out of a filter.
std::string unescaped(std::string_view value) {
  std::string plain;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\') {
      plain += value[i];
    } else {
      FUZZ_EXPECT(value.size() - i > 2);
      plain += static_cast<char>(std::stoi(std::string(value.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    }
  }
  return plain;
}

// No value, whatever is in it, ends its comparison or begins another.
void expectEscapes(const std::string& value) {
  const std::string whole = escapeValue(value);
  FUZZ_EXPECT(unescaped(whole) == value && unescaped(escapeBytes(value)) == value);
  FUZZ_EXPECT(whole.find_first_of("()*") == std::string::npos);
  const std::string pattern = escapePattern(value);
  FUZZ_EXPECT(pattern.find("**") == std::string::npos);
  FUZZ_EXPECT(pattern.find_first_of("()") == std::string::npos);
  for (const std::string& escaped : {whole, pattern, escapeBytes(value)}) {
    FUZZ_EXPECT(isFilter(anyOf({"cn", "mail"}, escaped)));
    FUZZ_EXPECT(isFilter(both("(objectClass=*)", item("cn", escaped))));
  }
}

void expectDn(const std::string& dn, const std::string& base) {
  const std::string comparable = comparableDn(dn);
  FUZZ_EXPECT(comparable.empty() || comparableDn(comparable) == comparable);
  FUZZ_EXPECT(isUnder(dn, dn) && isUnder(dn, ""));
  if (!comparable.empty() && !comparableDn(base).empty()) {
    FUZZ_EXPECT(isUnder("cn=x," + base, base));
  }
}

void expectRange(const std::string& description) {
  const auto range = rangeOf(description);
  FUZZ_EXPECT(answers(description, description) == range.has_value());
  if (!range) return;
  const char* const asked[] = {description.c_str(), nullptr};
  FUZZ_EXPECT(asksForRange(asked, range->name) || description.find('\0') != std::string::npos);
  PartialAttribute whole{*range, {}};
  std::vector<PartialAttribute> sent{{*range, {"value"}}};
  if (addPart(whole, sent, range->first).empty()) {
    FUZZ_EXPECT(whole.values.size() == 1 && (!range->last || *range->last == range->first));
  } else {
    FUZZ_EXPECT(whole.values.empty());
  }
  FUZZ_EXPECT(!addPart(whole, sent, range->first + 1).empty());
}

void expectShown(const std::string& attribute, const std::string& value) {
  FUZZ_EXPECT(!isText(value) || fuzz::isUtf8(value));
  const auto shown = shownText(attribute, value);
  FUZZ_EXPECT(isText(shown.value_or(value)));
  if (const auto sibling = siblingSid(value, 513)) {
    FUZZ_EXPECT(sibling->size() == value.size());
    FUZZ_EXPECT(shownText("objectSid", *sibling).value_or("").ends_with("-513"));
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const std::string first = input.text();
  const std::string second = input.rest();
  expectEscapes(second);
  if (isFilter(first)) FUZZ_EXPECT(!isFilter(first + first) && !isFilter(first + ")"));
  if (isAttributeName(first)) FUZZ_EXPECT(isFilter(item(first, "x")) && isAscii(first));
  expectDn(first, second.substr(0, second.find('\0')));
  expectRange(first);
  expectShown(first, second);
  FUZZ_EXPECT(isAscii(first) ==
              std::none_of(first.begin(), first.end(), [](char c) { return c < 0; }));
  return 0;
}
