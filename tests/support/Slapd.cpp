#include "support/Slapd.h"

#include <algorithm>

#include "support/Network.h"

Slapd::Slapd(const Words& options, const Words& company) {
  Words print = {"sample-company"};
  print.insert(print.end(), company.begin(), company.end());
  const int status = Server::run(print, dir.path("company.ldif"));
  // Somebody else may take a free port before slapd does.
  for (int tries = 0; status == 0 && tries < 3; ++tries) {
    if (start(options)) return;
  }
  throw std::runtime_error("slapd did not start: " + dir.read("slapd.log") +
                           (status == 0 ? "" : dir.read("company.ldif")));
}

bool Slapd::start(const Words& options) {
  ldapPort = freePort();
  ldapsPort = freePort();
  Words command = {"private-slapd",
                   "--dir",
                   dir.path("server"),
                   "--ldif",
                   dir.path("company.ldif"),
                   "--port",
                   std::to_string(ldapPort),
                   "--loglevel",
                   "stats"};
  command.insert(command.end(), options.begin(), options.end());
  if (std::find(options.begin(), options.end(), "--tls") != options.end()) {
    command.insert(command.end(), {"--tls-port", std::to_string(ldapsPort)});
  }
  return server.start(command, ldapPort, dir.path("slapd.log"));
}

int Slapd::count(const std::string& word) const {
  const std::string log = dir.read("slapd.log");
  int lines = 0;
  for (auto at = log.find(word); at != std::string::npos; at = log.find(word, at + 1)) ++lines;
  return lines;
}
