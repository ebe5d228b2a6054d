// What the database says of a job. Counts change in the same transaction as the messages, so that
// they are exact whenever the job ends.
#ifndef VESK_QUARANTINE_JOB_RECORD_H
#define VESK_QUARANTINE_JOB_RECORD_H

#include <string>

#include "JobLock.h"
#include "Store.h"

namespace VESK::quarantine {

struct JobRecord {
  Kind kind{};
  long long run = 0;  // 0: there was none
  bool ended = true;
  int target = 0;      // area of a transfer
  long long last = 0;  // the last message that there was at the start
  long long done = 0;
  long long total = 0;
  int code = 0;
  std::string reason;  // why it ended early, or ""

  std::string text() const;  // the result in one line
};

// As recorded. A job that is killed records nothing more: it stays one that has not ended.
JobRecord readRecord(Store& store, Kind kind);

// Records a start, whatever the last job of the kind came to; gives its run, or 0.
long long recordStart(Store& store, Kind kind, int target);
bool recordEnd(Store& store, const JobRecord& job, int code, const std::string& reason);

}  // namespace VESK::quarantine

#endif
