// One operation of one agent, from arguments to values. Whatever fails, one line in the log says
// so.
#ifndef VESK_AGENT_CALL_H
#define VESK_AGENT_CALL_H

#include "Address.h"
#include "Answer.h"
#include "Request.h"

namespace VESK::agent {

class Call {
 public:
  Call(const char* endpoint, const char* operation);

  template <typename Value>
  Call& put(const char* name, Value value) {
    request.put(name, value);
    return *this;
  }

  // Sends the request; true when the agent did what it asks for.
  bool accepted();

  template <typename Value>
  bool get(const char* name, Value& value) {
    return succeeded(answer.get(name, value));
  }

  // Logs the failure, if it is one; true when not.
  bool succeeded(const Failure& failure) const;

 private:
  Failure send();

  const Clock::time_point started = Clock::now();
  const char* operation;
  Address address;
  Request request;
  Answer answer;
};

}  // namespace VESK::agent

#endif
