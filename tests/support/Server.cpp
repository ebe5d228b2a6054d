#include "support/Server.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "support/Network.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* TOOLS = VESK_SOURCE_DIR "/tools/";

// Starts a tool with both outputs in one file. The child dies with this process.
pid_t spawn(const Server::Words& command, const std::string& output, const std::string& input) {
  const std::string tool = command[0].starts_with('/') ? command[0] : TOOLS + command[0];
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  execv(tool.c_str(), words.data());
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

int Server::run(const Words& command, const std::string& output) {
  int status = -1;
  waitpid(spawn(command, output, "/dev/null"), &status, 0);
  return status;
}

bool Server::start(const Words& command, int port, const std::string& output,
                   const std::string& input) {
  return start(
      command, [port] { return connectTo(port, 1s).open(); }, output, input);
}

bool Server::start(const Words& command, const std::function<bool()>& ready,
                   const std::string& output, const std::string& input) {
  child = spawn(command, output, input);
  const auto deadline = Clock::now() + 30s;
  int status = 0;
  while (!endsWithin(child, 10ms, status)) {
    if (ready()) return true;
    if (Clock::now() > deadline) {
      stop();
      return false;
    }
  }
  child = -1;  // it has ended, and its number may be another's now
  return false;
}

void Server::stop() {
  if (child <= 0) return;
  int status = 0;
  kill(child, SIGTERM);
  if (!endsWithin(child, 10s, status)) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  child = -1;
}
