// Entries as libldap delivers them, made into the product's own.
#ifndef VESK_DIRECTORY_RESULTS_H
#define VESK_DIRECTORY_RESULTS_H

#include <ldap.h>

#include <optional>

#include "product/directory.h"

namespace VESK::directory {

// `message` is a search entry; nothing when it is broken.
std::optional<BvLDAPEntry> makeEntry(LDAP* handle, LDAPMessage* message);

}  // namespace VESK::directory

#endif
