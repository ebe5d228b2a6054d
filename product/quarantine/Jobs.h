// What others need to know of the jobs.
#ifndef VESK_QUARANTINE_JOBS_H
#define VESK_QUARANTINE_JOBS_H

#include "JobLock.h"

namespace VESK::quarantine {

// Keeps jobs out. False when one runs; waits a second at most for a process that has recorded the
// end of its job and still has to end itself.
bool takeWhenOver(const char* step, JobLock& lock);

}  // namespace VESK::quarantine

#endif
