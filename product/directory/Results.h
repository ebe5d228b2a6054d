// Entries as libldap delivers them, made into the product's own.
#ifndef VESK_DIRECTORY_RESULTS_H
#define VESK_DIRECTORY_RESULTS_H

#include <ldap.h>
#include <product/directory.h>

namespace VESK::directory {

// `message` is a search entry; a broken one gives what was readable.
BvLDAPEntry makeEntry(LDAP* handle, LDAPMessage* message);

}  // namespace VESK::directory

#endif
