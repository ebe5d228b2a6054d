// The lock that all processes of the install root share, and who has it.
#ifndef VESK_UPDATE_LOCK_H
#define VESK_UPDATE_LOCK_H

#include <string>

#include "Failure.h"
#include "Files.h"

namespace VESK::update {

// The file data/update/lock. Its locks belong to the opened file (OFD locks): threads exclude each
// other as processes do, asking takes no lock, and a process that dies leaves none. One byte is the
// lock on the components; a second one, taken after who-and-since is written, tells readers that
// the text is the holder's; a third one guards the upload number.
class Lock {
 public:
  // `what` is the component and the operation. Does not wait.
  bool takeComponents(const std::string& home, const std::string& what, Failure& failure);
  // Waits for at most ten seconds.
  bool takeUploadNumber(const std::string& home, Failure& failure);

 private:
  bool open(const std::string& home, Failure& failure);

  Descriptor file;
};

// What the holder wrote; empty when nobody holds the lock.
std::string lockHolder(const std::string& home);

// Local time as in 2026-11-21T10:15:00.
std::string localTime();

}  // namespace VESK::update

#endif
