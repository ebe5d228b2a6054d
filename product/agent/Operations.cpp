// The operations whose answers are numbers or nothing.
#include <cmath>

#include "Call.h"
#include "product/agent.h"

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

bool AgentSOAPClient::test(const char* endpoint, double first, double second, double& answer) {
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

bool AgentSOAPClient::UnregisterNotify(const char* endpoint) {
  return Call(endpoint, "UnregisterNotify").accepted();
}

bool AgentSOAPClient::sendServiceCmd(const char* endpoint, int command, int& echo) {
  return sendCode(endpoint, "sendServiceCmd", "command", command, "echo", echo);
}

bool AgentSOAPClient::sendSysConfigEvnt(const char* endpoint, int event, int& answer) {
  return sendCode(endpoint, "sendSysConfigEvnt", "event", event, "answer", answer);
}

bool AgentSOAPClient::sendQueueManagerAction(const char* endpoint, int action, int& answer) {
  return sendCode(endpoint, "sendQueueManagerAction", "action", action, "answer", answer);
}
