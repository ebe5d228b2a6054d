#include "Command.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

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

std::atomic<Guard> guard{Guard::off};

// Follows the quotes of a shell line, letter by letter.
class Quotes {
 public:
  void pass(char letter) {
    if (escaped) {
      escaped = false;
    } else if (letter == '\\' && open != '\'') {
      escaped = true;
    } else if (letter == open) {
      open = none;
    } else if (open == none && (letter == '"' || letter == '\'')) {
      open = letter;
    }
  }
  // What the shell acts on here; whatever else a value holds arrives as it is.
  const char* special() const {
    if (open == '"') return "\"$`\\";
    return open == '\'' ? "'" : " \t\n|&;<>()$`\\\"'*?[]#~{}";
  }
  const char* name() const {
    if (open == '"') return "in double quotes";
    return open == '\'' ? "in single quotes" : "without quotes";
  }

 private:
  static constexpr char none = '\0';
  char open = none;
  bool escaped = false;
};

// The letter itself where it can stand in a line of the log.
std::string nameOf(char letter) {
  switch (letter) {
    case '\n':
      return "a line break";
    case '\t':
      return "a tab";
    case ' ':
      return "a blank";
    default:
      return {'\'', letter, '\''};
  }
}

}  // namespace

void setGuard(const char* name) {
  static constexpr std::pair<const char*, Guard> names[] = {
      {"", Guard::off}, {"off", Guard::off}, {"audit", Guard::audit}, {"enforce", Guard::enforce}};
  for (const auto& [known, meaning] : names) {
    if (strcasecmp(name, known) != 0) continue;
    guard = meaning;
    return;
  }
  VESK::Log::LogByLevel(1, "guard: [bridge] guard = %s is none of off, audit, enforce; enforce",
                        name);
  guard = Guard::enforce;
}

// With an empty text in the place of one that could not be read it would be another command.
bool CommandLine::allRead(const char* format, std::va_list values) const {
  for (const char* at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at + 1, '%')) {
    if (!isLostText(va_arg(values, const char*))) continue;
    logNoMemory(caller);
    return false;
  }
  return true;
}

bool CommandLine::guardAdmits(const char* format, std::va_list values) const {
  const Guard mode = guard;
  if (mode == Guard::off) return true;
  Quotes quotes;
  for (const char* at = format; *at != '\0'; ++at) {
    if (*at != '%') {
      quotes.pass(*at);
      continue;
    }
    const char* value = va_arg(values, const char*);
    const bool own = at++ == format;
    const char* found = own || value == nullptr ? nullptr : std::strpbrk(value, quotes.special());
    if (found == nullptr) continue;
    VESK::Log::LogByLevel(1, "guard: %s %s a value with %s %s, which the shell acts on", caller,
                          mode == Guard::audit ? "passes on" : "refuses", nameOf(*found).c_str(),
                          quotes.name());
    return mode == Guard::audit;
  }
  return true;
}

bool CommandLine::format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = vformat(format, arguments);
  va_end(arguments);
  return formed;
}

bool CommandLine::vformat(const char* format, std::va_list arguments) {
  std::va_list values;
  va_copy(values, arguments);
  const bool read = allRead(format, values);
  va_end(values);
  va_copy(values, arguments);
  refused = read && !guardAdmits(format, values);
  va_end(values);
  return read && !refused && std::vsnprintf(text, limit, format, arguments) >= 0;
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
  CommandLine command(method, size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return command.failure();
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

jint commandPrints(const char* method, std::size_t size, const char* format, ...) {
  CommandLine command(method, size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return command.failure();
  OutputLine line;
  return readFirstLine(command.c_str(), line);
}

jint runAction(const char* method, StatusForm form, std::size_t size, const char* format, ...) {
  CommandLine command(method, size);
  std::va_list arguments;
  va_start(arguments, format);
  const bool formed = command.vformat(format, arguments);
  va_end(arguments);
  if (!formed) return command.failure();
  LogPrintf("%s szCmd: [%s]", method, command.c_str());
  const int status = runInShell(command.c_str());
  LogPrintf("%s nRet: [%d]", method, status);
  return form == StatusForm::raw ? status : exitCode(status);
}
