#include "Options.h"

#include <sys/resource.h>

#include <algorithm>
#include <charconv>

#include "product/log.h"
#include "product/settings.h"
#include "shared/Folder.h"

namespace VESK::agent {

namespace {

std::string setting(const char* key) {
  std::string value;
  GlobalSetting* store =
      GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  if (store != nullptr) store->getValue(key, value, "agent", 0);
  return value;
}

int number(const char* key, int fallback, int highest) {
  const std::string written = setting(key);
  if (written.empty()) return fallback;
  int value = 0;
  const char* end = written.data() + written.size();
  const auto [stop, error] = std::from_chars(written.data(), end, value);
  if (error == std::errc() && stop == end && value >= 1 && value <= highest) return value;
  Log::LogByLevel(LOG_NORMAL,
                  "agent: setting %s in section agent: not a number from 1 to %d: %s; using %d",
                  key, highest, written.c_str(), fallback);
  return fallback;
}

std::size_t openDescriptors() {
  std::size_t count = 0;
  forEachIn("/proc/self/fd", [&](const char*, int) { ++count; });
  return count;
}

// Half of what is left stays with the rest of the process. A connection may take two: an agent that
// is given by name has addresses of both families, and its resolver opens sockets as well.
std::size_t connectionsThatDescriptorsAllow(std::size_t wanted) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return wanted;
  const auto open = static_cast<rlim_t>(openDescriptors());
  const rlim_t left = limit.rlim_cur > open ? limit.rlim_cur - open : 0;
  return static_cast<std::size_t>(std::clamp<rlim_t>(left / 4, 1, static_cast<rlim_t>(wanted)));
}

}  // namespace

TimeLimits timeLimits() {
  constexpr int HOUR = 3600;
  return {number("connect_timeout", 5, HOUR), number("timeout", 30, HOUR)};
}

std::size_t connectionLimit() {
  constexpr int MOST = 256;
  return connectionsThatDescriptorsAllow(
      static_cast<std::size_t>(number("max_connections", MOST, MOST)));
}

std::vector<std::string> scanners() {
  constexpr const char* BETWEEN = ", \t";
  const std::string list = setting("scanners");
  std::vector<std::string> found;
  for (std::size_t from = list.find_first_not_of(BETWEEN); from != std::string::npos;) {
    const std::size_t to = std::min(list.find_first_of(BETWEEN, from), list.size());
    found.push_back(list.substr(from, to - from));
    from = list.find_first_not_of(BETWEEN, to);
  }
  return found;
}

}  // namespace VESK::agent
