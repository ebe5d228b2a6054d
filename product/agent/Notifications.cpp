// The operations that go to many agents.
#include <set>

#include "FanOut.h"
#include "Request.h"
#include "product/agent.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace VESK::agent {

namespace {

constexpr std::size_t LONGEST_ANSWER = 64 * 1024;  // a short one is all that there is to say

// Each once, where it is listed first.
std::vector<Told> once(const std::vector<std::string>& list) {
  std::vector<Told> agents;
  std::set<std::string> known;
  for (const std::string& text : list) {
    Address address = addressOf(text.c_str());
    if (known.insert(address.url.empty() ? address.peer : address.url).second)
      agents.push_back({std::move(address)});
  }
  return agents;
}

std::string lineOf(const Told& told) {
  const std::string outcome = told.failure ? " failed: " + told.failure.reason : " ok";
  return told.address.peer + outcome + " " + std::to_string(told.millis) + " ms";
}

void log(const Told& told, const char* operation) {
  if (told.failure) return logFailure(told.address.peer, operation, told.millis, told.failure);
  Log::LogByLevel(LOG_DETAIL, "agent: %s: %s", operation, lineOf(told).c_str());
}

void refuseAll(std::vector<Told>& agents, const Failure& failure) {
  for (Told& agent : agents) agent.failure = failure;
}

// Gives how many agents there are, and to `failed` how many of them were not told.
int tell(const std::vector<std::string>& list, const char* operation, const Request& request,
         std::string& reply, int& failed) {
  reply.clear();
  failed = 0;
  std::vector<Told> agents = once(list);
  if (request.unsendable() != nullptr) {
    refuseAll(agents, {"no XML can hold the notification", hint::TEXT});
  } else {
    tellAll(agents, operation, Post(operation, request.bytes(), LONGEST_ANSWER));
  }
  for (const Told& told : agents) {
    reply += lineOf(told) + "\n";
    log(told, operation);
    failed += told.failure ? 1 : 0;
  }
  return static_cast<int>(agents.size());
}

}  // namespace

}  // namespace VESK::agent

using VESK::agent::Request;

int AgentSOAPClient::PatchSetNotify(const std::string& notification, std::string& reply) try {
  constexpr const char* OPERATION = "PatchSetNotify";
  Request request(OPERATION);
  request.put("notification", notification.c_str());
  int failed = 0;
  if (VESK::agent::tell(VESK::agent::scanners(), OPERATION, request, reply, failed) > 0)
    return -failed;
  VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                        "agent: %s failed: no agents are set; hint: list them as scanners in "
                        "section agent",
                        OPERATION);
  return 1;
}
VESK_AT_BOUNDARY("agent", -1)

int AgentSOAPClient::PostSetNotifyAllScanners(const std::vector<std::string>& agents,
                                              std::string& reply) try {
  constexpr const char* OPERATION = "PostSetNotify";
  int failed = 0;
  const int count = VESK::agent::tell(agents, OPERATION, Request(OPERATION), reply, failed);
  return failed > 0 ? -failed : count;
}
VESK_AT_BOUNDARY("agent", -1)
