// The product's log, as the bridge uses it.
//
// One process-wide log. Every function may be called from any thread at any time, also before
// Log::Init: until then failures (level 1) and LogPrintf texts go to stderr and the rest is
// dropped.
#ifndef VESK_PRODUCT_LOG_H
#define VESK_PRODUCT_LOG_H

namespace VESK {

class GlobalSetting;

// A message is written when the configured level is at least the message's level.
enum VESKLogLevel : int {
  LOG_NOLOG = 0,
  LOG_NORMAL = 1,  // failures
  LOG_DETAIL = 2,
  LOG_DIAGNOSTIC = 3,  // traces
  LOG_DEBUG = 4,       // summaries and everything else
};

// Whose log it is. The console is the only process that this library serves.
enum VESKLoggingProcess : int { LOGGING_PROCESS_CONSOLE = 1 };

// How far a message must have got when the call returns.
enum bv_SynchronizationLevelType : int {
  BV_SYNC_NONE = 0,
  BV_SYNC_PROCESS = 1,
  BV_SYNC_WRITTEN = 2,  // handed to the operating system
};

// Where messages go: "log/adminui.log" below the install root, rotated by size.
class LogMsgBvCLM {
 public:
  // The process's one sink, made by the first call and owned by the log library. Settings read, all
  // optional: section "log", "file" (path; default $VESK_HOME/log/adminui.log), "max_size" (KiB;
  // default 10240) and "max_files" (rotated files kept; default 5). A file that cannot be opened
  // gives a sink that writes to stderr, with a line that says why; the result is never null.
  static LogMsgBvCLM* Instance(VESKLoggingProcess process, GlobalSetting* settings, bool flag,
                               bv_SynchronizationLevelType syncLevel, const char* processName);

  virtual void write(int level, const char* message) = 0;

 protected:
  virtual ~LogMsgBvCLM() = default;
};

class Log {
 public:
  // Sets sink (borrowed) and level (0 to 4) of the process; may be called again.
  static void Init(LogMsgBvCLM* sink, VESKLogLevel level);

  // A printf-style message of any length. A null text for %s is written as "(null)". Control
  // characters are escaped, so that one message is one line.
  static void LogByLevel(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
};

}  // namespace VESK

// A printf-style message without a level: written unless the level is NOLOG.
void LogPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
