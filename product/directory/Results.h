// Entries as libldap delivers them, made into the product's own.
#ifndef VESK_DIRECTORY_RESULTS_H
#define VESK_DIRECTORY_RESULTS_H

#include <ldap.h>

#include <optional>
#include <string>
#include <vector>

#include "Ranges.h"
#include "product/directory.h"

namespace VESK::directory {

struct IncomingEntry {
  std::string dn;
  std::vector<BvLDAPAttribute> attributes;
  std::vector<PartialAttribute> partial;  // of which the server has more, or may have
};

// `message` is a search entry; nothing when it is broken. `asked` is what the search asked for: a
// range in there comes as it is.
std::optional<IncomingEntry> readEntry(LDAP* handle, LDAPMessage* message,
                                       const char* const* asked);

// Adds an attribute that is complete now, in place of the empty one of the same name that servers
// send besides.
void addWhole(IncomingEntry& entry, PartialAttribute& whole);

}  // namespace VESK::directory

#endif
