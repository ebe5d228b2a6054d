#include "JobRecord.h"

namespace VESK::quarantine {

std::string JobRecord::text() const {
  std::string line = std::to_string(done) + " of " + std::to_string(total) + " messages ";
  line += kind == Kind::TRANSFER ? "moved to area " + std::to_string(target) : "removed";
  if (!reason.empty()) line += "; " + reason;
  return line;
}

JobRecord readRecord(Store& store, Kind kind) {
  Statement statement(
      store, "SELECT run, target, last, done, total, code, reason FROM job WHERE kind = ?");
  JobRecord record;
  record.kind = kind;
  if (!statement.with(std::string(nameOf(kind))).next()) return record;
  record.run = statement.number(0);
  record.target = statement.smallNumber(1);
  record.last = statement.number(2);
  record.done = statement.number(3);
  record.total = statement.number(4);
  record.ended = !statement.null(5);
  record.code = statement.smallNumber(5);
  record.reason = statement.text(6);
  return record;
}

long long recordStart(Store& store, Kind kind, int target) {
  Transaction transaction(store);
  const long long run = store.number("SELECT max(run) FROM job") + 1;
  store.run("INSERT OR REPLACE INTO job VALUES (?, ?, ?, NULL, 0, 0, NULL, '')",
            std::string(nameOf(kind)), run, target);
  return transaction.commit() ? run : 0;
}

bool recordEnd(Store& store, const JobRecord& job, int code, const std::string& reason) {
  return store.run("UPDATE job SET code = ?, reason = ? WHERE kind = ? AND run = ?", code, reason,
                   std::string(nameOf(job.kind)), job.run);
}

}  // namespace VESK::quarantine
