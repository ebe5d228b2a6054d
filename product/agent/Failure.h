// Why a call failed, as the log tells it.
#ifndef VESK_AGENT_FAILURE_H
#define VESK_AGENT_FAILURE_H

#include <chrono>
#include <string>

namespace VESK::agent {

using Clock = std::chrono::steady_clock;

struct Failure {
  std::string reason{};  // empty: none
  const char* hint = "";
  std::string detail{};  // the component's or the agent's own words

  explicit operator bool() const { return !reason.empty(); }
};

long long millisSince(Clock::time_point start);

// One line: agent, operation, reason, time, hint.
void logFailure(const std::string& peer, const char* operation, long long millis,
                const Failure& failure);

namespace hint {
inline constexpr const char* ADDRESS = "an agent is host:port or http://host:port";
inline constexpr const char* REACH = "check that the agent runs, its host and port, and firewalls";
inline constexpr const char* DESCRIPTORS = "raise the console's limit of open files";
inline constexpr const char* SLOW =
    "see what keeps the agent busy, or raise timeout in section agent";
inline constexpr const char* DIALECT = "another service listens there, or an agent of another kind";
inline constexpr const char* REFUSED =
    "look for what was named (message, area, file) at the agent, and at the agent's own log";
inline constexpr const char* MEMORY = "restart the console and watch its memory";
inline constexpr const char* TEXT = "look at what was entered";
inline constexpr const char* CALLER = "the caller's arguments are wrong";
}  // namespace hint

}  // namespace VESK::agent

#endif
