// Pages of the mail transfer agent's log.
#ifndef VESK_APPLIANCE_AGENT_MAIL_LOG_H
#define VESK_APPLIANCE_AGENT_MAIL_LOG_H

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>

#include "LogFiles.h"

namespace agent {

// As in agent.wsdl: asked, or answered.
struct LogPage {
  std::string keyword{};
  std::string fileName{};
  std::int32_t mode = 0;
  std::int32_t pagesize = 0;
  std::int32_t pagecount = 0;
  std::int32_t totalcount = 0;
  std::int32_t pagenumber = 1;
  std::int32_t starttime = 0;
  std::int32_t endtime = 0;
  std::uint32_t inode = 0;
  std::uint32_t offset = 0;
  std::int32_t year = 0;
  std::string events{};
};

// A place in the log, that which an answer's inode and offset stand for. The rest is kept here,
// since 64 bits are: how the file begins.
struct LogPlace {
  std::uint64_t inode = 0;
  std::uint64_t offset = 0;
  std::string head{};
};

class MailLog {
 public:
  explicit MailLog(const std::string& path) : files(path) {}

  // Turns what was asked into the answer. False when there is no log, or what was asked makes no
  // sense. The places of the last answers are kept, so that a page costs what it has and not what
  // lies before it; a page whose place is not known is looked for from the beginning.
  bool get(LogPage& page);

 private:
  // With the number of the page that begins there: to readers who began at different times, the
  // same place may be the end of different pages.
  using Key = std::tuple<std::string, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                         std::uint32_t, std::uint32_t, std::int32_t>;
  static Key keyOf(const LogPage& page, std::int32_t number);
  std::optional<LogPlace> placeOf(const LogPage& page);
  void remember(const LogPage& answered, LogPlace place);

  LogFiles files;
  std::mutex mutex;
  std::map<Key, LogPlace> places;
  std::deque<Key> order;  // of their age
};

}  // namespace agent

#endif
