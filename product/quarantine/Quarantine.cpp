#include "product/quarantine.h"

#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <system_error>

#include "JobLock.h"
#include "Jobs.h"
#include "Name.h"
#include "Options.h"
#include "Refusal.h"
#include "Store.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace {

using namespace VESK;
using namespace VESK::quarantine;

constexpr int MOST_AREAS = 9;

bool makeFolder(const std::string& folder) {
  if (::mkdir(folder.c_str(), 0750) == 0 || errno == EEXIST) return true;
  const int error = errno;
  Log::LogByLevel(LOG_NORMAL,
                  "quarantine: init failed: folder cannot be made: %s [%s]; hint: check VESK_HOME "
                  "and the rights there",
                  folder.c_str(), std::generic_category().message(error).c_str());
  return false;
}

int setSwitch(const char* step, const char* name, long long value) {
  if (!isReady(step)) return EUQ_NOT_READY;
  Store store(step, readOptions());
  store.run("UPDATE switch SET value = ? WHERE name = ?", value, std::string(name));
  if (store.good()) Log::LogByLevel(LOG_DETAIL, "quarantine: %s done", step);
  return store.code();
}

bool isOn(const char* step, const char* name) {
  if (!isReady(step)) return false;
  Store store(step, readOptions());
  return store.number("SELECT value FROM switch WHERE name = ?", std::string(name)) == 1;
}

}  // namespace

bool init_euq_lib() try {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  const Options options = readOptions();
  complainOfSettings();
  ready = makeFolder(options.home + "/data") && makeFolder(options.folder()) &&
          JobLock("init", options).open() && Store("init", options, Store::CREATE).good();
  return ready;
}
VESK_AT_BOUNDARY("quarantine", false)

int enable_euq() try { return setSwitch("enable", "euq", 1); }
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

int disable_euq() try { return setSwitch("disable", "euq", 0); }
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

// Who serves the quarantine watches the count.
int restart_euq() try {
  if (!isReady("restart")) return EUQ_NOT_READY;
  Store store("restart", readOptions());
  store.run("UPDATE switch SET restarts = restarts + 1 WHERE name = 'euq' AND value = 1");
  if (!store.good() || store.changes() == 1) return store.code();
  return refuse("restart", EUQ_NOT_ENABLED, "switched off", "enable it first");
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

bool is_euq_enable() try { return isOn("is enabled", "euq"); }
VESK_AT_BOUNDARY("quarantine", false)

int enable_dl_maintain() try { return setSwitch("enable list upkeep", "dl_maintain", 1); }
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

int disable_dl_maintain() try { return setSwitch("disable list upkeep", "dl_maintain", 0); }
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

bool is_dl_maintain_enable() try { return isOn("is list upkeep enabled", "dl_maintain"); }
VESK_AT_BOUNDARY("quarantine", false)

int regist_euq(const char* name) try {
  if (!isReady("register")) return EUQ_NOT_READY;
  const std::string usable = usableName(name);
  if (usable.empty()) {
    return refuse("register", EUQ_BAD_ARGUMENT, "unusable name",
                  "give 1 to 255 bytes of UTF-8 without control characters");
  }
  Store store("register", readOptions());
  Transaction transaction(store);
  store.run(
      "WITH RECURSIVE free (n) AS (VALUES (1) UNION ALL SELECT n + 1 FROM free WHERE n < ?2) "
      "INSERT INTO area SELECT min(n), ?1 FROM free WHERE n NOT IN (SELECT number FROM area) AND "
      "NOT EXISTS (SELECT * FROM area WHERE name = ?1) HAVING min(n) IS NOT NULL",
      usable, MOST_AREAS);
  const long long area = store.number("SELECT number FROM area WHERE name = ?", usable);
  if (!transaction.commit()) return EUQ_DATABASE;
  if (area == 0) {
    return refuse("register", EUQ_NO_AREA, "all areas are taken", "unregister one that is empty");
  }
  Log::LogByLevel(LOG_DETAIL, "quarantine: area %lld is for %s", area, usable.c_str());
  return EUQ_OK;
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)

int unregist_euq(int area) try {
  if (!isReady("unregister")) return EUQ_NOT_READY;
  if (area < 0 || area > MOST_AREAS) {
    return refuse("unregister", EUQ_BAD_ARGUMENT, "no such area", "give 1 to 9, or 0 for all");
  }
  const Options options = readOptions();
  JobLock lock("unregister", options);
  if (!lock.open()) return EUQ_DATABASE;
  // A job's target must not vanish.
  if (const int code = takeWhenOver("unregister", lock); code != EUQ_OK) return code;
  Store store("unregister", options);
  Transaction transaction(store);
  if (store.number("SELECT EXISTS (SELECT * FROM message WHERE area = ?1 OR ?1 = 0)", area) != 0) {
    return refuse("unregister", EUQ_NOT_EMPTY, "messages are there", "transfer or remove them");
  }
  store.run("DELETE FROM area WHERE number = ?1 OR ?1 = 0", area);
  const bool any = area == 0 || store.changes() != 0;
  if (!transaction.commit()) return EUQ_DATABASE;
  if (any) return EUQ_OK;
  return refuse("unregister", EUQ_NOT_REGISTERED, "area not registered", "nothing is to be done");
}
VESK_AT_BOUNDARY("quarantine", EUQ_DATABASE)
