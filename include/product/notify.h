// Notification mails: who gets them, in which language, and how they reach the notification queue.
//
// Texts are NUL-terminated UTF-8. Nothing here throws, changes the process's locale or environment,
// or waits for anything but the disk. A failure leaves one line in the log. All of it may be called
// from several threads; a bundle belongs to one thread at a time.
#ifndef VESK_PRODUCT_NOTIFY_H
#define VESK_PRODUCT_NOTIFY_H

#include <memory>
#include <string>
#include <vector>

// Splits an address setting into mailboxes, in their order, each once (capitals of the domain do
// not matter): "ann@example.com" or "Ann Lee <ann@example.com>", ready for a header but not yet
// encoded (only a name that itself holds "=?" is), international domains in their xn-- form; read
// again, they stay as they are. Between addresses stand semicolons or commas;
// in a quoted display name they belong to the name. Members of a group ("Admins: a@x.org,
// b@x.org;") are listed one by one. An entry that is no address is skipped, and the log names it:
// that includes a bare name without a domain (a local account is name@localhost), control
// characters, letters beyond ASCII before the @ sign, a hyphen in front and an entry of more than
// 998 bytes, read or written. `addresses` stays as it is, `recipients` is emptied first. True when
// there is at least one recipient.
bool checkToAddress(std::string& addresses, std::vector<std::string>& recipients);

namespace VESK {

// What NotifyMailCompose answers beside 0.
enum NotifyMailError : int {
  NOTIFY_BAD_ARGUMENT = 1,  // a null or unusable text: file name, folder
  NOTIFY_NO_RECIPIENT = 2,  // none of them is an address
  NOTIFY_NO_QUEUE = 3,      // the queue folder is missing or cannot be written
  NOTIFY_EXISTS = 4,        // a mail of that name is queued already, and stays as it was
  NOTIFY_NOT_WRITTEN = 5,   // the disk refused (full, file-size limit, I/O error)
};

}  // namespace VESK

// Writes one mail into `queueDirectory` (an existing folder) as a pair of files: the message itself
// in `dataFile` and its envelope in `controlFile`, two plain file names that do not begin with a
// dot, mode 0640. The control file appears when both files and the message's name are on the disk,
// so that neither a killed process nor a power cut leaves a control file without its whole message;
// on failure neither is left.
// docs/product-libraries.md describes what is in them.
//
// `home` is the install root and may be null; it has no influence. `charset` is used where it can
// hold the text, else UTF-8; null and empty mean us-ascii. `replySender` is the sender of the
// envelope, `sender` the one of the header, one address each. Null, empty or no address (the log
// says so) give the null sender in the envelope and MAILER-DAEMON of this machine in the header.
// `recipients` are read as checkToAddress reads them. A null subject or body is an empty one;
// control characters in the subject become blanks. Returns 0 or a VESK::NotifyMailError.
int NotifyMailCompose(const char* home, const char* queueDirectory, const char* controlFile,
                      const char* dataFile, const char* charset, const char* sender,
                      const char* replySender, std::vector<std::string>& recipients,
                      const char* subject, const char* body);

namespace VESK {

// The product's texts in the languages it speaks. Each module has a table of its own.
class BvResbundle {
 public:
  BvResbundle();

  // The text of `key` in the language that _init chose, or `fallback` when there is none. Lives as
  // long as the object (or as `fallback`). The order of the virtual functions is fixed: the
  // appliance's own library is called by it, and this is the first.
  virtual const char* getString(const char* key, const char* fallback);

  // Opens the table of `module` in the folder `resourceFile` of compiled ICU resources. `locale` is
  // a name such as "de_DE" or "de_DE.UTF-8@euro"; without a translation for it "de" is tried, then
  // English, which also serves for null, "C" and "POSIX". The process's own locale has no say. 0 on
  // success; otherwise every look-up gives its fallback, and the log says why. A damaged file is
  // never opened: the folder's SHA256SUMS names what is whole.
  int _init(const char* resourceFile, const char* module, const char* locale);

  // Where the product's own resources are: below the install root (VESK_HOME). Lives until the
  // calling thread asks again.
  static const char* GetResourceFileName();

  virtual ~BvResbundle();
  BvResbundle(const BvResbundle&) = delete;
  BvResbundle& operator=(const BvResbundle&) = delete;

 private:
  struct Table;
  std::unique_ptr<Table> table;
};

}  // namespace VESK

#endif
