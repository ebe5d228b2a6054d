// What the agent was told, a line each, for those who look after it.
#ifndef VESK_APPLIANCE_AGENT_EVENTS_H
#define VESK_APPLIANCE_AGENT_EVENTS_H

#include <string>

namespace agent {

class Events {
 public:
  // Appends to `path`, made with mode 0640; "" keeps nothing. Throws std::system_error.
  explicit Events(const std::string& path);
  ~Events();
  Events(const Events&) = delete;
  Events& operator=(const Events&) = delete;

  // "2026-11-21T10:15:00+0100 OPERATION WORDS". False when it could not be kept.
  [[nodiscard]] bool record(const std::string& operation, const std::string& words = "");

 private:
  int fd = -1;
};

}  // namespace agent

#endif
