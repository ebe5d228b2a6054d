#include "product/directory.h"

#include <utility>

#include "Session.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace VESK {

const char* BvLDAPAbstractConnection::getLdapVendorName(LDAPVendor vendor) {
  switch (vendor) {
    case OPENLDAP:
      return "openldap";
    case ACTIVEDIRECTORY:
      return "activedirectory";
    case DS389:
      return "ds389";
    default:
      return "generic";
  }
}

BvLDAPConnection::BvLDAPConnection(LDAPVendor vendor, AuthenType authType)
    : session(std::make_unique<Session>(vendor, authType)) {}

BvLDAPConnection::~BvLDAPConnection() = default;

int BvLDAPConnection::connect(const char* host, int port) try { return session->open(host, port); }
VESK_AT_BOUNDARY("directory", -1)

int BvLDAPConnection::connect(const char* host, int port, const char* bindUser,
                              const char* bindPassword) try {
  return session->open(host, port, bindUser, bindPassword);
}
VESK_AT_BOUNDARY("directory", -1)

int BvLDAPConnection::authenticate(const char* user, const char* password) try {
  return session->bind(user, password);
}
VESK_AT_BOUNDARY("directory", -1)

int BvLDAPConnection::getLastError() { return session->lastError(); }

int BvLDAPConnection::getEntry(const char* dn, const char** attributes, BvLDAPEntry** out) try {
  return session->read(dn, attributes, out);
}
VESK_AT_BOUNDARY("directory", -1)

void BvLDAPConnection::freeEntry(BvLDAPEntry* entry) { delete entry; }

int BvLDAPConnection::search(const char* baseDN, int scope, const char* filter,
                             const char** attributes, BvLDAPSearchResults** out) try {
  *out = nullptr;
  std::vector<BvLDAPEntry> entries;
  const int code = session->visit(baseDN, scope, filter, attributes, [&](BvLDAPEntry& entry) {
    entries.push_back(std::move(entry));
    return true;
  });
  if (code == 0) *out = new BvLDAPSearchResults(std::move(entries));
  return code;
}
VESK_AT_BOUNDARY("directory", -1)

void BvLDAPConnection::freeSearchResults(BvLDAPSearchResults* results) { delete results; }

void BvLDAPConnection::disconnect() { session->close(); }

int BvLDAPConnection::visit(const char* baseDN, int scope, const char* filter,
                            const char** attributes, const BvLDAPEntryVisitor& visitor) try {
  return session->visit(baseDN, scope, filter, attributes, visitor);
}
VESK_AT_BOUNDARY("directory", -1)

}  // namespace VESK
