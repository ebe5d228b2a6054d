#include "Results.h"

#include <strings.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "Binary.h"
#include "Ranges.h"

namespace VESK {

// A value that is shown otherwise lies behind its text and a NUL, which no text has in it: plain
// texts, nearly all there are, then cost nothing more.
BvLDAPAttribute::BvLDAPAttribute(std::string name, std::vector<std::string> values)
    : attributeName(std::move(name)), attributeValues(std::move(values)) {
  for (std::string& value : attributeValues) {
    std::optional<std::string> shown = directory::shownText(attributeName, value);
    if (!shown) continue;
    shown->push_back('\0');
    shown->append(value);
    value = std::move(*shown);
  }
}

int BvLDAPAttribute::size() const { return static_cast<int>(attributeValues.size()); }

const char* BvLDAPAttribute::getValue(int index) const {
  if (index < 0 || index >= size()) return nullptr;
  return attributeValues[static_cast<std::size_t>(index)].c_str();
}

std::string_view BvLDAPAttribute::getBytes(int index) const {
  if (index < 0 || index >= size()) return {};
  const std::string_view value = attributeValues[static_cast<std::size_t>(index)];
  const std::size_t end = value.find('\0');
  return end == std::string_view::npos ? value : value.substr(end + 1);
}

BvLDAPEntry::BvLDAPEntry(std::string dn, std::vector<BvLDAPAttribute> attributes)
    : entryDn(std::move(dn)), entryAttributes(std::move(attributes)) {}

int BvLDAPEntry::getAttribute(const char* name, BvLDAPAttribute** out) {
  *out = nullptr;
  if (name == nullptr) return -1;
  const auto same = [name](const BvLDAPAttribute& attribute) {
    return strcasecmp(attribute.name().c_str(), name) == 0;
  };
  auto found = std::find_if(entryAttributes.begin(), entryAttributes.end(), same);
  if (found == entryAttributes.end()) {
    found = std::find_if(
        entryAttributes.begin(), entryAttributes.end(),
        [name](const BvLDAPAttribute& other) { return directory::answers(other.name(), name); });
  }
  if (found == entryAttributes.end()) return -1;
  *out = &*found;
  return 0;
}

BvLDAPSearchResults::BvLDAPSearchResults(std::vector<BvLDAPEntry> entries)
    : resultEntries(std::move(entries)) {}

int BvLDAPSearchResults::size() const { return static_cast<int>(resultEntries.size()); }

BvLDAPEntry* BvLDAPSearchResults::operator[](unsigned index) {
  return index < resultEntries.size() ? &resultEntries[index] : nullptr;
}

namespace directory {

namespace {

struct FreeElement {
  void operator()(BerElement* element) const { ber_free(element, 0); }
};
struct FreeValues {
  void operator()(berval* values) const { ber_memfree(values); }
};
using Element = std::unique_ptr<BerElement, FreeElement>;
using Values = std::unique_ptr<berval, FreeValues>;

std::string copy(const berval& value) { return std::string(value.bv_val, value.bv_len); }

std::vector<std::string> copy(const Values& values) {
  std::vector<std::string> texts;
  for (const berval* value = values.get(); value != nullptr && value->bv_val != nullptr; ++value) {
    texts.push_back(copy(*value));
  }
  return texts;
}

}  // namespace

// Reads straight from the message, which the names and values point into.
std::optional<IncomingEntry> readEntry(LDAP* handle, LDAPMessage* message,
                                       const char* const* asked) {
  BerElement* raw = nullptr;
  berval dn{};
  IncomingEntry entry;
  if (ldap_get_dn_ber(handle, message, &raw, &dn) != LDAP_SUCCESS) return {};
  const Element element(raw);
  entry.dn = copy(dn);
  for (;;) {
    berval name{};
    berval* rawValues = nullptr;
    if (ldap_get_attribute_ber(handle, message, raw, &name, &rawValues) != LDAP_SUCCESS) return {};
    if (name.bv_val == nullptr) break;
    const Values values(rawValues);
    std::optional<Range> range = rangeOf({name.bv_val, name.bv_len});
    if (range && !asksForRange(asked, range->name)) {
      entry.partial.push_back({std::move(*range), copy(values)});
    } else {
      entry.attributes.emplace_back(copy(name), copy(values));
    }
  }
  return entry;
}

void addWhole(IncomingEntry& entry, PartialAttribute& whole) {
  std::erase_if(entry.attributes, [&](const BvLDAPAttribute& other) {
    return strcasecmp(other.name().c_str(), whole.range.name.c_str()) == 0;
  });
  entry.attributes.emplace_back(std::move(whole.range.name), std::move(whole.values));
}

}  // namespace directory

}  // namespace VESK
