// agent.wsdl, as it was when the agent was built.
#ifndef VESK_APPLIANCE_AGENT_WSDL_H
#define VESK_APPLIANCE_AGENT_WSDL_H

#include <string_view>

namespace agent {

extern const std::string_view wsdl;

}  // namespace agent

#endif
