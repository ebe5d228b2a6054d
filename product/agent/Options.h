// The settings of section "agent".
#ifndef VESK_AGENT_OPTIONS_H
#define VESK_AGENT_OPTIONS_H

#include <string>
#include <vector>

namespace VESK::agent {

struct TimeLimits {
  long connectSeconds;
  long totalSeconds;
};

TimeLimits timeLimits();

// Connections of one notification at a time: the setting, or as many as descriptors are left for.
std::size_t connectionLimit();

// The agents of a patch notification.
std::vector<std::string> scanners();

}  // namespace VESK::agent

#endif
