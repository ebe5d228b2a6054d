// The agent's command line.
#ifndef VESK_APPLIANCE_AGENT_OPTIONS_H
#define VESK_APPLIANCE_AGENT_OPTIONS_H

#include <string>

#include "Misbehaviour.h"

namespace agent {

struct Options {
  std::string host = "127.0.0.1";
  int port = 8090;
  std::string spool{};
  std::string mailLog{};
  std::string exportFolder{};
  std::string events{};
  Misbehaviour misbehaviour{};
  bool help = false;

  // Throws std::invalid_argument with what is wrong.
  static Options parse(int count, char** words);
};

extern const char* const usage;

}  // namespace agent

#endif
