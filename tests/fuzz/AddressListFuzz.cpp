// Address settings: what is taken is one header line each, and is read again as the same.
#include <algorithm>

#include "Fuzz.h"
#include "notify/Mailboxes.h"
#include "notify/Message.h"
#include "product/notify.h"

namespace {

using VESK::notify::Mailbox;

bool isPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

void expectForm(const Mailbox& mailbox) {
  FUZZ_EXPECT(fuzz::isUtf8(mailbox.written) && fuzz::isUtf8(mailbox.name));
  FUZZ_EXPECT(mailbox.written.find_first_of("\r\n") == std::string::npos);
  FUZZ_EXPECT(mailbox.written.size() <= 998 && mailbox.address.size() <= 254);
  FUZZ_EXPECT(mailbox.address.find('@') != std::string::npos && mailbox.address.front() != '-');
  const std::string domain = mailbox.address.substr(mailbox.address.rfind('@') + 1);
  FUZZ_EXPECT(!domain.empty() && isPrintable(domain));
}

// Nothing of a name or an address becomes a header of its own.
void expectMail(const std::vector<Mailbox>& to) {
  const std::string mail = VESK::notify::compose({"us-ascii", {}, to, "Subject", "Body"});
  const std::string headers = mail.substr(0, mail.find("\n\n"));
  for (const char* name : {"\nTo: ", "\nSubject: ", "\nMessage-ID: ", "\nFrom: "}) {
    const std::size_t at = headers.find(name);
    FUZZ_EXPECT(at != std::string::npos && headers.find(name, at + 1) == std::string::npos);
  }
  FUZZ_EXPECT(mail.ends_with("\n\nBody\n") || mail.ends_with("\n\nBody"));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  std::string setting(reinterpret_cast<const char*>(data), size);
  const std::string given = setting;
  std::vector<std::string> recipients{"left over"};
  const bool some = checkToAddress(setting, recipients);
  FUZZ_EXPECT(setting == given && some == !recipients.empty());
  const std::vector<Mailbox> mailboxes = VESK::notify::parseMailboxes({given}, "setting");
  FUZZ_EXPECT(mailboxes.size() == recipients.size());
  std::for_each(mailboxes.begin(), mailboxes.end(), expectForm);
  if (some) expectMail(mailboxes);
  std::string joined;
  for (const std::string& recipient : recipients) joined += recipient + "; ";
  std::vector<std::string> again;
  FUZZ_EXPECT(checkToAddress(joined, again) == some && again == recipients);
  return 0;
}
