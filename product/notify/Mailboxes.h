// Lists of addresses as people write them into settings.
#ifndef VESK_NOTIFY_MAILBOXES_H
#define VESK_NOTIFY_MAILBOXES_H

#include <string>
#include <vector>

namespace VESK::notify {

struct Mailbox {
  std::string name;     // UTF-8, may be empty
  std::string address;  // ASCII, an international domain in its xn-- form
  // Both, read as the same mailbox again: not encoded, unless the name itself looks encoded.
  std::string written;
};

// The mailboxes of the texts in their order, each once; each text ends what it left open. What is
// none is logged as an entry of `setting` and skipped.
std::vector<Mailbox> parseMailboxes(const std::vector<std::string>& texts, const char* setting);

// Each byte but letters and digits as "=XX", as encoded words want it.
std::string quotedPrintable(const std::string& bytes);

}  // namespace VESK::notify

#endif
