#include "Launch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

#include "product/log.h"

namespace VESK::quarantine {

namespace {

class Actions {
 public:
  explicit Actions(int lock) {
    posix_spawn_file_actions_init(&actions);
    error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    take(posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
    take(posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO));
    take(posix_spawn_file_actions_adddup2(&actions, lock, LOCK_DESCRIPTOR));
    take(posix_spawn_file_actions_addclosefrom_np(&actions, LOCK_DESCRIPTOR + 1));
  }
  ~Actions() { posix_spawn_file_actions_destroy(&actions); }
  Actions(const Actions&) = delete;
  Actions& operator=(const Actions&) = delete;

  posix_spawn_file_actions_t actions;
  int error;  // the first one: a job that lacks one of these must not start

 private:
  void take(int next) {
    if (error == 0) error = next;
  }
};

class Attributes {
 public:
  // What a Java VM's thread blocks or ignores is not to stay so.
  Attributes() {
    sigset_t signals;
    posix_spawnattr_init(&attributes);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  posix_spawnattr_t attributes;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The rest of the console's environment is its own business.
std::vector<std::string> environmentFor(const Options& options) {
  std::vector<std::string> environment{"VESK_HOME=" + options.home};
  const char* zone = std::getenv("TZ");
  if (zone != nullptr) environment.push_back(std::string("TZ=") + zone);
  return environment;
}

int spawn(const Options& options, Kind kind, long long run, int lock, pid_t& child) {
  std::vector<std::string> words{options.program(), nameOf(kind), std::to_string(run),
                                 std::to_string(options.batch),
                                 std::to_string(options.busyTimeout)};
  std::vector<std::string> environment = environmentFor(options);
  const Actions files(lock);
  const Attributes attributes;
  if (files.error != 0) return files.error;
  return ::posix_spawn(&child, words[0].c_str(), &files.actions, &attributes.attributes,
                       pointersTo(words).data(), pointersTo(environment).data());
}

// The first process ends as soon as it has forked the one that works, which is nobody's child then.
// Where children are reaped by nobody's asking there is no status: the spawn went well.
bool reap(pid_t child) {
  int status = 0;
  pid_t reaped;
  do {
    reaped = ::waitpid(child, &status, 0);
  } while (reaped < 0 && errno == EINTR);
  return reaped < 0 || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace

bool launch(const Options& options, Kind kind, long long run, const JobLock& lock) {
  pid_t child = -1;
  const int error = spawn(options, kind, run, lock.number(), child);
  if (error == 0 && reap(child)) return true;
  const std::string said = error != 0 ? std::generic_category().message(error) : "it ended at once";
  Log::LogByLevel(LOG_NORMAL,
                  "quarantine: %s failed: job not started: %s [%s]; hint: check that it is the "
                  "product's own program and may be run",
                  nameOf(kind), options.program().c_str(), said.c_str());
  return false;
}

}  // namespace VESK::quarantine
