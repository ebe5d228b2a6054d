#include "Events.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <system_error>

#include "Text.h"

namespace agent {
namespace {

std::string now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[40];
  return {text, std::strftime(text, sizeof text, "%FT%T%z", &local)};
}

}  // namespace

Events::Events(const std::string& path) {
  if (path.empty()) return;
  fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), path);
}

Events::~Events() {
  if (fd >= 0) close(fd);
}

bool Events::record(const std::string& operation, const std::string& words) {
  if (fd < 0) return true;
  std::string line = now() + ' ' + operation;
  if (!words.empty()) line += ' ' + oneLine(words);
  line += '\n';
  // One write: lines of several threads do not mix.
  return write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

}  // namespace agent
