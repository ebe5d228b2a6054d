#include "LogDate.h"

#include <algorithm>
#include <charconv>

namespace agent {
namespace {

// Reads as a person does: what is asked for must be there, or all of it fails.
class Reader {
 public:
  explicit Reader(std::string_view source) : text(source) {}

  bool good() const { return fine; }
  char peek() const { return text.empty() ? '\0' : text[0]; }

  void expect(char wanted) {
    fine = fine && peek() == wanted;
    if (fine) text.remove_prefix(1);
  }

  int number(std::size_t digits, int least, int most) {
    int value = 0;
    const char* first = text.data();
    const char* last = first + std::min(digits, text.size());
    const auto [end, error] = std::from_chars(first, last, value);
    fine = fine && text.size() >= digits && error == std::errc{} && end == last && value >= least &&
           value <= most;
    if (fine) text.remove_prefix(digits);
    return value;
  }

  int month() {
    constexpr std::string_view names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const auto at = text.size() < 3 ? std::string_view::npos : names.find(text.substr(0, 3));
    fine = fine && at != std::string_view::npos && at % 3 == 0;
    if (!fine) return 0;
    text.remove_prefix(3);
    return static_cast<int>(at / 3);
  }

  void time(std::tm& into) {
    into.tm_hour = number(2, 0, 23);
    expect(':');
    into.tm_min = number(2, 0, 59);
    expect(':');
    into.tm_sec = number(2, 0, 60);
  }

  void fraction() {
    if (peek() != '.') return;
    do text.remove_prefix(1);
    while (peek() >= '0' && peek() <= '9');
  }

  // Seconds that the zone is ahead of UTC.
  int zone() {
    const char sign = peek();
    if (sign == 'Z') {
      expect('Z');
      return 0;
    }
    fine = fine && (sign == '+' || sign == '-');
    if (!fine) return 0;
    text.remove_prefix(1);
    int ahead = number(2, 0, 23) * 3600;
    if (peek() == ':') expect(':');
    ahead += number(2, 0, 59) * 60;
    return sign == '-' ? -ahead : ahead;
  }

 private:
  std::string_view text;
  bool fine = true;
};

std::optional<LogDate> syslogDate(std::string_view line) {
  Reader reader(line);
  LogDate date;
  date.local.tm_mon = reader.month();
  reader.expect(' ');
  if (reader.peek() == ' ') {
    reader.expect(' ');
    date.local.tm_mday = reader.number(1, 1, 9);
  } else {
    date.local.tm_mday = reader.number(2, 1, 31);
  }
  reader.expect(' ');
  reader.time(date.local);
  if (!reader.good()) return std::nullopt;
  return date;
}

std::optional<LogDate> completeDate(std::string_view line) {
  Reader reader(line);
  LogDate date;
  date.complete = true;
  date.local.tm_year = reader.number(4, 1900, 9999) - 1900;
  reader.expect('-');
  date.local.tm_mon = reader.number(2, 1, 12) - 1;
  reader.expect('-');
  date.local.tm_mday = reader.number(2, 1, 31);
  reader.expect(reader.peek() == ' ' ? ' ' : 'T');
  reader.time(date.local);
  reader.fraction();
  const int ahead = reader.zone();
  if (!reader.good()) return std::nullopt;
  std::tm utc = date.local;
  date.seconds = timegm(&utc) - ahead;
  return date;
}

// Not every year has a February 29.
std::optional<std::time_t> inYear(const LogDate& date, int year) {
  std::tm local = date.local;
  local.tm_year = year - 1900;
  local.tm_isdst = -1;
  const std::time_t seconds = std::mktime(&local);
  if (local.tm_mon != date.local.tm_mon) return std::nullopt;
  return seconds;
}

int yearOf(std::time_t seconds) {
  std::tm local{};
  localtime_r(&seconds, &local);
  return local.tm_year + 1900;
}

}  // namespace

std::optional<LogDate> dateOf(std::string_view line) {
  const bool digit = !line.empty() && line[0] >= '0' && line[0] <= '9';
  return digit ? completeDate(line) : syslogDate(line);
}

std::optional<LogDate> firstDate(std::string_view lines) {
  while (!lines.empty()) {
    if (const auto date = dateOf(lines)) return date;
    const auto end = lines.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    lines.remove_prefix(end + 1);
  }
  return std::nullopt;
}

Years::Years(const LogDate& first, std::time_t latest)
    : firstDay(first.day()), firstYear(yearOf(latest)), end(latest) {
  constexpr int leapCycle = 8;
  const int newest = firstYear;
  for (int year = newest; year > newest - leapCycle - 2; --year) {
    const auto seconds = inYear(first, year);
    if (!seconds || *seconds > latest) continue;
    firstYear = year;
    return;
  }
}

int Years::year(const LogDate& date) const {
  if (date.complete) return yearOf(date.seconds);
  if (date.day() >= firstDay) return firstYear;
  const auto nextYear = inYear(date, firstYear + 1);
  return nextYear && *nextYear <= end ? firstYear + 1 : firstYear;
}

std::time_t Years::seconds(const LogDate& date) const {
  return date.complete ? date.seconds : inYear(date, year(date)).value_or(0);
}

}  // namespace agent
