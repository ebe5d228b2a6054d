// HTML as plain text: enough to see what a message is about.
#ifndef VESK_APPLIANCE_AGENT_HTML_H
#define VESK_APPLIANCE_AGENT_HTML_H

#include <string>
#include <string_view>

namespace agent {

std::string htmlText(std::string_view html);

}  // namespace agent

#endif
