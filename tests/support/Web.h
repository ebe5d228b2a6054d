// A web server of the test's own, HTTPS by an authority of its own: tools/private-web.
#ifndef VESK_TESTS_SUPPORT_WEB_H
#define VESK_TESTS_SUPPORT_WEB_H

#include <string>

#include "support/Server.h"
#include "support/TempDir.h"

class Web {
 public:
  // Serves the folder's files. Ready when made; throws with the server's own words when not.
  explicit Web(const std::string& root, const Server::Words& options = {});

  int port() const { return webPort; }
  pid_t pid() const { return server.pid(); }
  std::string url() const { return urlAt(webPort); }
  // Through something in front of it.
  static std::string urlAt(int port) { return "https://localhost:" + std::to_string(port); }
  std::string authority() const { return dir.path("web/ca.pem"); }

 private:
  TempDir dir;
  int webPort = 0;
  Server server;
};

#endif
