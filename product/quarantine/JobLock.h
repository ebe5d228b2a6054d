// Who may work, and who is at work. A job's process holds a lock from before its start is recorded
// until it ends; the kernel gives the lock back, however the process ends.
#ifndef VESK_QUARANTINE_JOB_LOCK_H
#define VESK_QUARANTINE_JOB_LOCK_H

#include <string>

#include "Options.h"

namespace VESK::quarantine {

enum class Kind { TRANSFER, REMOVE };

// "transfer" or "remove"
const char* nameOf(Kind kind);

class JobLock {
 public:
  // In the descriptor that the process was started with.
  explicit JobLock(int inherited) : descriptor(inherited) {}
  // Of the install root; a failure is logged. The lock goes with its last descriptor, wherever that
  // is: here or in a process that was started with it.
  JobLock(const char* step, const Options& options);
  ~JobLock();
  JobLock(const JobLock&) = delete;
  JobLock& operator=(const JobLock&) = delete;

  bool open() const { return descriptor >= 0; }
  int number() const { return descriptor; }

  bool take();                 // keeps jobs out
  bool take(Kind kind);        // keeps jobs out and stands for one
  bool held(Kind kind) const;  // by another one

  // The run that is to end. Not in the database, where a job leaves others little room.
  bool cancel(long long run) const;
  bool cancelled(long long run) const;

 private:
  int descriptor;
};

}  // namespace VESK::quarantine

#endif
