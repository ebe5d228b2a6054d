#include "support/Kdc.h"

#include "support/Network.h"

Kdc::Kdc(const std::string& accounts, const Server::Words& options) {
  const std::string input = dir.write("accounts", accounts);
  for (int tries = 0; tries < 3; ++tries) {
    kdcPort = freePort();
    Server::Words command = {"private-kdc", "--dir", dir.path("realm"), "--port",
                             std::to_string(kdcPort)};
    command.insert(command.end(), options.begin(), options.end());
    if (server.start(command, kdcPort, dir.path("kdc.log"), input)) return;
  }
  throw std::runtime_error("the key server did not start: " + dir.read("kdc.log"));
}
