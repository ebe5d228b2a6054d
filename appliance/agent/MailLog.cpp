#include "MailLog.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "LogWalk.h"

namespace agent {
namespace {

constexpr std::size_t keptPlaces = 4096;
constexpr std::size_t longestKeyword = 1024;
constexpr std::size_t longestName = 127;

std::int32_t atMostInt(std::uint64_t count) {
  constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(count, most));
}

void setCounts(LogPage& page, std::uint64_t events) {
  page.totalcount = atMostInt(events);
  if (page.pagesize == 0) return;
  const auto size = static_cast<std::uint64_t>(page.pagesize);
  page.pagecount = atMostInt((events + size - 1) / size);
}

}  // namespace

MailLog::Key MailLog::keyOf(const LogPage& page, std::int32_t number) {
  return {page.keyword, page.mode,  page.pagesize, page.starttime,
          page.endtime, page.inode, page.offset,   number};
}

std::optional<LogPlace> MailLog::placeOf(const LogPage& page) {
  const std::lock_guard lock(mutex);
  const auto found = places.find(keyOf(page, page.pagenumber));
  if (page.inode == 0 || found == places.end()) return std::nullopt;
  return found->second;
}

void MailLog::remember(const LogPage& answered, LogPlace place) {
  if (answered.pagenumber == std::numeric_limits<std::int32_t>::max()) return;
  const std::lock_guard lock(mutex);
  const auto [entry, added] =
      places.insert_or_assign(keyOf(answered, answered.pagenumber + 1), std::move(place));
  if (added) order.push_back(entry->first);
  if (order.size() <= keptPlaces) return;
  places.erase(order.front());
  order.pop_front();
}

bool MailLog::get(LogPage& page) {
  if (page.mode < 0 || page.mode > 1 || page.pagesize < 0 || page.pagenumber < 1 ||
      page.keyword.size() > longestKeyword) {
    return false;
  }
  std::vector<LogFile> logs = files.list();
  if (logs.empty()) return false;
  LogWalk walk(files, std::move(logs), page);
  std::optional<LogPlace> asked = placeOf(page);
  const bool there = !asked || walk.startAt(*asked);
  const auto before =
      static_cast<std::uint64_t>(page.pagenumber - 1) * static_cast<std::uint64_t>(page.pagesize);
  const std::uint64_t skipped = asked ? 0 : walk.skip(before);
  const std::int32_t taken = there ? walk.take(page) : 0;
  LogPlace place = walk.place();  // before counting, which walks on to the end
  if (page.pagenumber == 1 || (!asked && page.totalcount == 0)) {
    setCounts(page, skipped + static_cast<std::uint64_t>(taken) + walk.countRest());
  }
  if (taken > 0) {
    page.fileName = walk.file().name.substr(0, longestName);
    page.inode = static_cast<std::uint32_t>(place.inode);
    page.offset = static_cast<std::uint32_t>(place.offset);
    remember(page, std::move(place));
  } else if (asked) {
    // Beyond the end, page after page begins at one place.
    remember(page, std::move(*asked));
  }
  return true;
}

}  // namespace agent
