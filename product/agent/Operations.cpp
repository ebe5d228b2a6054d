// The operations whose answers are numbers or nothing.
#include <cmath>

#include "Call.h"
#include "product/agent.h"
#include "shared/Boundary.h"

using VESK::agent::Call;

namespace {

bool sendCode(const char* endpoint, const char* operation, const char* argument, int code,
              const char* result, int& answer) {
  answer = 0;
  Call call(endpoint, operation);
  int answered = 0;
  if (!call.put(argument, code).accepted() || !call.get(result, answered)) return false;
  answer = answered;
  return true;
}

}  // namespace

bool AgentSOAPClient::test(const char* endpoint, double first, double second, double& answer) try {
  answer = 0;
  Call call(endpoint, "test");
  double sum = 0;
  if (!call.put("first", first).put("second", second).accepted()) return false;
  if (!call.get("answer", sum)) return false;
  if (std::isnan(sum) && !std::isnan(first + second))
    return call.succeeded({"answer is not a number", VESK::agent::hint::DIALECT});
  answer = sum;
  return true;
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::UnregisterNotify(const char* endpoint) try {
  return Call(endpoint, "UnregisterNotify").accepted();
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::sendServiceCmd(const char* endpoint, int command, int& echo) try {
  return sendCode(endpoint, "sendServiceCmd", "command", command, "echo", echo);
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::sendSysConfigEvnt(const char* endpoint, int event, int& answer) try {
  return sendCode(endpoint, "sendSysConfigEvnt", "event", event, "answer", answer);
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::sendQueueManagerAction(const char* endpoint, int action, int& answer) try {
  return sendCode(endpoint, "sendQueueManagerAction", "action", action, "answer", answer);
}
VESK_AT_BOUNDARY("agent", false)
