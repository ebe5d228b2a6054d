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

// Splits an address setting into mailboxes, in their order, each once: "ann@example.com" or
// "Ann Lee <ann@example.com>", ready for a header but not yet encoded. Between addresses stand
// semicolons or commas; in a quoted display name they belong to the name. An entry that is no
// address is skipped, and the log names it. `addresses` stays as it is, `recipients` is emptied
// first. True when there is at least one recipient.
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
// in `dataFile` and its envelope in `controlFile`, both plain file names. Each appears whole and
// synced to disk, the data file first, so that a control file never stands without its message; on
// failure neither is left. `charset` is used where it can hold the text, else UTF-8. `home` is the
// install root, for messages only; it may be null. `replySender` is the sender of the envelope;
// `sender` the one of the header; an empty one is written as the null sender. Returns 0 or a
// VESK::NotifyMailError.
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

  // Opens the table of `module` in the resources `resourceFile`. `locale` is a name such as
  // "de_DE"; without a translation for it "de" is tried, then English, which also serves for null,
  // "C" and "POSIX". 0 on success; otherwise every look-up gives its fallback.
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
