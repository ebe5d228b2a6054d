#include "support/Web.h"

#include "support/Network.h"

Web::Web(const std::string& root, const Server::Words& options) {
  for (int tries = 0; tries < 3; ++tries) {
    webPort = freePort();
    Server::Words command = {
        "private-web", "--dir", dir.path("web"), "--port", std::to_string(webPort), "--root", root};
    command.insert(command.end(), options.begin(), options.end());
    if (server.start(command, webPort, dir.path("web.log"))) return;
  }
  throw std::runtime_error("the web server did not start: " + dir.read("web.log"));
}
