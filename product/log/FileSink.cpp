#include "FileSink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "Line.h"
#include "shared/Descriptor.h"

namespace VESK::logging {
namespace {

constexpr mode_t fileMode = 0640;
constexpr mode_t folderMode = 0750;

void makeFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) ::mkdir(path.substr(0, slash).c_str(), folderMode);
}

// A process that was killed, or a full disk, can leave half a line.
void endTornLine(int descriptor, off_t size) {
  char last = '\n';
  if (size > 0 && ::pread(descriptor, &last, 1, size - 1) == 1 && last != '\n') {
    [[maybe_unused]] const ssize_t ended = ::write(descriptor, "\n", 1);
  }
}

// Makes the file with its mode before spdlog opens it, so that nobody else can open it in between.
void prepare(const std::string& path) {
  makeFolderOf(path);
  constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const Descriptor made(::open(path.c_str(), flags, fileMode));
  if (!made) spdlog::throw_spdlog_ex("open " + path, errno);
  struct stat status {};
  ::fstat(made.get(), &status);
  if (!S_ISREG(status.st_mode)) spdlog::throw_spdlog_ex("open " + path + ": not a regular file");
  // A no to this is none to writing: somebody else's file may still be open to our group.
  if ((status.st_mode & 07777) != fileMode) ::fchmod(made.get(), fileMode);
  endTornLine(made.get(), status.st_size);
}

}  // namespace

FileSink::FileSink(FileOptions fileOptions) : options(std::move(fileOptions)) { open(); }

void FileSink::open() {
  spdlog::file_event_handlers handlers;
  handlers.before_open = prepare;
  handlers.after_open = [this](const std::string&, std::FILE* stream) {
    // One write call a line: nothing stays behind in this process, and lines of another process
    // never cut into ours.
    std::setvbuf(stream, nullptr, _IONBF, 0);
    ::fcntl(::fileno(stream), F_SETFD, FD_CLOEXEC);
    struct stat status {};
    ::fstat(::fileno(stream), &status);
    device = status.st_dev;
    inode = status.st_ino;
  };
  file = std::make_unique<File>(options.path, options.maxBytes, options.maxFiles, false, handlers);
  file->set_formatter(lineFormatter());
}

// Somebody may have renamed or removed the file (another process that rotates, an administrator);
// once a second is soon enough to see it.
void FileSink::openAgainIfMoved() {
  const std::time_t now = std::time(nullptr);
  if (file != nullptr && now == checked) return;
  checked = now;
  struct stat named {};
  if (file != nullptr && ::stat(options.path.c_str(), &named) == 0 && named.st_dev == device &&
      named.st_ino == inode) {
    return;
  }
  file.reset();
  open();
}

void FileSink::append(int level, const std::string& text) { file->log(stamped(level, text)); }

void FileSink::reportLoss() {
  if (lost == 0) return;
  append(LOG_NORMAL, escapeControls(("log write: " + std::to_string(lost) +
                                     " messages were lost before this line: " + lossReason +
                                     "; check the space left and the rights of the folder")
                                        .c_str()));
  lost = 0;
}

void FileSink::lose(const char* reason) noexcept {
  // spdlog may be left without an open file, and would write to a null stream next time.
  file.reset();
  ++lost;
  try {
    lossReason = reason;
  } catch (...) {
    lossReason.clear();
  }
}

void FileSink::write(int level, const char* message) {
  const std::lock_guard lock(mutex);
  try {
    openAgainIfMoved();
    reportLoss();
    append(level, escapeControls(message));
  } catch (const std::exception& problem) {
    lose(problem.what());
  }
}

}  // namespace VESK::logging
