// Where an agent is.
#ifndef VESK_AGENT_ADDRESS_H
#define VESK_AGENT_ADDRESS_H

#include <string>

#include "Failure.h"

namespace VESK::agent {

struct Address {
  // "host:port", equal for texts that name the same agent; of a text that is no address, the text,
  // fit to be shown.
  std::string peer;
  std::string url;  // empty: no address
  Failure failure;
};

// Takes "host:port" and "http://host:port", with or without a path.
Address addressOf(const char* text);

}  // namespace VESK::agent

#endif
