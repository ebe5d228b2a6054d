// A Kerberos realm of the test's own: EXAMPLE.COM, with the accounts that tools/private-kdc is
// given.
#ifndef VESK_TESTS_SUPPORT_KDC_H
#define VESK_TESTS_SUPPORT_KDC_H

#include <string>

#include "support/Server.h"
#include "support/TempDir.h"

class Kdc {
 public:
  // Ready when made; throws with the server's own words when it does not start.
  explicit Kdc(const std::string& accounts, const Server::Words& options = {});

  int port() const { return kdcPort; }
  pid_t pid() const { return server.pid(); }
  std::string keytab() const { return dir.path("realm/service.keytab"); }
  // What a client's KRB5_CONFIG is to name.
  std::string configuration() const { return dir.path("realm/krb5.conf"); }

 private:
  TempDir dir;
  int kdcPort = 0;
  Server server;
};

#endif
