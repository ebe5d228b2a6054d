#include "ParentWalk.h"

#include <utility>

#include "Filter.h"

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
  if (walks && script.memberDnAttrs.empty()) {
    startNames = {name};
  } else if (const int code = resolve(script.userFilter, script.userNameAttr, name); code != 0) {
    return code;
  }
  Names items;
  for (const std::string& attribute : walks ? script.memberNameAttrs : Names{}) {
    for (const std::string& own : startNames) items.push_back(item(attribute, escapeValue(own)));
  }
  return climb(items);
}

int ParentWalk::fromGroup(const std::string& name) {
  const int code = resolve(script.groupFilter, script.groupNameAttr, name);
  return code == 0 ? climb({}) : code;
}

// Finds where the walk starts: every entry of that name.
int ParentWalk::resolve(const std::string& kind, const std::string& nameAttr,
                        const std::string& name) {
  const bool memberOf = script.parentStrategy == ParentStrategy::MEMBER_OF;
  Names attributes = {nameAttr};
  if (memberOf) attributes.push_back(script.memberOfAttr);
  const auto start = [&](BvLDAPEntry& entry) {
    remember(entry.dn());
    if (!memberOf) frontier.push_back(entry.dn());
    for (std::string& one : allValues(entry, nameAttr)) startNames.push_back(std::move(one));
    for (std::string& group : allValues(entry, script.memberOfAttr)) {
      frontier.push_back(std::move(group));
    }
    return true;
  };
  return lookup.find(both(kind, item(nameAttr, escapeValue(name))), attributes, start);
}

// `memberItems` find parents on the first level only: they name users, and groups are members by
// DN.
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
  const std::string filter = both(script.groupFilter, "(|" + anyItem + ")");
  return lookup.find(filter, attributes, [&](BvLDAPEntry& entry) {
    if (!remember(entry.dn())) return true;
    // A group whose name may not be read is no answer, but may lead to one.
    std::string name = firstValue(entry, script.groupNameAttr);
    if (!name.empty()) found.push_back({std::move(name), entry.dn()});
    if (script.parentStrategy == ParentStrategy::WALK) next.push_back(entry.dn());
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

bool ParentWalk::remember(const std::string& dn) { return known.insert(keyOf(dn)).second; }

}  // namespace VESK::directory
