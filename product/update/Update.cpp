#include "product/update.h"

#include <mutex>

#include "Components.h"
#include "Events.h"
#include "Failure.h"
#include "Home.h"
#include "Lock.h"
#include "Store.h"
#include "Updater.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace {

using namespace VESK::update;

const char* knownName(BvUpdateType type) {
  const char* name = nameOf(type);
  if (name == nullptr) {
    VESK::Log::LogByLevel(VESK::LOG_NORMAL, "update: there is no component of type %d", int(type));
  }
  return name;
}

// An object that is at work does not let a second thread wait for it.
bool enter(std::unique_lock<std::mutex>& guard, const char* name) {
  if (guard.try_lock()) return true;
  VESK::Log::LogByLevel(VESK::LOG_NORMAL, "update: %s: another thread works with this object",
                        name);
  return false;
}

}  // namespace

// One thread at a time; what excludes other processes is the lock file.
struct BvUpdate::Engine {
  explicit Engine(const std::string& installRoot) : home(installRoot), updater(home) {}

  const std::string& home;
  std::mutex busy;
  Updater updater;
};

BvUpdate::BvUpdate(BvUpdateKind kind) : ready(false) {
  const std::string* installRoot = home();
  if (installRoot == nullptr || kind != UPDATE_KIND_COMPONENTS) {
    VESK::Log::LogByLevel(
        VESK::LOG_NORMAL, "update: not ready: %s",
        installRoot == nullptr ? "BvUpdateInit::Init has not succeeded" : "unknown kind of update");
    return;
  }
  try {
    engine = std::make_unique<Engine>(*installRoot);
    ready = true;
  } catch (...) {
    VESK::logAtBoundary("update", __func__);
  }
}

BvUpdate::~BvUpdate() = default;

bool BvUpdate::isRunning(std::string& text) try {
  const std::string* installRoot = home();
  text = installRoot != nullptr ? lockHolder(*installRoot) : std::string();
  return !text.empty();
}
VESK_AT_BOUNDARY("update", false)

BvUpdateRet BvUpdate::download(BvUpdateType type, std::string& version, bool force) try {
  version.clear();
  const char* name = knownName(type);
  if (!ready || name == nullptr) return UPDATE_FAILED;
  std::unique_lock guard(engine->busy, std::defer_lock);
  const bool entered = enter(guard, name);
  const BvUpdateRet result = entered ? engine->updater.download(name, force) : UPDATE_FAILED;
  version = Store(engine->home, name).version();
  return result;
}
VESK_AT_BOUNDARY("update", UPDATE_FAILED)

BvUpdateRet BvUpdate::rollback(BvUpdateType type, int source) try {
  const char* name = knownName(type);
  if (!ready || name == nullptr) return UPDATE_FAILED;
  std::unique_lock guard(engine->busy, std::defer_lock);
  const bool entered = enter(guard, name);
  const BvUpdateRet result = entered ? engine->updater.goBack(name) : UPDATE_FAILED;
  logAUEvent(source, type, result);
  return result;
}
VESK_AT_BOUNDARY("update", UPDATE_FAILED)

int BvUpdate::getAvailVersion(BvUpdateType type, std::string& first, std::string& second,
                              bool cached) try {
  first.clear();
  second.clear();
  const char* name = knownName(type);
  if (!ready || name == nullptr) return 2;
  const std::lock_guard guard(engine->busy);
  second = engine->updater.available(name, cached);
  if (second.empty()) return 2;
  first = name;
  return 0;
}
VESK_AT_BOUNDARY("update", 2)

// Always asks the folder, which costs no more than a memory of it.
int BvUpdate::getDBVersion(BvUpdateType type, std::string& first, std::string& second, bool) try {
  second.clear();
  const char* name = knownName(type);
  first = name != nullptr ? name : "";
  if (!ready || name == nullptr) return 1;
  second = Store(engine->home, name).version();
  return second.empty() ? 1 : 0;
}
VESK_AT_BOUNDARY("update", (second.clear(), 1))

void BvUpdate::logAUEvent(int source, BvUpdateType type, BvUpdateRet result) try {
  const Stopwatch since;
  Failure failure;
  if (ready && !appendEvent(engine->home, source, type, result, failure)) {
    logFailure("event log", "log/update-events.log", failure, since);
  }
}
VESK_AT_BOUNDARY("update", void())

void BvUpdate::setUploadNumber() try {
  const Stopwatch since;
  Failure failure;
  if (ready && !countUpload(engine->home, failure)) {
    logFailure("upload number", "data/update/upload-number", failure, since);
  }
}
VESK_AT_BOUNDARY("update", void())
