#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "GMime.h"
#include "Message.h"
#include "QueuePair.h"
#include "product/log.h"
#include "product/notify.h"
#include "shared/Boundary.h"

namespace VESK::notify {

namespace {

using Clock = std::chrono::steady_clock;

std::string orEmpty(const char* text) { return text == nullptr ? "" : text; }

// A file of the queue folder itself, of a name that the envelope can hold and that no reader takes
// for an unfinished one.
bool isFileName(const std::string& name) {
  return !name.empty() && name.front() != '.' && std::none_of(name.begin(), name.end(), [](char c) {
    return c == '/' || g_ascii_iscntrl(c);
  });
}

std::string stampOf(GDateTime* time) {
  const Text stamp(g_date_time_format(time, "%Y-%m-%dT%H:%M:%SZ"));
  g_date_time_unref(time);
  return stamp.get();
}

std::string envelopeOf(const std::string& message, const char* dataFile,
                       const std::vector<Mailbox>& sender, const std::vector<Mailbox>& to) {
  const Text sum(g_compute_checksum_for_data(
      G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(message.data()), message.size()));
  std::string text = "VESK-Mail: 1\n";
  text += "Message: " + std::string(dataFile) + "\n";
  text += "Bytes: " + std::to_string(message.size()) + "\n";
  text += "SHA-256: " + std::string(sum.get()) + "\n";
  text += "Time: " + stampOf(g_date_time_new_now_utc()) + "\n";
  text += "Sender: <" + (sender.empty() ? "" : sender.front().address) + ">\n";
  for (const Mailbox& mailbox : to) text += "Recipient: <" + mailbox.address + ">\n";
  return text;
}

const char* hintOf(int error) {
  switch (error) {
    case EEXIST:
      return "a mail of this name is queued already and stays; the next second gives another name";
    case ENOENT:
    case ENOTDIR:
      return "make the folder, or set queue_notify in section general";
    case EACCES:
    case EPERM:
    case EROFS:
      return "give the console's account the right to write into the queue folder";
    case EFBIG:
      return "raise the process's file-size limit";
    case EMFILE:
    case ENFILE:
      return "raise the limit of open files";
    case EINVAL:
      return "put the queue on a local file system";
    default:
      return "make room on the disk and check its health";
  }
}

int codeOf(int error) {
  switch (error) {
    case EEXIST:
      return NOTIFY_EXISTS;
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case EACCES:
    case EPERM:
    case EROFS:
      return NOTIFY_NO_QUEUE;
    default:
      return NOTIFY_NOT_WRITTEN;
  }
}

int report(const QueueFailure& failure, const std::string& folder, Clock::time_point start) {
  const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  Log::LogByLevel(LOG_NORMAL, "notify: %s failed at %s%s%s after %lld ms: %s; hint: %s",
                  failure.step, folder.c_str(), failure.name.empty() ? "" : "/",
                  failure.name.c_str(), static_cast<long long>(taken.count()),
                  std::generic_category().message(failure.error).c_str(), hintOf(failure.error));
  return codeOf(failure.error);
}

int refuse(int code, const std::string& folder, const char* reason, const char* hint) {
  Log::LogByLevel(LOG_NORMAL, "notify: no mail for %s: %s; hint: %s", folder.c_str(), reason, hint);
  return code;
}

}  // namespace

}  // namespace VESK::notify

// `home` has no part in it: folder and names say where.
int NotifyMailCompose(const char*, const char* queueDirectory, const char* controlFile,
                      const char* dataFile, const char* charset, const char* sender,
                      const char* replySender, std::vector<std::string>& recipients,
                      const char* subject, const char* body) try {
  using namespace VESK::notify;
  const auto start = Clock::now();
  const std::string folder = orEmpty(queueDirectory);
  const std::string control = orEmpty(controlFile);
  const std::string data = orEmpty(dataFile);
  if (folder.empty() || !isFileName(control) || !isFileName(data) || control == data) {
    return refuse(VESK::NOTIFY_BAD_ARGUMENT, folder, "folder or file names are not usable",
                  "a folder and two plain, different file names are needed");
  }
  const std::vector<Mailbox> to = parseMailboxes(recipients, "the recipients");
  if (to.empty()) {
    return refuse(VESK::NOTIFY_NO_RECIPIENT, folder, "none of the recipients is an address",
                  "set Administrator in section General-Notification");
  }
  const std::string asked = orEmpty(charset).empty() ? "us-ascii" : charset;
  const std::vector<Mailbox> from = parseMailboxes({orEmpty(sender)}, "the sender");
  const std::string message = compose({asked, from, to, orEmpty(subject), orEmpty(body)});
  const std::vector<Mailbox> envelopeSender =
      orEmpty(sender) == orEmpty(replySender)
          ? from
          : parseMailboxes({orEmpty(replySender)}, "the sender");
  const std::string envelope = envelopeOf(message, dataFile, envelopeSender, to);
  const QueueFailure failure =
      writePair(queueDirectory, {dataFile, message}, {controlFile, envelope});
  return failure.error == 0 ? 0 : report(failure, folder, start);
}
VESK_AT_BOUNDARY("notify", VESK::NOTIFY_NOT_WRITTEN)
