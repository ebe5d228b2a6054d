#include "Components.h"

namespace VESK::update {

namespace {

struct Component {
  BvUpdateType type;
  const char* name;
};

// There is no 7, on purpose.
constexpr Component COMPONENTS[] = {
    {UPDATE_VIRUS_PATTERN, "virus-pattern"},
    {UPDATE_SPYWARE_PATTERN, "spyware-pattern"},
    {UPDATE_SPAM_PATTERN, "spam-pattern"},
    {UPDATE_PHISHING_PATTERN, "phishing-pattern"},
    {UPDATE_EXPLOIT_PATTERN, "exploit-pattern"},
    {UPDATE_VIRUS_ENGINE, "virus-engine"},
    {UPDATE_SPAM_ENGINE, "spam-engine"},
    {UPDATE_FILE_TYPE_RULES, "file-type-rules"},
    {UPDATE_CONTENT_DICTIONARY, "content-dictionary"},
    {UPDATE_REPUTATION_RULES, "reputation-rules"},
};

}  // namespace

const char* nameOf(BvUpdateType type) {
  for (const Component& component : COMPONENTS) {
    if (component.type == type) return component.name;
  }
  return nullptr;
}

}  // namespace VESK::update
