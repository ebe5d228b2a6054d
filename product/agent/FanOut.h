// One request to many agents at once, on the calling thread.
#ifndef VESK_AGENT_FAN_OUT_H
#define VESK_AGENT_FAN_OUT_H

#include <string>
#include <vector>

#include "Address.h"
#include "Exchange.h"

namespace VESK::agent {

// An agent, and what became of its request.
struct Told {
  Address address;
  Failure failure{};
  long long millis = 0;
};

// Sends the request to each of the agents; fills in the rest of what is told of them.
void tellAll(std::vector<Told>& agents, const char* operation, const Post& post);

}  // namespace VESK::agent

#endif
