#include "Lookup.h"

#include <ldap.h>
#include <strings.h>

#include <algorithm>

#include "Filter.h"
#include "Text.h"
#include "product/log.h"

namespace VESK::directory {

Lookup::Lookup(BvLDAPAbstractConnection* to, const char* baseDN)
    : connection(to),
      hasBase(baseDN != nullptr),
      base(realUtf8(baseDN)),
      chosen(currentScript()),
      pages(chosen->pageSize),
      budget(loadOptions(0).operationTimeout) {}

bool Lookup::possible() const {
  if (connection != nullptr && hasBase) return true;
  Log::LogByLevel(1, "directory: look-up without a %s; hint: connect first and give a base DN",
                  connection == nullptr ? "connection" : "base DN");
  return false;
}

int Lookup::find(const std::string& filter, const Names& attributes,
                 const BvLDAPEntryVisitor& visitor) {
  return visit(base, LDAP_SCOPE_SUBTREE, filter, attributes, visitor);
}

int Lookup::findDn(const std::string& dn, const std::string& filter, const Names& attributes,
                   const BvLDAPEntryVisitor& visitor) {
  if (!isUnder(dn, base)) {
    if (isAscii(base)) return 0;
    // The server knows more about upper and lower case.
    return find(both(filter, item(chosen->entryDnAttr, escapeValue(dn))), attributes, visitor);
  }
  return visit(dn, LDAP_SCOPE_BASE, filter, attributes, visitor);
}

int Lookup::visit(const std::string& dn, int scope, const std::string& filter,
                  const Names& attributes, const BvLDAPEntryVisitor& visitor) {
  std::vector<const char*> wanted;
  for (const std::string& attribute : attributes) wanted.push_back(attribute.c_str());
  if (wanted.empty()) wanted.push_back(LDAP_NO_ATTRS);
  wanted.push_back(nullptr);
  return connection->visit(dn.c_str(), scope, filter.c_str(), wanted.data(), visitor);
}

std::string firstValue(BvLDAPEntry& entry, const std::string& attribute) {
  BvLDAPAttribute* found = nullptr;
  if (entry.getAttribute(attribute.c_str(), &found) != 0 || found->size() == 0) return {};
  return found->getValue(0);
}

Names allValues(BvLDAPEntry& entry, const std::string& attribute) {
  Names values;
  BvLDAPAttribute* found = nullptr;
  if (entry.getAttribute(attribute.c_str(), &found) != 0) return values;
  for (int i = 0; i < found->size(); ++i) values.emplace_back(found->getValue(i));
  return values;
}

bool containsName(const Names& names, const std::string& name) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& other) {
    return strcasecmp(other.c_str(), name.c_str()) == 0;
  });
}

std::string searchFilter(const std::string& kind, const Names& attributes, const char* searchText) {
  const std::string text = realUtf8(searchText);
  return text.empty() ? kind : both(kind, anyOf(attributes, escapePattern(text)));
}

}  // namespace VESK::directory
