#include "product/update.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <set>
#include <string>
#include <system_error>

#include "Files.h"
#include "Home.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace {

// Says why a folder does not serve; false, so that it can be returned.
bool refuse(const char* reason, const std::string& folder, int error, const char* hint) {
  VESK::Log::LogByLevel(VESK::LOG_NORMAL, "update init: %s: %s: %s; %s", reason, folder.c_str(),
                        std::generic_category().message(error).c_str(), hint);
  return false;
}

// As the account that the process works as, which need not be the one that started it.
bool allows(const std::string& folder, int access) {
  return ::faccessat(AT_FDCWD, folder.c_str(), access, AT_EACCESS) == 0;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return false;
  errno = ENOTDIR;
  return S_ISDIR(status.st_mode);
}

bool checkHome(const std::string& home) {
  if (home.empty()) {
    return refuse("no install root", "VESK_HOME", EINVAL, "set VESK_HOME to the install root");
  }
  if (isFolder(home) && allows(home, R_OK | X_OK)) return true;
  return refuse("install root not usable", home, errno, "check VESK_HOME and the folder's rights");
}

bool prepareFolder(const std::string& folder, int access) {
  if (VESK::update::makeFolder(folder) && allows(folder, access)) return true;
  return refuse("folder not usable", folder, errno,
                "give the console's account the right to write there");
}

std::atomic<const std::string*> fitHome = nullptr;

}  // namespace

namespace VESK::update {

const std::string* home() { return fitHome; }

// An object that is at work may hold an older text, so none is ever freed.
void setHome(const std::string& fit) {
  static auto* const kept = new std::set<std::string>;
  static std::mutex changing;
  const std::lock_guard guard(changing);
  fitHome = &*kept->insert(fit).first;
}

}  // namespace VESK::update

BvUpdateInit::BvUpdateInit() : initialised(false) {}

BvUpdateInit::~BvUpdateInit() = default;

bool BvUpdateInit::Init(const std::string& home) try {
  initialised = checkHome(home) && prepareFolder(home + "/data", X_OK) &&
                prepareFolder(home + "/data/update", R_OK | W_OK | X_OK);
  if (initialised) VESK::update::setHome(home);
  return initialised;
}
VESK_AT_BOUNDARY("update", false)
