// A directory server of the test's own, with the sample company in it.
#ifndef VESK_TESTS_SUPPORT_SLAPD_H
#define VESK_TESTS_SUPPORT_SLAPD_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/TempDir.h"

class Slapd {
 public:
  using Words = std::vector<std::string>;

  // `options` for tools/private-slapd, `company` for tools/sample-company. Ready when made; throws
  // with the server's own words when it does not start.
  explicit Slapd(const Words& options = {}, const Words& company = {});
  ~Slapd();
  Slapd(const Slapd&) = delete;
  Slapd& operator=(const Slapd&) = delete;

  int port() const { return ldapPort; }
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
  void stop();

  TempDir dir;
  int ldapPort = 0;
  int ldapsPort = 0;
  pid_t server = -1;
};

#endif
