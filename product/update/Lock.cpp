#include "Lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>
#include <thread>

namespace VESK::update {

namespace {

enum Byte : off_t { COMPONENTS = 0, HOLDER_KNOWN = 1, UPLOAD_NUMBER = 2 };

// The text has one length, so that writing it over an older one takes a single step.
constexpr std::size_t RECORD = 128;

std::string pathOf(const std::string& home) { return home + "/data/update/lock"; }

struct flock ofByte(Byte byte) {
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  return range;
}

bool take(int file, Byte byte) {
  struct flock range = ofByte(byte);
  return ::fcntl(file, F_OFD_SETLK, &range) == 0;
}

bool isTaken(int file, Byte byte) {
  struct flock range = ofByte(byte);
  return ::fcntl(file, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

std::string record(int file) {
  char text[RECORD] = {};
  const ssize_t count = ::pread(file, text, sizeof text, 0);
  const std::string all(text, count > 0 ? static_cast<std::size_t>(count) : 0);
  return all.substr(0, all.find('\n'));
}

bool writeRecord(int file, const std::string& what) {
  std::string text = what + " since " + localTime() + " pid " + std::to_string(::getpid());
  text.resize(RECORD - 1, '\n');
  text += '\n';
  return ::pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

}  // namespace

bool Lock::open(const std::string& home, Failure& failure) {
  const std::string path = pathOf(home);
  file = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, FILE_MODE));
  return file || failure.setSystem("lock", path, errno);
}

bool Lock::takeComponents(const std::string& home, const std::string& what, Failure& failure) {
  if (!open(home, failure)) return false;
  if (!take(file.get(), COMPONENTS)) {
    const int error = errno;
    if (error != EAGAIN && error != EACCES) return failure.setSystem("lock", pathOf(home), error);
    return failure.set("lock", "another update is running", record(file.get()),
                       "wait until it has ended");
  }
  if (!writeRecord(file.get(), what)) return failure.setSystem("lock", pathOf(home), errno);
  return take(file.get(), HOLDER_KNOWN) || failure.setSystem("lock", pathOf(home), errno);
}

bool Lock::takeUploadNumber(const std::string& home, Failure& failure) {
  constexpr auto PAUSE = std::chrono::milliseconds(5);
  if (!open(home, failure)) return false;
  for (int tries = 0; tries < 2000; ++tries) {
    if (take(file.get(), UPLOAD_NUMBER)) return true;
    std::this_thread::sleep_for(PAUSE);
  }
  return failure.set("lock", "the upload number stays locked", "", "look for a hung update");
}

std::string lockHolder(const std::string& home) {
  const Descriptor file(::open(pathOf(home).c_str(), O_RDONLY | O_CLOEXEC));
  if (!file || !isTaken(file.get(), HOLDER_KNOWN)) return {};
  return record(file.get());
}

std::string localTime() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = {};
  ::localtime_r(&now, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  return text;
}

}  // namespace VESK::update
