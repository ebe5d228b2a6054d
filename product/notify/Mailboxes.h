// Lists of addresses as people write them into settings.
#ifndef VESK_NOTIFY_MAILBOXES_H
#define VESK_NOTIFY_MAILBOXES_H

#include <string>
#include <string_view>
#include <vector>

namespace VESK::notify {

struct Mailbox {
  std::string name;     // UTF-8, may be empty
  std::string address;  // ASCII, an international domain in its xn-- form
  std::string written;  // both as a header would have them, but not encoded
};

// The mailboxes of the setting in their order, each once. What is none is logged as an entry of
// `setting` and skipped.
std::vector<Mailbox> parseMailboxes(std::string_view text, const char* setting);

}  // namespace VESK::notify

#endif
