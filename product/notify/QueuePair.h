// Two files that appear in a folder together and whole.
#ifndef VESK_NOTIFY_QUEUE_PAIR_H
#define VESK_NOTIFY_QUEUE_PAIR_H

#include <string>

namespace VESK::notify {

struct QueueFile {
  const char* name;
  const std::string& content;
};

// What went wrong: an errno value, 0 for nothing.
struct QueueFailure {
  const char* step = "";
  std::string name;  // empty for the folder
  int error = 0;
};

// Writes and syncs both under other names, lets `first` appear, and `second` once the first one's
// name is on the disk. A file that is there already is not touched: EEXIST. After a failure neither
// is there; a process that is killed, or a power cut, can leave `first` and names with a dot.
QueueFailure writePair(const char* folder, const QueueFile& first, const QueueFile& second);

}  // namespace VESK::notify

#endif
