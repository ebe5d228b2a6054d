#include "QueuePair.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "GMime.h"
#include "shared/Descriptor.h"

namespace VESK::notify {

namespace {

constexpr mode_t FILE_MODE = 0640;

// The system kills a process that writes beyond its limit, unless a handler is set, which is the
// whole process's. So the limit is asked for first.
bool fitsLimit(std::size_t length) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur >= length) return true;
  errno = EFBIG;
  return false;
}

bool writeAll(int file, const std::string& content) {
  for (std::size_t done = 0; done < content.size();) {
    const ssize_t count = ::write(file, content.data() + done, content.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return true;
}

// A file on its way into the folder; goes with its owner unless it is to stay.
class Arrival {
 public:
  Arrival(int folderDescriptor, const QueueFile& arriving, QueueFailure& report)
      : folder(folderDescriptor), file(arriving), failure(report) {}
  ~Arrival() {
    if (!present.empty()) ::unlinkat(folder, present.c_str(), 0);
  }
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  // Readers of the queue pass over names that begin with a dot.
  bool write() {
    std::string name = std::string(".") + Text(g_uuid_string_random()).get();
    target = Descriptor(
        ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE));
    if (!target) return fail("create");
    present = std::move(name);  // needs no memory, now that the file is there
    // Whatever the umask says.
    if (::fchmod(target.get(), FILE_MODE) != 0) return fail("set mode");
    if (!fitsLimit(file.content.size()) || !writeAll(target.get(), file.content)) {
      return fail("write");
    }
    // So that one sync finds both files on their way; whether it came to anything, sync() says.
    ::sync_file_range(target.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    return true;
  }

  bool sync() { return ::fsync(target.get()) == 0 || fail("sync"); }

  bool appear() {
    std::string name = file.name;
    if (!rename()) return fail("rename");
    present = std::move(name);
    return true;
  }

  void stay() { present.clear(); }

 private:
  // Never over a file that is there. Not every file system can rename so; a second name and the
  // first one's end come to the same.
  bool rename() const {
    if (::renameat2(folder, present.c_str(), folder, file.name, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (::linkat(folder, present.c_str(), folder, file.name, 0) != 0) return false;
    ::unlinkat(folder, present.c_str(), 0);
    return true;
  }

  bool fail(const char* step) {
    failure = {step, file.name, errno};
    return false;
  }

  int folder;
  const QueueFile& file;
  QueueFailure& failure;
  std::string present;
  Descriptor target;
};

bool isThere(int folder, const char* name) {
  struct stat status {};
  return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

QueueFailure writePair(const char* folder, const QueueFile& first, const QueueFile& second) {
  const Descriptor queue(::open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!queue) return {"open", "", errno};
  // Seen early, an old pair costs no writing; the renames decide.
  for (const char* name : {first.name, second.name}) {
    if (isThere(queue.get(), name)) return {"create", name, EEXIST};
  }
  QueueFailure failure;
  // The second one goes first if both have to.
  Arrival one(queue.get(), first, failure);
  Arrival two(queue.get(), second, failure);
  const auto syncFolder = [&] {
    if (::fsync(queue.get()) != 0) failure = {"sync", "", errno};
    return failure.error == 0;
  };
  // All that the second name stands for is on the disk before it appears, the first one's name too:
  // no power cut turns the order round.
  if (!one.write() || !two.write() || !one.appear() || !one.sync() || !two.sync() ||
      !syncFolder() || !two.appear() || !syncFolder()) {
    return failure;
  }
  one.stay();
  two.stay();
  return failure;
}

}  // namespace VESK::notify
