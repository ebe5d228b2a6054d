// The jobs as the console sees them.
#include "Jobs.h"

#include <chrono>
#include <thread>

#include "JobRecord.h"
#include "Launch.h"
#include "Options.h"
#include "Refusal.h"
#include "Store.h"
#include "product/log.h"
#include "product/quarantine.h"
#include "shared/Boundary.h"

namespace {

using namespace VESK;
using namespace VESK::quarantine;

enum class State { UNKNOWN, NONE, RUNNING, ENDED };  // UNKNOWN is in the log

void markInterrupted(JobRecord& job) {
  job.ended = true;
  job.code = EUQ_INTERRUPTED;
  job.reason = "the job's process died";
}

State look(const char* step, Kind kind, JobRecord& job) {
  const Options options = readOptions();
  const JobLock lock(step, options);
  if (!lock.open()) return State::UNKNOWN;
  Store store(step, options);
  job = readRecord(store, kind);
  while (!job.ended) {
    if (lock.held(kind)) return State::RUNNING;
    // Without its lock it has recorded its end by now, or never will.
    const long long run = job.run;
    job = readRecord(store, kind);
    if (job.run == run && !job.ended) markInterrupted(job);
  }
  if (!store.good()) return State::UNKNOWN;
  return job.run == 0 ? State::NONE : State::ENDED;
}

bool isRunning(const char* step, Kind kind) {
  JobRecord job;
  return isReady(step) && look(step, kind, job) == State::RUNNING;
}

int start(Kind kind, int target) {
  const char* step = nameOf(kind);
  const Options options = readOptions();
  JobLock lock(step, options);
  if (!lock.open()) return EUQ_DATABASE;
  if (const int code = takeWhenOver(step, lock); code != EUQ_OK) return code;
  // A store from a backup gives the same runs again: a mark from then is not for this one.
  if (!lock.take(kind) || !lock.cancel(0)) {
    return refuse(step, EUQ_DATABASE, "data/euq/job.lock cannot be written", "check the disk");
  }
  Store store(step, options);
  if (kind == Kind::TRANSFER && store.good() &&
      store.number("SELECT count(*) FROM area WHERE number = ?", target) == 0) {
    if (!store.good()) return EUQ_DATABASE;
    return refuse(step, EUQ_NOT_REGISTERED, "area not registered", "register it first");
  }
  JobRecord job;
  job.kind = kind;
  job.run = recordStart(store, kind, target);
  if (job.run == 0) return EUQ_DATABASE;
  if (launch(options, kind, job.run, lock)) return EUQ_OK;
  recordEnd(store, job, EUQ_NOT_STARTED, "the job's process could not be started");
  return EUQ_NOT_STARTED;
}

bool result(const char* step, Kind kind, int& code, std::string& text) {
  JobRecord job;
  if (!isReady(step) || look(step, kind, job) != State::ENDED) return false;
  code = job.code;
  text = job.text();
  if (code == EUQ_INTERRUPTED) {
    Log::LogByLevel(LOG_NORMAL, "quarantine: %s interrupted: %s; hint: start it again, it goes on",
                    nameOf(kind), text.c_str());
  }
  return true;
}

}  // namespace

int VESK::quarantine::takeWhenOver(const char* step, JobLock& lock) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  while (!lock.take()) {
    bool runs = std::chrono::steady_clock::now() > deadline;
    for (const Kind kind : {Kind::TRANSFER, Kind::REMOVE}) {
      JobRecord job;
      const State state = look(step, kind, job);
      if (state == State::UNKNOWN) return EUQ_DATABASE;
      runs = runs || state == State::RUNNING;
    }
    if (runs) return refuse(step, EUQ_BUSY, "a job runs", "wait for its end");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return EUQ_OK;
}

int transfer_euq_data(int area) try {
  if (!isReady("transfer")) return EUQ_NOT_READY;
  if (area >= 1 && area <= 9) return start(Kind::TRANSFER, area);
  return refuse("transfer", EUQ_BAD_ARGUMENT, "no such area", "give 1 to 9");
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

int cancel_transfer_euq_data() try {
  static constexpr const char* step = "cancel";
  if (!isReady(step)) return EUQ_NOT_READY;
  JobRecord job;
  const State state = look(step, Kind::TRANSFER, job);
  if (state == State::UNKNOWN) return EUQ_DATABASE;
  if (state != State::RUNNING) {
    return refuse(step, EUQ_NO_JOB, "no transfer runs", "fetch the result of the last one");
  }
  const JobLock lock(step, readOptions());
  if (lock.open() && lock.cancel(job.run)) return EUQ_OK;
  return refuse(step, EUQ_DATABASE, "data/euq/job.lock cannot be written", "check the disk");
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

bool is_transferring_euq_data() try { return isRunning("is transferring", Kind::TRANSFER); }
VESK_AT_BOUNDARY("quarantine", false)

bool get_transfer_euq_result(int& code, std::string& text) try {
  return result("transfer result", Kind::TRANSFER, code, text);
}
VESK_AT_BOUNDARY("quarantine", false)

int remove_euq_data() try {
  return isReady("remove") ? start(Kind::REMOVE, 0) : static_cast<int>(EUQ_NOT_READY);
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

bool is_removing_euq_data() try { return isRunning("is removing", Kind::REMOVE); }
VESK_AT_BOUNDARY("quarantine", false)

bool get_remove_euq_result(int& code, std::string& text) try {
  return result("removal result", Kind::REMOVE, code, text);
}
VESK_AT_BOUNDARY("quarantine", false)

bool get_euq_progress(long long& done, long long& total) try {
  static constexpr const char* step = "progress";
  if (!isReady(step)) return false;
  for (const Kind kind : {Kind::TRANSFER, Kind::REMOVE}) {
    JobRecord job;
    if (look(step, kind, job) != State::RUNNING) continue;
    done = job.done;
    total = job.total;
    return true;
  }
  return false;
}
VESK_AT_BOUNDARY("quarantine", false)
