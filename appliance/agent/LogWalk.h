// A walk over the events of one query, from file to file.
#ifndef VESK_APPLIANCE_AGENT_LOG_WALK_H
#define VESK_APPLIANCE_AGENT_LOG_WALK_H

#include <cstdint>
#include <vector>

#include "Lines.h"
#include "MailLog.h"

namespace agent {

class LogWalk {
 public:
  LogWalk(const LogFiles& files, std::vector<LogFile> logs, const LogPage& query);

  // Begins where the place is. False when its file is gone, and all that would follow with it.
  bool startAt(const LogPlace& place);
  // Goes on behind so many events; gives how many there were.
  std::uint64_t skip(std::uint64_t events);
  // Appends the next events to page.events, up to a page; gives how many.
  std::int32_t take(LogPage& page);
  // How many there are behind those.
  std::uint64_t countRest();

  // Behind the last event that was taken, and the file it was in.
  LogPlace place() const;
  const LogFile& file() const { return logs[last]; }

 private:
  struct Range {
    std::uint64_t from;
    std::uint64_t to;
  };
  bool over() const { return index >= logs.size(); }
  void nextFile();
  Range range();  // of the file at `index`, behind `offset`
  Range timeRange(LogFile& log, std::time_t endOfLog) const;
  void visit(const Lines::Visit& visit);

  const LogFiles& files;
  std::vector<LogFile> logs;
  LogPage query;
  bool oldestFirst;
  std::size_t index;
  std::uint64_t offset;
  std::size_t last;  // of the last event
  std::uint64_t lastOffset = 0;
};

}  // namespace agent

#endif
