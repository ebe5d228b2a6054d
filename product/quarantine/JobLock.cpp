#include "JobLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "product/log.h"

namespace VESK::quarantine {

namespace {

// Bytes of the file that stand for something.
constexpr off_t ANY = 0;
constexpr off_t FIRST_KIND = 1;

struct flock byteAt(off_t place) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = place;
  lock.l_len = 1;
  return lock;
}

bool lockByte(int descriptor, off_t place) {
  struct flock lock = byteAt(place);
  return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

off_t placeOf(Kind kind) { return FIRST_KIND + static_cast<off_t>(kind); }

// Not one of the three that a child gets anew.
int aboveStandard(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::close(descriptor);
  return moved;
}

}  // namespace

const char* nameOf(Kind kind) { return kind == Kind::TRANSFER ? "transfer" : "remove"; }

JobLock::JobLock(const char* step, const Options& options)
    : descriptor(
          aboveStandard(::open(options.lock().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640))) {
  if (open()) return;
  const int error = errno;
  Log::LogByLevel(LOG_NORMAL,
                  "quarantine: %s failed: lock cannot be opened: %s [%s]; hint: check the rights "
                  "of its folder and the number of open files",
                  step, options.lock().c_str(), std::generic_category().message(error).c_str());
}

JobLock::~JobLock() {
  if (open()) ::close(descriptor);
}

bool JobLock::take() { return lockByte(descriptor, ANY); }

bool JobLock::take(Kind kind) { return take() && lockByte(descriptor, placeOf(kind)); }

bool JobLock::held(Kind kind) const {
  struct flock lock = byteAt(placeOf(kind));
  return ::fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool JobLock::cancel(long long run) const {
  return ::pwrite(descriptor, &run, sizeof run, 0) == static_cast<ssize_t>(sizeof run);
}

bool JobLock::cancelled(long long run) const {
  long long marked = 0;
  const ssize_t size = ::pread(descriptor, &marked, sizeof marked, 0);
  return size == static_cast<ssize_t>(sizeof marked) && marked == run;
}

}  // namespace VESK::quarantine
