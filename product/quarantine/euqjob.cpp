// euqjob KIND RUN BATCH TIMEOUT: the process that does a job. The quarantine library starts it,
// with the job's lock in descriptor 3, the install root in VESK_HOME and nothing else.
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Launch.h"
#include "Work.h"
#include "product/log.h"
#include "product/settings.h"

namespace {

using namespace VESK;
using namespace VESK::quarantine;

constexpr int WRONG_CALL = 2;

std::string setting(GlobalSetting* settings, const char* section, const char* key) {
  std::string value;
  settings->getValue(key, value, section, 0);
  return value;
}

// The console's, since it is the console's log.
VESKLogLevel levelOf(GlobalSetting* settings) {
  std::string name = setting(settings, "log_level", "ui");
  if (name.empty()) name = setting(settings, "general", "log_level");
  static constexpr const char* NAMES[] = {"NOLOG", "NORMAL", "DETAIL", "DIAGNOSTIC"};
  for (int level = LOG_NOLOG; level < LOG_DEBUG; ++level) {
    const char* known = NAMES[level];
    if (::strncasecmp(name.c_str(), known, std::strlen(known)) == 0) {
      return static_cast<VESKLogLevel>(level);
    }
  }
  return LOG_DEBUG;
}

void initLog(const std::string& home) {
  GlobalSetting* settings = GlobalSettingOnMem::Instance((home + "/config/vesk.ini").c_str(), true,
                                                         nullptr, nullptr, nullptr, nullptr, true);
  LogMsgBvCLM* sink =
      LogMsgBvCLM::Instance(LOGGING_PROCESS_CONSOLE, settings, true, BV_SYNC_WRITTEN, "euqjob");
  Log::Init(sink, levelOf(settings));
}

// Whoever started it need not wait, and does not become the parent of the process that works.
bool leaveParent() {
  const pid_t child = ::fork();
  if (child > 0) ::_exit(0);
  return child == 0;
}

}  // namespace

int main(int count, char** words) {
  const Kind kind =
      count > 1 && std::strcmp(words[1], nameOf(Kind::REMOVE)) == 0 ? Kind::REMOVE : Kind::TRANSFER;
  JobLock lock(LOCK_DESCRIPTOR);
  if (count != 5 || !lock.take(kind)) {
    std::fputs("euqjob: started by the console only; see veskctl euq --help\n", stderr);
    return WRONG_CALL;
  }
  if (!leaveParent()) return 1;
  // A file-size limit then is an error like any other.
  std::signal(SIGXFSZ, SIG_IGN);
  Options options = readOptions();
  if (::chdir("/") != 0) return 1;
  ::umask(0027);
  options.batch = std::atoi(words[3]);
  options.busyTimeout = std::atoi(words[4]);
  initLog(options.home);
  return work(options, kind, std::atoll(words[2]), lock) ? 0 : 1;
}
