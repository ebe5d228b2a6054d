// A reference scanner agent of the test's own.
#ifndef VESK_TESTS_SUPPORT_AGENT_H
#define VESK_TESTS_SUPPORT_AGENT_H

#include <string>

#include "support/Server.h"
#include "support/TempDir.h"

class Agent {
 public:
  // `options` for vesk-agent, but for --listen and --events. Ready when made; throws with the
  // agent's own words when it does not start.
  explicit Agent(const Server::Words& options = {});

  int port() const { return taken; }
  pid_t pid() const { return server.pid(); }
  std::string endpoint() const { return "http://127.0.0.1:" + std::to_string(taken); }

  // What it recorded until now: a line each.
  std::string events() const { return dir.read("events"); }

 private:
  TempDir dir;
  int taken = 0;
  Server server;
};

#endif
