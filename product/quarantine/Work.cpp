#include "Work.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>

#include "JobRecord.h"
#include "Store.h"
#include "product/log.h"
#include "product/quarantine.h"

namespace VESK::quarantine {

namespace {

using Clock = std::chrono::steady_clock;

// A batch ends after this time even if it is not full: whoever cancels waits no longer, nor does
// who wants to write meanwhile.
constexpr std::chrono::milliseconds BATCH_TIME{100};
// Between batches, for others to write in; they look every millisecond.
constexpr useconds_t GAP = 2000;

struct Queries {
  const char* count;
  const char* next;
  const char* handle;
};
constexpr Queries TRANSFER{
    "SELECT count(*) FROM message WHERE area <> ?1",
    "SELECT id FROM message WHERE id > ?1 AND id <= ?2 AND area <> ?3 ORDER BY id LIMIT ?4",
    "UPDATE message SET area = ?2 WHERE id = ?1"};
constexpr Queries REMOVE{
    "SELECT count(*) FROM message WHERE ?1 = 0",
    "SELECT id FROM message WHERE id > ?1 AND id <= ?2 AND ?3 = 0 ORDER BY id LIMIT ?4",
    "DELETE FROM message WHERE id = ?1 AND ?2 = 0"};

// For whoever does not read the database: kind, done and total in one line. A comfort only, so that
// what goes wrong with it is not told.
class ProgressFile {
 public:
  explicit ProgressFile(const Options& options)
      : file(options.folder() + "/progress"), fresh(file + ".new") {}
  ~ProgressFile() { ::unlink(file.c_str()); }
  ProgressFile(const ProgressFile&) = delete;
  ProgressFile& operator=(const ProgressFile&) = delete;

  void show(const JobRecord& job) {
    if (Clock::now() < next) return;
    next = Clock::now() + std::chrono::milliseconds(200);
    std::ofstream(fresh) << nameOf(job.kind) << ' ' << job.done << ' ' << job.total << '\n';
    std::rename(fresh.c_str(), file.c_str());
  }

 private:
  const std::string file;
  const std::string fresh;
  Clock::time_point next{};
};

class Work {
 public:
  Work(const Options& given, Store& opened, const JobRecord& record, const JobLock& held)
      : options(given),
        store(opened),
        job(record),
        lock(held),
        progress(given),
        queries(record.kind == Kind::TRANSFER ? TRANSFER : REMOVE) {}

  int run() {
    if (!begin()) return EUQ_DATABASE;
    while (batch()) {
      if (lock.cancelled(job.run)) return EUQ_CANCELLED;
      progress.show(job);
      ::usleep(GAP);
    }
    return store.code();
  }

 private:
  // What arrives later is not waited for: the job ends.
  bool begin() {
    Transaction transaction(store);
    job.last = store.number("SELECT max(id) FROM message");
    job.total = store.number(queries.count, job.target);
    store.run("UPDATE job SET last = ?, total = ? WHERE run = ?", job.last, job.total, job.run);
    return transaction.commit();
  }

  // False when nothing was left, or it failed.
  bool batch() {
    const Clock::time_point end = Clock::now() + BATCH_TIME;
    Transaction transaction(store);
    Statement next(store, queries.next);
    Statement handle(store, queries.handle);
    long long count = 0;
    next.with(position, job.last, job.target, options.batch);
    while ((count == 0 || Clock::now() < end) && next.next()) {
      position = next.number(0);
      handle.with(position, job.target).run();
      ++count;
    }
    next.with();
    store.run("UPDATE job SET done = done + ? WHERE run = ?", count, job.run);
    job.done += count;
    return transaction.commit() && count > 0;
  }

  const Options& options;
  Store& store;
  JobRecord job;
  const JobLock& lock;
  ProgressFile progress;
  const Queries& queries;
  long long position = 0;
};

// To the file system. What is left is what arrived meanwhile, so that rewriting it is quick. The
// messages are gone even if this fails.
void giveSpaceBack(const Options& options) {
  Store store("give space back", options);
  store.run("PRAGMA temp_store = MEMORY");
  store.run("VACUUM");
  store.run("PRAGMA wal_checkpoint(TRUNCATE)");
}

// The store that failed does nothing more.
bool record(const Options& options, const JobRecord& job, int code, const std::string& reason) {
  Store store("record", options);
  return recordEnd(store, job, code, reason);
}

}  // namespace

bool work(const Options& options, Kind kind, long long run, const JobLock& lock) {
  int code;
  std::string reason;
  JobRecord job;
  {
    Store store(nameOf(kind), options);
    job = readRecord(store, kind);
    if (job.run != run || job.ended) return false;
    Log::LogByLevel(LOG_DETAIL, "quarantine: %s begins", nameOf(kind));
    code = Work(options, store, job, lock).run();
    reason = code == EUQ_CANCELLED ? "cancelled" : store.reason();
  }
  if (kind == Kind::REMOVE && code == EUQ_OK) giveSpaceBack(options);
  const bool recorded = record(options, job, code, reason);
  Log::LogByLevel(LOG_DETAIL, "quarantine: %s ended with code %d", nameOf(kind), code);
  return recorded && (code == EUQ_OK || code == EUQ_CANCELLED);
}

}  // namespace VESK::quarantine
