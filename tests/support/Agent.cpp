#include "support/Agent.h"

#include <stdexcept>

#include "support/Network.h"

Agent::Agent(const Server::Words& options) {
  // Somebody else may take a free port before the agent does.
  for (int tries = 0; tries < 3; ++tries) {
    taken = freePort();
    Server::Words command = {VESK_AGENT, "--listen", "127.0.0.1:" + std::to_string(taken),
                             "--events", dir.path("events")};
    command.insert(command.end(), options.begin(), options.end());
    if (server.start(command, taken, dir.path("agent.log"))) return;
  }
  throw std::runtime_error("vesk-agent did not start: " + dir.read("agent.log"));
}
