// The one door through which the library runs shell commands.
//
// A command line is formatted into a buffer of the family's size and cut there without notice.
// Values are placed as they are, inside whatever quotes the format holds: the console checks them
// first, and the guard below can look over its shoulder. Commands inherit the console's environment
// but none of its sockets: a service that a script leaves running in the background would otherwise
// hold the console's port. While runInShell waits, the C library ignores SIGQUIT in the whole
// process: no thread dump then.
#ifndef VESK_COMMAND_H
#define VESK_COMMAND_H

#include <jni.h>

#include <cstdarg>
#include <cstddef>
#include <functional>

#include "ResultCode.h"

// The sizes of command line buffers; the text is one byte shorter. The wizard's actions leave one
// more byte of the buffer unused than its queries do.
inline constexpr std::size_t wizardCommandSize = 260;
inline constexpr std::size_t wizardActionSize = 259;
inline constexpr std::size_t postfixCommandSize = 1024;
inline constexpr std::size_t verifierCommandSize = 511;  // of certificates
inline constexpr std::size_t policyCommandSize = 256;
inline constexpr std::size_t backupCommandSize = 2047;

// What becomes of a value with a character that the shell acts on where it stands, that is, outside
// the quotes of the format or in spite of them: it is passed on as it is, passed on and logged at
// level 1, or refused.
enum class Guard { off, audit, enforce };

// The name of one, in any case, from the settings: initializeJNI passes it on before any command.
// An empty name means off; an unknown one is logged and means enforce, since somebody wanted a
// guard.
void setGuard(const char* name);

class CommandLine {
 public:
  static constexpr std::size_t largestSize = 2048;

  // `method` is the Java class and method joined by a dot, for the log; `size` is at most
  // largestSize.
  CommandLine(const char* method, std::size_t size) : caller(method), limit(size) {}
  // Values come by %s. One that begins the line is the library's own, a whole command or the
  // install root, and not the guard's business. False when the text cannot be formatted, memory
  // had no room for a value (which is logged), or the guard refuses one, which failure() tells
  // apart.
  [[nodiscard]] bool format(const char* format, ...) __attribute__((format(printf, 2, 3)));
  [[nodiscard]] bool vformat(const char* format, std::va_list arguments)
      __attribute__((format(printf, 2, 0)));
  // What to answer when nothing was formed: 500 when the guard refused a value, else the given
  // code.
  [[nodiscard]] jint failure(jint notFormed = result::commandNotFormed) const {
    return refused ? result::nullArgument : notFormed;
  }
  const char* c_str() const { return text; }

 private:
  bool allRead(const char* format, std::va_list values) const;
  bool guardAdmits(const char* format, std::va_list values) const;

  const char* caller;
  std::size_t limit;
  bool refused = false;
  char text[largestSize] = {};
};

// The first line of a command's output, newline included, at most 1023 characters.
struct OutputLine {
  char text[1024] = {};
  void cutAtNewline();  // a line that is only a newline stays as it is
};

// Runs the command and reads its first line; the pipe is closed on return and the command's exit
// status ignored. Returns 0, 101 or 102.
[[nodiscard]] jint readFirstLine(const char* command, OutputLine& line);

// Hands over each line of the command's output as readFirstLine reads it; a longer line arrives in
// pieces. Returns 0 or 101.
using LineTaker = std::function<void(OutputLine& line)>;
[[nodiscard]] jint readLines(const char* command, const LineTaker& take);

// Runs the command and waits; the raw wait status (exit code times 256), -1 when it was not
// started.
[[nodiscard]] int runInShell(const char* command);

// The exit code, 0 to 255, out of a raw wait status. It is 0, too, when the shell itself died by a
// signal; a command that did comes out as 128 and the signal, unless the shell replaced itself with
// it.
[[nodiscard]] constexpr jint exitCode(int status) {
  return static_cast<jint>(static_cast<unsigned>(status) >> 8 & 255U);
}

// Query: the first output line, without its newline, becomes one element of `list`. `method` is the
// Java class and method joined by a dot and begins the log lines. Returns 0, 100, 101, 102, 500
// (null list, or refused by the guard), 501 or 503.
[[nodiscard]] jint queryToList(JNIEnv* env, jobject list, const char* method, std::size_t size,
                               const char* format, ...) __attribute__((format(printf, 5, 6)));

// The second half of queryToList, for a command line that is already formed.
[[nodiscard]] jint firstLineToList(JNIEnv* env, jobject list, const char* method,
                                   const char* command);

// Existence test: 0 when the command prints a line; 100, 101 or 102 otherwise, or 500 of the guard.
// Nothing is logged.
[[nodiscard]] jint commandPrints(const char* method, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// What an action answers with: both forms are in use, and the console knows which to expect where.
enum class StatusForm { raw, exitCode };

// Action: runs the command and returns its status in the given form, or 100, or 500 of the guard.
[[nodiscard]] jint runAction(const char* method, StatusForm form, std::size_t size,
                             const char* format, ...) __attribute__((format(printf, 4, 5)));

#endif
