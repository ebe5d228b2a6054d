#include "Revival.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "World.h"

namespace {

std::vector<std::string> partsOf(const std::string& file) {
  std::istringstream text(World::read(file));
  std::vector<std::string> parts;
  for (std::string part; std::getline(text, part, '\0');) parts.push_back(part);
  return parts;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Recipe::Recipe(pid_t process) {
  const std::string here = "/proc/" + std::to_string(process);
  words = partsOf(here + "/cmdline");
  environment = partsOf(here + "/environ");
  program = std::filesystem::read_symlink(here + "/exe");
  folder = std::filesystem::read_symlink(here + "/cwd");
  output = std::filesystem::read_symlink(here + "/fd/2");
}

// It is itself when this returns, though maybe not yet ready.
pid_t Recipe::start() const {
  const std::vector<char*> arguments = pointersTo(words), variables = pointersTo(environment);
  const pid_t child = fork();
  if (child != 0) {
    const std::string file = "/proc/" + std::to_string(child) + "/cmdline";
    for (int i = 0; i < 1000 && partsOf(file) != words; ++i) usleep(1000);
    return child;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  const int file = open(output.c_str(), O_WRONLY | O_APPEND);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  closefrom(STDERR_FILENO + 1);
  if (chdir(folder.c_str()) == 0) execve(program.c_str(), arguments.data(), variables.data());
  _exit(127);
}

Revived::~Revived() {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}
