#include "Store.h"

#include <sys/stat.h>
#include <unistd.h>

#include "product/log.h"
#include "product/quarantine.h"

namespace VESK::quarantine {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long long VERSION = 1;

// A message is in the area that its row says, so that it cannot be in two places. Its text lies
// apart: moving it rewrites a short row and not the text. Numbers are never given twice, so a job
// can tell what arrived after its start.
constexpr const char* SCHEMA = R"(
CREATE TABLE switch (name TEXT PRIMARY KEY, value INTEGER NOT NULL, restarts INTEGER NOT NULL)
  WITHOUT ROWID;
INSERT INTO switch VALUES ('euq', 0, 0), ('dl_maintain', 0, 0);
CREATE TABLE area (number INTEGER PRIMARY KEY CHECK (number BETWEEN 1 AND 9),
  name TEXT NOT NULL UNIQUE);
CREATE TABLE message (id INTEGER PRIMARY KEY AUTOINCREMENT,
  area INTEGER NOT NULL REFERENCES area (number), recipient TEXT NOT NULL, sender TEXT NOT NULL,
  subject TEXT NOT NULL, received INTEGER NOT NULL, size INTEGER NOT NULL);
CREATE INDEX message_area ON message (area);
CREATE INDEX message_recipient ON message (recipient);
CREATE TABLE body (id INTEGER PRIMARY KEY REFERENCES message (id) ON DELETE CASCADE,
  content BLOB NOT NULL);
CREATE TABLE job (kind TEXT PRIMARY KEY, run INTEGER NOT NULL, target INTEGER NOT NULL,
  last INTEGER, done INTEGER NOT NULL, total INTEGER NOT NULL, code INTEGER, reason TEXT NOT NULL)
  WITHOUT ROWID;
PRAGMA user_version = 1;
)";

struct Explanation {
  int result;
  const char* reason;
  const char* hint;
};
constexpr Explanation EXPLANATIONS[] = {
    {SQLITE_BUSY, "locked", "another program keeps it longer than [euq] busy_timeout; end it"},
    {SQLITE_FULL, "disk full", "make room on its file system and try again; nothing is lost"},
    {SQLITE_CORRUPT, "damaged", "put a backup in its place, or rescue it with sqlite3 .dump"},
    {SQLITE_NOTADB, "damaged", "put a backup in its place, or rescue it with sqlite3 .dump"},
    {SQLITE_CANTOPEN, "cannot be opened", "check that it is there and the rights of its folder"},
    {SQLITE_READONLY, "cannot be written", "check the rights of it and of its folder"},
    {SQLITE_PERM, "cannot be written", "check the rights of it and of its folder"},
    {SQLITE_IOERR, "disk error", "check the disk and the system's log"},
    {SQLITE_ERROR, "not as expected", "check that it is the quarantine's, of this version"},
};

const Explanation& explain(int result) {
  for (const Explanation& known : EXPLANATIONS) {
    if (known.result == (result & 0xFF)) return known;
  }
  static constexpr Explanation unknown{0, "failed", "see what the database says"};
  return unknown;
}

}  // namespace

Statement::Statement(Store& owner, const char* sql) : store(owner) {
  if (!store.good()) return;
  sqlite3_stmt* made = nullptr;
  const int result = sqlite3_prepare_v2(store.database.get(), sql, -1, &made, nullptr);
  statement.reset(made);
  if (result != SQLITE_OK) store.fail(result);
}

void Statement::bind(int index, const std::string& value) {
  check(sqlite3_bind_text(statement.get(), index, value.data(), static_cast<int>(value.size()),
                          SQLITE_TRANSIENT));
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) store.fail(result);
}

bool Statement::next() {
  if (!store.good()) return false;
  const int result = sqlite3_step(statement.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) store.fail(result);
  return result == SQLITE_ROW;
}

bool Statement::run() {
  while (next()) continue;
  if (statement) sqlite3_reset(statement.get());
  return store.good();
}

std::string Statement::text(int column) const {
  const unsigned char* value = sqlite3_column_text(statement.get(), column);
  if (value != nullptr) return reinterpret_cast<const char*>(value);
  if (sqlite3_errcode(store.database.get()) == SQLITE_NOMEM) store.fail(SQLITE_NOMEM);
  return {};
}

Store::Store(const char* work, const Options& options, Mode mode)
    : step(work), file(options.database()), patience(options.busyTimeout) {
  open(options, mode);
  if (mode == CREATE && good() && number("PRAGMA user_version") == 0) prepareNew();
  const long long version = number("PRAGMA user_version");
  if (good() && version != VERSION) {
    failure = "version " + std::to_string(version);
    Log::LogByLevel(LOG_NORMAL,
                    "quarantine: %s failed: version %lld instead of %lld: %s; hint: it belongs to "
                    "another version of the product, or was never prepared",
                    step, version, VERSION, file.c_str());
  }
  run("PRAGMA foreign_keys = ON");
}

void Store::open(const Options& options, Mode mode) {
  const int flags = SQLITE_OPEN_READWRITE | (mode == CREATE ? SQLITE_OPEN_CREATE : 0);
  sqlite3* made = nullptr;
  const int result = sqlite3_open_v2(options.database().c_str(), &made, flags, nullptr);
  database.reset(made);
  if (result != SQLITE_OK) return fail(result);
  sqlite3_busy_handler(made, waitForOthers, this);
}

// SQLite's own waiting pauses for up to 100 ms, too coarse for the gaps that a job leaves between
// its batches.
int Store::waitForOthers(void* self, int tries) {
  Store& store = *static_cast<Store*>(self);
  if (tries == 0) store.waitingSince = Clock::now();
  if (Clock::now() - store.waitingSince >= std::chrono::milliseconds(store.patience)) return 0;
  usleep(1000);
  return 1;
}

// Two consoles may be here at once: whoever comes second finds the tables made.
void Store::prepareNew() {
  // Before there are files beside it, which get the same mode.
  ::chmod(file.c_str(), 0640);
  run("PRAGMA journal_mode = WAL");
  Transaction transaction(*this);
  if (number("PRAGMA user_version") == 0 && good()) {
    const int result = sqlite3_exec(database.get(), SCHEMA, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) fail(result);
  }
  transaction.commit();
}

int Store::code() const { return good() ? EUQ_OK : EUQ_DATABASE; }

void Store::fail(int result) {
  if (!good()) return;
  const Explanation& known = explain(result);
  failure = std::string("database ") + known.reason;
  const std::chrono::duration<double, std::milli> time = Clock::now() - started;
  const char* said = database ? sqlite3_errmsg(database.get()) : sqlite3_errstr(result);
  Log::LogByLevel(LOG_NORMAL, "quarantine: %s failed: %s: %s after %.0f ms [%s, %d]; hint: %s",
                  step, failure.c_str(), file.c_str(), time.count(), said,
                  database ? sqlite3_extended_errcode(database.get()) : result, known.hint);
}

Transaction::~Transaction() {
  sqlite3* database = store.database.get();
  if (database == nullptr || sqlite3_get_autocommit(database) != 0) return;
  // Whatever went wrong before; a failure here leaves the roll-back to the next who opens it.
  sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace VESK::quarantine
