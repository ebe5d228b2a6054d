#include "ParentWalk.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include "Binary.h"
#include "Filter.h"
#include "product/log.h"

namespace VESK::directory {

namespace {

// Servers close a connection that sends more than 256 KiB at once before it is authenticated.
constexpr std::size_t MAX_FILTER = 128 * 1024;

constexpr const char* IN_CHAIN = ":1.2.840.113556.1.4.1941:";

std::string keyOf(const std::string& dn) {
  std::string key = comparableDn(dn);
  return key.empty() ? dn : key;
}

}  // namespace

int ParentWalk::fromUser(const std::string& name) {
  const bool walks = script.parentStrategy == ParentStrategy::WALK;
  if (walks && script.memberDnAttrs.empty() && script.primaryGroupAttr.empty()) {
    startNames = {name};
  } else {
    const Names primary = {script.primaryGroupAttr, script.sidAttr};
    const bool hasPrimary = !script.primaryGroupAttr.empty();
    const int code =
        resolve(script.userFilter, script.userNameAttr, name, hasPrimary ? primary : Names{});
    if (code != 0) return code;
  }
  Names items;
  for (const std::string& attribute : walks ? script.memberNameAttrs : Names{}) {
    for (const std::string& own : startNames) items.push_back(item(attribute, escapeValue(own)));
  }
  for (const std::string& sid : primaryGroups) {
    items.push_back(item(script.sidAttr, escapeBytes(sid)));
  }
  return climb(items);
}

int ParentWalk::fromGroup(const std::string& name) {
  const int code = resolve(script.groupFilter, script.groupNameAttr, name, {});
  return code == 0 ? climb({}) : code;
}

// Finds where the walk starts: every entry of that name.
int ParentWalk::resolve(const std::string& kind, const std::string& nameAttr,
                        const std::string& name, const Names& primary) {
  const bool memberOf = script.parentStrategy == ParentStrategy::MEMBER_OF;
  Names attributes = {nameAttr};
  attributes.insert(attributes.end(), primary.begin(), primary.end());
  if (memberOf) attributes.push_back(script.memberOfAttr);
  const auto start = [&](BvLDAPEntry& entry) {
    remember(entry.dn());
    if (!primary.empty()) addPrimaryGroup(entry);
    if (!memberOf) frontier.push_back(entry.dn());
    for (std::string& one : allValues(entry, nameAttr)) startNames.push_back(std::move(one));
    for (std::string& group : allValues(entry, script.memberOfAttr)) {
      frontier.push_back(std::move(group));
    }
    return true;
  };
  return lookup.find(both(kind, item(nameAttr, escapeValue(name))), attributes, start);
}

// The directory keeps it as a number at the user, in place of the last number of the user's SID.
void ParentWalk::addPrimaryGroup(BvLDAPEntry& user) {
  const std::string text = firstValue(user, script.primaryGroupAttr);
  BvLDAPAttribute* sid = nullptr;
  user.getAttribute(script.sidAttr.c_str(), &sid);
  std::uint32_t number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  std::optional<std::string> group;
  if (sid != nullptr && error == std::errc() && stop == text.data() + text.size()) {
    group = siblingSid(sid->getBytes(0), number);
  }
  if (group) {
    primaryGroups.insert(std::move(*group));
    return;
  }
  Log::LogByLevel(3, "directory: \"%s\" has no primary group: %s \"%s\", %s \"%s\"",
                  user.dn().c_str(), script.primaryGroupAttr.c_str(), text.c_str(),
                  script.sidAttr.c_str(), firstValue(user, script.sidAttr).c_str());
}

// `memberItems` find parents on the first level only: they name users and their primary group, and
// groups are members by DN.
int ParentWalk::climb(const Names& memberItems) {
  Names items = memberItems;
  while (!frontier.empty() || !items.empty()) {
    for (const std::string& dn : frontier) {
      for (std::string& one : itemsFor(dn)) items.push_back(std::move(one));
    }
    frontier.clear();
    Names next;
    std::string any;
    for (std::size_t i = 0; i < items.size(); ++i) {
      any += items[i];
      const bool full = any.size() > MAX_FILTER || i + 1 == items.size();
      if (!full) continue;
      if (const int code = level(any, next); code != 0) return code;
      any.clear();
    }
    items.clear();
    frontier = std::move(next);
  }
  return 0;
}

int ParentWalk::level(const std::string& anyItem, Names& next) {
  const bool memberOf = script.parentStrategy == ParentStrategy::MEMBER_OF;
  Names attributes = {script.groupNameAttr};
  if (memberOf) attributes.push_back(script.memberOfAttr);
  const bool chain = script.parentStrategy == ParentStrategy::IN_CHAIN;
  if (chain && !primaryGroups.empty()) attributes.push_back(script.sidAttr);
  const std::string filter = both(script.groupFilter, "(|" + anyItem + ")");
  return lookup.find(filter, attributes, [&](BvLDAPEntry& entry) {
    if (!remember(entry.dn())) return true;
    // A group whose name may not be read is no answer, but may lead to one.
    std::string name = firstValue(entry, script.groupNameAttr);
    if (!name.empty()) found.push_back({std::move(name), entry.dn()});
    // The chain goes by members, and a primary group has none in it.
    const bool goesOn = chain ? isPrimary(entry) : !memberOf;
    if (goesOn) next.push_back(entry.dn());
    for (std::string& group : allValues(entry, script.memberOfAttr)) {
      next.push_back(std::move(group));
    }
    return true;
  });
}

// What a filter has to ask about one DN of the frontier.
Names ParentWalk::itemsFor(const std::string& dn) {
  const std::string value = escapeValue(dn);
  if (script.parentStrategy == ParentStrategy::MEMBER_OF) {
    const std::string key = keyOf(dn);
    if (known.contains(key) || !asked.insert(key).second) return {};
    return {item(script.entryDnAttr, value)};
  }
  const bool chain = script.parentStrategy == ParentStrategy::IN_CHAIN;
  Names items;
  for (const MemberAttribute& attribute : script.memberDnAttrs) {
    std::string holds = item(chain ? attribute.name + IN_CHAIN : attribute.name, value);
    const std::string& only = attribute.objectClass;
    items.push_back(only.empty() ? std::move(holds) : both(item("objectClass", only), holds));
  }
  return items;
}

bool ParentWalk::isPrimary(BvLDAPEntry& group) const {
  BvLDAPAttribute* sid = nullptr;
  return !primaryGroups.empty() && group.getAttribute(script.sidAttr.c_str(), &sid) == 0 &&
         primaryGroups.contains(std::string(sid->getBytes(0)));
}

bool ParentWalk::remember(const std::string& dn) { return known.insert(keyOf(dn)).second; }

}  // namespace VESK::directory
