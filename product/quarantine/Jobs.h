// What others need to know of the jobs.
#ifndef VESK_QUARANTINE_JOBS_H
#define VESK_QUARANTINE_JOBS_H

#include "JobLock.h"

namespace VESK::quarantine {

// Keeps jobs out: EUQ_OK, or, logged, EUQ_BUSY when one runs and EUQ_DATABASE. Waits about a second
// for a process that has recorded the end of its job and still has to end itself.
int takeWhenOver(const char* step, JobLock& lock);

}  // namespace VESK::quarantine

#endif
