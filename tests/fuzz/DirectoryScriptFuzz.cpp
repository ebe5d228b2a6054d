// A vendor's directory script: one that is taken can be searched with, one that is not changes
// nothing but back to the built-in one.
#include <algorithm>

#include "Fuzz.h"
#include "directory/Script.h"
#include "product/directory.h"

namespace {

using namespace VESK::directory;

// What may stand in a filter in front of the equals sign and change nothing but the attribute.
bool isAttributeName(const std::string& text) {
  constexpr const char* allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.;_";
  return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

// One filter, closed where it ends, so that a wrapped one stays within its parentheses.
bool isFilter(const std::string& text) {
  long depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
    if (depth < 1 && i + 1 < text.size()) return false;
  }
  return text.starts_with('(') && text.ends_with(')') && depth == 0;
}

void expectNames(const std::vector<std::string>& names) {
  FUZZ_EXPECT(std::all_of(names.begin(), names.end(), isAttributeName));
}

void expectOptional(const std::string& name) { FUZZ_EXPECT(name.empty() || isAttributeName(name)); }

void expectUsable(const Script& script) {
  FUZZ_EXPECT(isFilter(script.userFilter) && isFilter(script.groupFilter));
  FUZZ_EXPECT(isAttributeName(script.userNameAttr) && isAttributeName(script.groupNameAttr));
  FUZZ_EXPECT(isAttributeName(script.memberOfAttr) && isAttributeName(script.entryDnAttr));
  for (const auto* names : {&script.userSearchAttrs, &script.userLoginAttrs,
                            &script.groupSearchAttrs, &script.groupClasses}) {
    FUZZ_EXPECT(!names->empty());
    expectNames(*names);
  }
  expectNames(script.memberNameAttrs);
  expectNames(script.smtpPrefixAttrs);
  for (const MemberAttribute& member : script.memberDnAttrs) {
    FUZZ_EXPECT(isAttributeName(member.name));
    expectOptional(member.objectClass);
  }
  expectOptional(script.primaryGroupAttr);
  FUZZ_EXPECT(script.primaryGroupAttr.empty() == script.sidAttr.empty());
  FUZZ_EXPECT(script.pageSize >= 0 && script.pageSize <= 1000000);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  const fuzz::MemoryFile file({reinterpret_cast<const char*>(data), size});
  VESK::BvLDAPScript script;
  const int code = script.init(file.path().c_str());
  const ScriptPtr loaded = currentScript();
  FUZZ_EXPECT(loaded != nullptr && (code == 0 || code == -1));
  expectUsable(*loaded);
  if (code == 0) {
    FUZZ_EXPECT(script.init(file.path().c_str()) == 0 && currentScript() == loaded);
  } else {
    FUZZ_EXPECT(loaded->userFilter == Script().userFilter);
  }
  script.destroy();
  return 0;
}
