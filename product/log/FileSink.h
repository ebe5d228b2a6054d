// The log file: rotated by size, readable by owner and group, never a reason to fail.
#ifndef VESK_LOG_FILE_SINK_H
#define VESK_LOG_FILE_SINK_H

#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "product/log.h"

namespace VESK::logging {

struct FileOptions {
  std::string path;
  std::size_t maxBytes;  // of one file, but for a single line that is longer
  std::size_t maxFiles;  // rotated ones: NAME.1.log is the youngest
};

class FileSink final : public LogMsgBvCLM {
 public:
  // Throws spdlog_ex when the file cannot be opened.
  explicit FileSink(FileOptions fileOptions);

  // A message that cannot be written is counted; the count and the reason come first in the log
  // once the file can be written again.
  void write(int level, const char* message) override;

 private:
  using File = spdlog::sinks::rotating_file_sink_st;

  void open();
  void openAgainIfMoved();
  void append(int level, const std::string& text);
  void reportLoss();
  void lose(const char* reason) noexcept;

  const FileOptions options;
  std::mutex mutex;  // guards all below
  std::unique_ptr<File> file;
  dev_t device = 0;  // what `file` is, however it is called by now
  ino_t inode = 0;
  std::time_t checked = 0;
  std::size_t lost = 0;
  std::string lossReason;
};

}  // namespace VESK::logging

#endif
