#include "StatementClock.h"

#include <dlfcn.h>
#include <sqlite3ext.h>

namespace VESK::database {

namespace {

// Some ten microseconds.
constexpr int STEPS_BETWEEN_LOOKS = 1000;

thread_local StatementClock* opening = nullptr;

int isOver(void* clock) { return static_cast<const StatementClock*>(clock)->isOver() ? 1 : 0; }

// By SQLite's table, so that it is the driver's SQLite whatever else the process has loaded.
void watch(sqlite3* connection, const sqlite3_api_routines& sqlite) {
  sqlite.progress_handler(connection, STEPS_BETWEEN_LOOKS, isOver, opening);
  // Allowed for this extension; no statement is to load another one.
  sqlite.db_config(connection, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  opening->tie();
}

}  // namespace

// Called by SQLite, by the name that it makes of this library's.
extern "C" int sqlite3_veskdatabase_init(sqlite3* connection, char**,
                                         const sqlite3_api_routines* routines) {
  if (opening != nullptr) watch(connection, *routines);
  return SQLITE_OK;
}

std::string StatementClock::extension() {
  Dl_info library{};
  if (::dladdr(reinterpret_cast<void*>(&sqlite3_veskdatabase_init), &library) == 0) return {};
  const std::string path = library.dli_fname;
  return path.find_first_of(";,{}=") == std::string::npos ? path : std::string();
}

StatementClock::Opening::Opening(StatementClock& clock) { opening = &clock; }

StatementClock::Opening::~Opening() { opening = nullptr; }

StatementClock::Run::Run(StatementClock& shared, int seconds) : clock(shared) {
  if (seconds > 0) clock.end = Clock::now() + std::chrono::seconds(seconds);
}

}  // namespace VESK::database
