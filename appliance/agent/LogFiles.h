// A log and the older ones that were rotated away from it.
#ifndef VESK_APPLIANCE_AGENT_LOG_FILES_H
#define VESK_APPLIANCE_AGENT_LOG_FILES_H

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "LogDate.h"
#include "shared/Descriptor.h"

namespace agent {

using VESK::Descriptor;

// The text of a log, read where it lies: a mapped file that is truncated would kill the process.
class LogText {
 public:
  LogText(Descriptor opened, std::uint64_t length) : file(std::move(opened)), bytes(length) {}

  std::uint64_t size() const { return bytes; }
  // Fewer than asked at the end, and where the file was cut off since.
  std::size_t read(std::uint64_t offset, char* into, std::size_t most) const;

 private:
  Descriptor file;
  std::uint64_t bytes;
};

struct LogFile {
  std::string name;
  std::uint64_t inode = 0;
  std::string head;  // how its text begins: what it is known by when it was compressed or copied
  Years years;
  std::time_t first = 0;                // of its first event
  std::shared_ptr<const LogText> text;  // null: still to be unpacked from ...
  Descriptor packed;                    // ... this
  struct stat about {};
};

class LogFiles {
 public:
  // "" for no log.
  explicit LogFiles(const std::string& path);

  // All that there are, the newest first. In the first only whole lines count.
  std::vector<LogFile> list() const;

  // Fills file.text. A compressed log is unpacked to a file without a name; the last two are kept.
  void unpack(LogFile& file) const;

 private:
  struct Unpacked {
    dev_t device;
    ino_t inode;
    off_t size;
    timespec changed;
    std::shared_ptr<const LogText> text;
  };

  std::string folder;
  std::string base;
  mutable std::mutex mutex;
  mutable std::list<Unpacked> recent;
};

}  // namespace agent

#endif
