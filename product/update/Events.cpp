#include "Events.h"

#include <fcntl.h>

#include <cerrno>
#include <charconv>

#include "Components.h"
#include "Files.h"
#include "Lock.h"
#include "Store.h"

namespace VESK::update {

namespace {

std::string wordOf(BvUpdateRet result) {
  switch (result) {
    case UPDATE_NO_CHANGE:
      return "no-change";
    case UPDATE_DONE:
      return "done";
    case UPDATE_FAILED:
      return "failed";
    case UPDATE_ROLLBACK_UNAVAILABLE:
      return "rollback-unavailable";
  }
  return std::to_string(result);
}

}  // namespace

// Nothing in the line comes from outside unchecked: a version is letters, digits and . _ + ~ -.
bool appendEvent(const std::string& home, int source, BvUpdateType type, BvUpdateRet result,
                 Failure& failure) {
  const char* name = nameOf(type);
  const std::string line = "time=" + localTime() + " source=" + std::to_string(source) +
                           " component=" + (name != nullptr ? name : std::to_string(type)) +
                           " result=" + wordOf(result) +
                           " version=" + (name != nullptr ? Store(home, name).version() : "") +
                           "\n";
  const std::string path = home + "/log/update-events.log";
  const Descriptor file(
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, FILE_MODE));
  if (file && writeAll(file.get(), line.data(), line.size())) return true;
  return failure.setSystem("write", path, errno);
}

bool countUpload(const std::string& home, Failure& failure) {
  Lock lock;
  if (!lock.takeUploadNumber(home, failure)) return false;
  const std::string path = home + "/data/update/upload-number";
  const std::string text = readFile(path, 32);
  if (text.empty() && errno != 0 && errno != ENOENT) return failure.setSystem("read", path, errno);
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return replaceFile(path, std::to_string(number + 1) + "\n", failure);
}

}  // namespace VESK::update
