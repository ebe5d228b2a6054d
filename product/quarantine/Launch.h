// Starts the job's process.
#ifndef VESK_QUARANTINE_LAUNCH_H
#define VESK_QUARANTINE_LAUNCH_H

#include "JobLock.h"
#include "Options.h"

namespace VESK::quarantine {

// The descriptor that the process finds its lock in.
inline constexpr int LOCK_DESCRIPTOR = 3;

// With the lock in its hands, in a session of its own, with nothing else of this process's. False
// (logged) when it could not be started.
bool launch(const Options& options, Kind kind, long long run, const JobLock& lock);

}  // namespace VESK::quarantine

#endif
