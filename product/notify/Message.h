// A mail's text, headers and body, as RFC 5322 and MIME have it.
#ifndef VESK_NOTIFY_MESSAGE_H
#define VESK_NOTIFY_MESSAGE_H

#include <string>
#include <vector>

#include "Mailboxes.h"

namespace VESK::notify {

struct Mail {
  std::string charset;        // that is asked for
  std::vector<Mailbox> from;  // one at most; none is the mail system of this machine
  std::vector<Mailbox> to;
  std::string subject;  // UTF-8, as the body
  std::string body;
};

// Lines end with LF, and there is no line that a mail system would have to break.
std::string compose(const Mail& mail);

}  // namespace VESK::notify

#endif
