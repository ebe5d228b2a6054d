#include "LogWalk.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Text.h"

namespace agent {
namespace {

constexpr std::size_t longestEvent = 523;
// An answer of 16 MiB is refused by consoles, so a page of very long events ends before.
constexpr std::size_t longestAnswer = 15u << 20;

constexpr auto anywhere = std::numeric_limits<std::uint64_t>::max();

// As the answer spells it.
std::size_t sizeInXml(const std::string& text) {
  std::size_t size = text.size();
  for (const char c : text) {
    if (c == '&' || c == '<' || c == '>' || c == '\r') size += 4;
  }
  return size;
}

std::string eventOf(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return cleanText(line, longestEvent) + '\n';
}

// Finds lines by their time in a log that is in the order of time.
class TimeSearch {
 public:
  TimeSearch(const LogText& log, const Years& logYears)
      : text(log), lines(log, ""), years(logYears) {}

  // Where the first line of that second or later begins.
  std::uint64_t notBefore(std::time_t second) {
    std::uint64_t low = 0;
    std::uint64_t high = text.size();
    while (high - low > nearby) {
      const std::uint64_t middle = low + (high - low) / 2;
      const Found found = datedAfter(middle, high);
      if (!found.dated || found.seconds >= second) {
        high = middle;
      } else {
        low = found.begin;
      }
    }
    // The line that lies across `high` may be the one.
    std::uint64_t result = text.size();
    lines.forwards(low, text.size(), [&](const Line& line) {
      const auto date = dateOf(line.text);
      if (!date || years.seconds(*date) < second) return true;
      result = line.begin;
      return false;
    });
    return result;
  }

 private:
  static constexpr std::uint64_t nearby = 8192;

  struct Found {
    bool dated = false;
    std::uint64_t begin = 0;
    std::time_t seconds = 0;
  };

  // The first whole line with a date that begins behind `from` and before `limit`.
  Found datedAfter(std::uint64_t from, std::uint64_t limit) {
    Found found;
    bool partial = true;
    lines.forwards(from, text.size(), [&](const Line& line) {
      if (line.begin >= limit) return false;
      const auto date = partial ? std::nullopt : dateOf(line.text);
      partial = false;
      if (date) found = {true, line.begin, years.seconds(*date)};
      return !found.dated;
    });
    return found;
  }

  const LogText& text;
  Lines lines;
  const Years& years;
};

}  // namespace

LogWalk::LogWalk(const LogFiles& theFiles, std::vector<LogFile> theLogs, const LogPage& theQuery)
    : files(theFiles), logs(std::move(theLogs)), query(theQuery), oldestFirst(query.mode == 1) {
  index = oldestFirst ? logs.size() - 1 : 0;
  offset = oldestFirst ? 0 : anywhere;
  last = index;
}

bool LogWalk::startAt(const LogPlace& place) {
  const auto begins = [&](const LogFile& log) { return log.head.starts_with(place.head); };
  auto found = std::find_if(logs.begin(), logs.end(), [&](const LogFile& log) {
    return log.inode == place.inode && begins(log);
  });
  // Compressed, or copied and cut off: another file begins as it did.
  if (found == logs.end()) found = std::find_if(logs.begin(), logs.end(), begins);
  // What is gone is the oldest: the rest is all newer.
  if (found == logs.end()) return oldestFirst;
  index = static_cast<std::size_t>(found - logs.begin());
  offset = place.offset;
  last = index;
  return true;
}

void LogWalk::nextFile() {
  // A walk over years of compressed logs needs the room of one.
  if (logs[index].packed) logs[index].text.reset();
  // Below 0 it wraps, and is over as well.
  index += oldestFirst ? std::size_t(-1) : 1;
  offset = oldestFirst ? 0 : anywhere;
}

LogWalk::Range LogWalk::timeRange(LogFile& log, std::time_t endOfLog) const {
  const bool from = query.starttime != 0;
  const bool to = query.endtime != 0;
  if ((from && endOfLog < query.starttime) || (to && log.first > query.endtime)) return {0, 0};
  files.unpack(log);
  TimeSearch search(*log.text, log.years);
  return {from ? search.notBefore(query.starttime) : 0,
          to ? search.notBefore(std::time_t{query.endtime} + 1) : log.text->size()};
}

LogWalk::Range LogWalk::range() {
  constexpr auto never = std::numeric_limits<std::time_t>::max();
  Range range = timeRange(logs[index], index == 0 ? never : logs[index - 1].first);
  if (oldestFirst) {
    range.from = std::max(range.from, offset);
  } else {
    range.to = std::min(range.to, offset);
  }
  return range;
}

void LogWalk::visit(const Lines::Visit& visitor) {
  bool goesOn = true;
  while (goesOn && !over()) {
    const Range part = range();
    const auto step = [&](const Line& line) {
      offset = lastOffset = oldestFirst ? line.next : line.begin;
      last = index;
      return goesOn = visitor(line);
    };
    if (part.from < part.to) {
      Lines lines(*logs[index].text, query.keyword);
      oldestFirst ? lines.forwards(part.from, part.to, step)
                  : lines.backwards(part.from, part.to, step);
    }
    if (goesOn) nextFile();
  }
}

std::uint64_t LogWalk::skip(std::uint64_t events) {
  std::uint64_t skipped = 0;
  if (events == 0) return 0;
  visit([&](const Line&) { return ++skipped < events; });
  return skipped;
}

std::int32_t LogWalk::take(LogPage& page) {
  std::int32_t taken = 0;
  std::size_t size = 0;
  if (page.pagesize == 0) return 0;
  visit([&](const Line& line) {
    const std::string event = eventOf(line.text);
    page.events += event;
    size += sizeInXml(event);
    if (const auto date = dateOf(line.text)) page.year = logs[index].years.year(*date);
    return ++taken < page.pagesize && size < longestAnswer - 5 * longestEvent;
  });
  return taken;
}

std::uint64_t LogWalk::countRest() {
  std::uint64_t events = 0;
  for (; !over(); nextFile()) {
    const Range part = range();
    if (part.from < part.to)
      events += Lines(*logs[index].text, query.keyword).count(part.from, part.to);
  }
  return events;
}

LogPlace LogWalk::place() const { return {logs[last].inode, lastOffset, logs[last].head}; }

}  // namespace agent
