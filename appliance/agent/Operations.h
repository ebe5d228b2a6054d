// The operations of agent.wsdl.
#ifndef VESK_APPLIANCE_AGENT_OPERATIONS_H
#define VESK_APPLIANCE_AGENT_OPERATIONS_H

#include <string>

#include "Events.h"
#include "MailLog.h"
#include "Misbehaviour.h"
#include "Quarantine.h"
#include "Soap.h"

namespace agent {

// Shared by the requests that are served at the same time.
struct Agent {
  Misbehaviour misbehaviour;
  Events events;
  Quarantine quarantine;
  MailLog mailLog;
};

bool isOperation(const std::string& name);

// Throws a Fault.
std::string perform(Agent& agent, const Request& request);

}  // namespace agent

#endif
