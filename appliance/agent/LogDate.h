// Dates in front of log lines: "Nov 21 10:15:00", whose year nobody wrote down, and RFC 3339.
#ifndef VESK_APPLIANCE_AGENT_LOG_DATE_H
#define VESK_APPLIANCE_AGENT_LOG_DATE_H

#include <ctime>
#include <optional>
#include <string_view>

namespace agent {

struct LogDate {
  std::tm local{};  // without a year, and in the local time zone ...
  bool complete = false;
  std::time_t seconds = 0;  // ... unless it is complete

  // In the order of the calendar, within a year.
  int day() const { return local.tm_mon * 100 + local.tm_mday; }
};

// Nothing for a line that begins with no date.
std::optional<LogDate> dateOf(std::string_view line);

// Of the first line that has one.
std::optional<LogDate> firstDate(std::string_view lines);

// The years of a log of less than twelve months: all follow from that of its first line. A day
// before that one is a year later, or of a line that came late.
class Years {
 public:
  Years() = default;
  // The latest year that puts `first` before `latest`.
  Years(const LogDate& first, std::time_t latest);

  std::time_t seconds(const LogDate& date) const;
  int year(const LogDate& date) const;

 private:
  int firstDay = 0;
  int firstYear = 1970;
  std::time_t end = 0;
};

}  // namespace agent

#endif
