#include "product/log.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "FileSink.h"
#include "Line.h"
#include "product/settings.h"

namespace VESK {
namespace {

using logging::FileOptions;
using logging::FileSink;
using logging::unlevelled;

class StderrSink final : public LogMsgBvCLM {
 public:
  void write(int level, const char* message) override { logging::writeToStderr(level, message); }
};

std::string setting(GlobalSetting* settings, const char* key) {
  std::string value;
  if (settings != nullptr) settings->getValue(key, value, "log", 0);
  return value;
}

struct Number {
  const char* key;
  std::size_t fallback;
  std::size_t least;
  std::size_t most;
};
constexpr Number maxSize{"max_size", 10240, 1, 1024 * 1024};
constexpr Number maxFiles{"max_files", 5, 0, 1000};

std::size_t settingOf(GlobalSetting* settings, const Number& number,
                      std::vector<std::string>& complaints) {
  const std::string text = setting(settings, number.key);
  if (text.empty()) return number.fallback;
  std::size_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc() && stop == end && value >= number.least && value <= number.most) {
    return value;
  }
  complaints.push_back("log settings: bad value: [log] " + std::string(number.key) + " = " + text +
                       "; " + std::to_string(number.fallback) + " serves, give a number from " +
                       std::to_string(number.least) + " to " + std::to_string(number.most));
  return number.fallback;
}

std::string filePath(GlobalSetting* settings) {
  std::string path = setting(settings, "file");
  if (path.empty()) path = "log/adminui.log";
  if (path.front() == '/') return path;
  const char* home = std::getenv("VESK_HOME");
  return std::string(home != nullptr ? home : "/opt/brelvik/vesk") + "/" + path;
}

LogMsgBvCLM* makeFileSink(GlobalSetting* settings) {
  std::vector<std::string> complaints;
  const std::size_t size = settingOf(settings, maxSize, complaints) * 1024;
  const std::size_t files = settingOf(settings, maxFiles, complaints);
  auto sink = std::make_unique<FileSink>(FileOptions{filePath(settings), size, files});
  for (const std::string& complaint : complaints) sink->write(LOG_NORMAL, complaint.c_str());
  return sink.release();
}

LogMsgBvCLM* makeSink(GlobalSetting* settings) {
  std::string reason = "unknown";
  try {
    return makeFileSink(settings);
  } catch (const std::exception& problem) {
    reason = problem.what();
  } catch (...) {
  }
  const std::string line = "log open: failed: " + reason +
                           "; messages go to stderr, check [log] file and its folder's rights";
  logging::writeToStderr(LOG_NORMAL, line.c_str());
  return new StderrSink;
}

constinit std::atomic<LogMsgBvCLM*> target{nullptr};
constinit std::atomic<int> threshold{LOG_NORMAL};

void deliver(int level, const char* text) {
  LogMsgBvCLM* sink = target.load(std::memory_order_acquire);
  if (sink != nullptr) {
    sink->write(level, text);
  } else {
    logging::writeToStderr(level, text);
  }
}

void deliverLong(int level, std::size_t length, const char* format, std::va_list arguments) {
  std::string text(length, '\0');
  std::vsnprintf(text.data(), length + 1, format, arguments);
  deliver(level, text.c_str());
}

void deliverFormatted(int level, const char* format, std::va_list arguments,
                      std::va_list sameArguments) {
  const int errorForFormat = errno;  // %m may stand in both passes
  char brief[1024];
  const int length = std::vsnprintf(brief, sizeof brief, format, arguments);
  if (length < 0) {
    deliver(level, (std::string("cannot be formatted: ") + format).c_str());
  } else if (static_cast<std::size_t>(length) < sizeof brief) {
    deliver(level, brief);
  } else {
    errno = errorForFormat;
    deliverLong(level, static_cast<std::size_t>(length), format, sameArguments);
  }
}

// Leaves errno alone: callers log between a failure and its evaluation.
void logFormatted(int level, const char* format, std::va_list arguments) noexcept {
  const int callersError = errno;
  std::va_list sameArguments;
  va_copy(sameArguments, arguments);
  try {
    deliverFormatted(level, format != nullptr ? format : "(null)", arguments, sameArguments);
  } catch (...) {  // no memory: the message is lost, the caller goes on
  }
  va_end(sameArguments);
  errno = callersError;
}

bool isWritten(int level) {
  const int configured = threshold.load(std::memory_order_acquire);
  return configured != LOG_NOLOG && configured >= level;
}

}  // namespace

LogMsgBvCLM* LogMsgBvCLM::Instance(VESKLoggingProcess, GlobalSetting* settings, bool,
                                   bv_SynchronizationLevelType, const char*) {
  // Never destroyed: other libraries still log while the process ends.
  static LogMsgBvCLM* const sink = makeSink(settings);
  return sink;
}

void Log::Init(LogMsgBvCLM* sink, VESKLogLevel level) {
  // The sink first: whoever sees the new level must not write to the old sink.
  target.store(sink, std::memory_order_release);
  threshold.store(level, std::memory_order_release);
}

void Log::LogByLevel(int level, const char* format, ...) {
  if (!isWritten(level)) return;
  std::va_list arguments;
  va_start(arguments, format);
  logFormatted(level < LOG_NOLOG ? LOG_NOLOG : level, format, arguments);
  va_end(arguments);
}

}  // namespace VESK

void LogPrintf(const char* format, ...) {
  if (!VESK::isWritten(VESK::unlevelled)) return;
  std::va_list arguments;
  va_start(arguments, format);
  VESK::logFormatted(VESK::unlevelled, format, arguments);
  va_end(arguments);
}
