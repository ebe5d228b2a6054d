// A directory server of the test's own, with the sample company in it.
#ifndef VESK_TESTS_SUPPORT_SLAPD_H
#define VESK_TESTS_SUPPORT_SLAPD_H

#include <string>

#include "support/Server.h"
#include "support/TempDir.h"

class Slapd {
 public:
  using Words = Server::Words;

  // `options` for tools/private-slapd, `company` for tools/sample-company. Ready when made; throws
  // with the server's own words when it does not start.
  explicit Slapd(const Words& options = {}, const Words& company = {});

  int port() const { return ldapPort; }
  pid_t pid() const { return server.pid(); }
  int tlsPort() const { return ldapsPort; }  // served under --tls
  // A file that private-slapd made, e.g. "tls/ca.pem".
  std::string file(const std::string& name) const { return dir.path("server/" + name); }

  // Lines of the server's log with `word`. A request is in it before its answer is sent, so the
  // count is exact for a client that has all its answers.
  int count(const std::string& word) const;
  int searches() const { return count(" SRCH base="); }
  int binds() const { return count(" BIND dn="); }

 private:
  bool start(const Words& options);

  TempDir dir;
  int ldapPort = 0;
  int ldapsPort = 0;
  Server server;
};

#endif
