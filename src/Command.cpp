#include "Command.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "JniCommon.h"
#include "product/log.h"

namespace {

struct CloseProcess {
  void operator()(std::FILE* stream) const { pclose(stream); }
};
using ProcessOutput = std::unique_ptr<std::FILE, CloseProcess>;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Sockets only: pipes and files may be on their way to a child that another thread of the VM is
// starting, which takes them over by their numbers.
void keepSocketsFromCommand() {
  const std::unique_ptr<DIR, CloseFolder> descriptors(opendir("/proc/self/fd"));
  if (!descriptors) return;
  while (const dirent* entry = readdir(descriptors.get())) {
    const int descriptor = std::atoi(entry->d_name);
    struct stat status {};
    if (descriptor > STDERR_FILENO && fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode)) {
      fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
  }
}

}  // namespace

bool CommandLine::format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = vformat(format, arguments);
  va_end(arguments);
  return formed;
}

bool CommandLine::vformat(const char* format, std::va_list arguments) {
  return std::vsnprintf(text, limit, format, arguments) >= 0;
}

void OutputLine::cutAtNewline() {
  char* rest = nullptr;
  strtok_r(text, "\n", &rest);
}

jint readFirstLine(const char* command, OutputLine& line) {
  keepSocketsFromCommand();
  const ProcessOutput output(popen(command, "r"));
  if (!output) return result::commandNotStarted;
  if (std::fgets(line.text, sizeof line.text, output.get()) == nullptr) {
    return result::commandPrintedNothing;
  }
  return result::success;
}

jint readLines(const char* command, const LineTaker& take) {
  keepSocketsFromCommand();
  const ProcessOutput output(popen(command, "r"));
  if (!output) return result::commandNotStarted;
  OutputLine line;
  while (std::fgets(line.text, sizeof line.text, output.get()) != nullptr) take(line);
  return result::success;
}

int runInShell(const char* command) {
  keepSocketsFromCommand();
  return std::system(command);
}

jint queryToList(JNIEnv* env, jobject list, const char* method, std::size_t size,
                 const char* format, ...) {
  if (list == nullptr) return result::nullArgument;
  CommandLine command(size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return result::commandNotFormed;
  LogPrintf("%s szCmd: [%s]", method, command.c_str());
  return firstLineToList(env, list, method, command.c_str());
}

jint firstLineToList(JNIEnv* env, jobject list, const char* method, const char* command) {
  OutputLine line;
  if (const jint code = readFirstLine(command, line); code != result::success) return code;
  LogPrintf("%s szRet: [%s]", method, line.text);
  line.cutAtNewline();
  return formJArrListStr(env, line.text, list);
}

jint commandPrints(std::size_t size, const char* format, ...) {
  CommandLine command(size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return result::commandNotFormed;
  OutputLine line;
  return readFirstLine(command.c_str(), line);
}

jint runAction(const char* method, StatusForm form, std::size_t size, const char* format, ...) {
  CommandLine command(size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return result::commandNotFormed;
  LogPrintf("%s szCmd: [%s]", method, command.c_str());
  const int status = runInShell(command.c_str());
  LogPrintf("%s nRet: [%d]", method, status);
  return form == StatusForm::raw ? status : exitCode(status);
}
