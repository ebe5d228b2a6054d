// UTF-8 as XML 1.0 and the console's buffers can hold it.
#ifndef VESK_APPLIANCE_AGENT_TEXT_H
#define VESK_APPLIANCE_AGENT_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace agent {

// Bytes that are no UTF-8 and characters that XML does not allow become U+FFFD; a line ends with
// a line feed alone. Ends at the end of
// the last character that fits into `limit` bytes.
std::string cleanText(std::string_view raw, std::size_t limit = std::string::npos);

// For one line of a log: backslashes and control characters are escaped.
std::string oneLine(std::string_view text);

}  // namespace agent

#endif
