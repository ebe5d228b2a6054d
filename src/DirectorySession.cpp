#include "DirectorySession.h"

#include <cstdio>
#include <cstdlib>
#include <new>

using VESK::BvLDAPAbstractConnection;
using VESK::BvLDAPConnection;
using VESK::BvLDAPScript;

namespace {

void loadScript(BvLDAPAbstractConnection::LDAPVendor vendor) {
  char path[512] = {};
  // No default root here: without VESK_HOME the path names no file.
  std::snprintf(path, sizeof path, "%s/ldap/%s/%s", std::getenv("VESK_HOME"),
                BvLDAPAbstractConnection::getLdapVendorName(vendor), "ldapscript.conf");
  BvLDAPScript::destroy();
  BvLDAPScript::init(path);
}

}  // namespace

// A connection is left here only while an exception is on its way to the caller; a second one would
// end the VM. The connection is deleted all the same.
DirectorySession::~DirectorySession() {
  try {
    if (connection) close();
  } catch (...) {
  }
}

template <typename Connect>
jint DirectorySession::create(BvLDAPAbstractConnection::LDAPVendor vendor,
                              BvLDAPAbstractConnection::AuthenType authType,
                              const Connect& connect) {
  connection.reset(new (std::nothrow) BvLDAPConnection(vendor, authType));
  if (!connection) return result::connectionNotCreated;
  if (connect(*connection) != 0) {
    deleteWithoutDisconnect();
    return result::connectFailed;
  }
  connected = true;
  return result::success;
}

jint DirectorySession::open(const DirectoryArguments& to) {
  return create(to.vendor, to.authType, [&to](BvLDAPConnection& fresh) {
    return fresh.connect(to.host(), to.port, to.bindUser(), to.bindPassword());
  });
}

jint DirectorySession::openWithScript(const DirectoryArguments& to) {
  const jint code = open(to);
  if (code == result::success) loadScript(to.vendor);
  return code;
}

jint DirectorySession::openAnonymously(BvLDAPAbstractConnection::LDAPVendor vendor,
                                       BvLDAPAbstractConnection::AuthenType authType,
                                       const char* host, int port) {
  return create(vendor, authType,
                [=](BvLDAPConnection& fresh) { return fresh.connect(host, port); });
}

void DirectorySession::close() {
  if (connected) {
    connected = false;
    connection->disconnect();
  }
  connection.reset();
}

void DirectorySession::deleteWithoutDisconnect() {
  connected = false;
  connection.reset();
}

void DirectorySession::leaveOpen() {
  connected = false;
  static_cast<void>(connection.release());
}

jint DirectorySession::closeAfterFailedQuery() {
  const int lastError = connection->getLastError();
  close();
  return queryFailure(lastError);
}

jint queryFailure(int lastError) {
  switch (lastError) {
    case 2:
      return result::queryBaseMissing;
    case 3:
      return result::queryLimitExceeded;
    default:
      return result::queryFailed;
  }
}
