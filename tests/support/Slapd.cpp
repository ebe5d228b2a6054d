#include "support/Slapd.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "support/Network.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* TOOLS = VESK_SOURCE_DIR "/tools/";

// Starts a tool with both outputs in one file. The child dies with this process.
pid_t spawn(const Slapd::Words& command, const std::string& output) {
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  execv(words[0], words.data());
  _exit(127);
}

bool endsWithin(pid_t child, std::chrono::milliseconds patience, int& status) {
  const auto deadline = Clock::now() + patience;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

}  // namespace

Slapd::Slapd(const Words& options, const Words& company) {
  Words print = {std::string(TOOLS) + "sample-company"};
  print.insert(print.end(), company.begin(), company.end());
  int status = -1;
  waitpid(spawn(print, dir.path("company.ldif")), &status, 0);
  // Somebody else may take a free port before slapd does.
  for (int tries = 0; status == 0 && tries < 3; ++tries) {
    if (start(options)) return;
  }
  throw std::runtime_error("slapd did not start: " + dir.read("slapd.log") +
                           (status == 0 ? "" : dir.read("company.ldif")));
}

Slapd::~Slapd() { stop(); }

bool Slapd::start(const Words& options) {
  ldapPort = freePort();
  ldapsPort = freePort();
  Words command = {std::string(TOOLS) + "private-slapd",
                   "--dir",
                   dir.path("server"),
                   "--ldif",
                   dir.path("company.ldif"),
                   "--port",
                   std::to_string(ldapPort),
                   "--loglevel",
                   "stats"};
  command.insert(command.end(), options.begin(), options.end());
  if (std::find(options.begin(), options.end(), "--tls") != options.end()) {
    command.insert(command.end(), {"--tls-port", std::to_string(ldapsPort)});
  }
  server = spawn(command, dir.path("slapd.log"));
  const auto deadline = Clock::now() + 30s;
  int status = 0;
  while (!endsWithin(server, 10ms, status)) {
    if (connectTo(ldapPort, 1s).open()) return true;
    if (Clock::now() > deadline) {
      stop();
      return false;
    }
  }
  server = -1;  // it has ended, and its number may be another's now
  return false;
}

void Slapd::stop() {
  if (server <= 0) return;
  int status = 0;
  kill(server, SIGTERM);
  if (!endsWithin(server, 10s, status)) {
    kill(server, SIGKILL);
    waitpid(server, &status, 0);
  }
  server = -1;
}

int Slapd::count(const std::string& word) const {
  const std::string log = dir.read("slapd.log");
  int lines = 0;
  for (auto at = log.find(word); at != std::string::npos; at = log.find(word, at + 1)) ++lines;
  return lines;
}
