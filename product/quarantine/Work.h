// What a job does.
#ifndef VESK_QUARANTINE_WORK_H
#define VESK_QUARANTINE_WORK_H

#include "JobLock.h"
#include "Options.h"

namespace VESK::quarantine {

// To its end, which is recorded. False when it was none of success and being cancelled.
bool work(const Options& options, Kind kind, long long run, const JobLock& lock);

}  // namespace VESK::quarantine

#endif
