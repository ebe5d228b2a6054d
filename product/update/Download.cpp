#include "Download.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace VESK::update {

namespace {

constexpr std::size_t BLOCK = 256 * 1024;

// A folder with the list of sums and one file, and the drafts of current, left and switch.
constexpr std::uint64_t FEWEST_INODES = 6;
constexpr const char* MAKE_ROOM = "make room below data/update; the version in use was not touched";

std::string mebibytes(std::uint64_t bytes) { return std::to_string((bytes >> 20) + 1) + " MiB"; }

// Some file systems have no limit, and tell none.
bool hasInodes(const std::string& folder, const struct statvfs& space, std::uint64_t fewest,
               Failure& failure) {
  if (space.f_files == 0 || space.f_favail >= fewest) return true;
  return failure.set("prepare", "disk full",
                     folder + " needs " + std::to_string(fewest) + " inodes or more, has " +
                         std::to_string(space.f_favail),
                     MAKE_ROOM);
}

}  // namespace

bool Download::open() {
  file = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, FILE_MODE));
  return file || failure.setSystem("fetch", path, errno);
}

bool Download::startAgain() {
  sum.finish();
  size = 0;
  if (::ftruncate(file.get(), 0) == 0 && ::lseek(file.get(), 0, SEEK_SET) == 0) return true;
  return failure.setSystem("fetch", path, errno);
}

bool Download::readPresent() {
  std::vector<char> block(BLOCK);
  ssize_t count = 0;
  while ((count = ::read(file.get(), block.data(), block.size())) > 0) {
    sum.add(block.data(), static_cast<std::size_t>(count));
    size += static_cast<std::uint64_t>(count);
  }
  if (count < 0) return failure.setSystem("fetch", path, errno);
  return size <= package.size || startAgain();
}

bool Download::take(const char* data, std::size_t count) {
  if (count > package.size - size) {
    ::unlink(path.c_str());
    return failure.set("fetch", package.file + ": more bytes than the manifest tells", "",
                       "the source is altered or being changed, try again later");
  }
  if (!writeAll(file.get(), data, count)) {
    const int error = errno;
    ::unlink(path.c_str());  // room for others
    return failure.setSystem("fetch", path, error);
  }
  sum.add(data, count);
  size += count;
  return true;
}

bool Download::fetch(Source& source) {
  if (size == package.size) return true;
  const Source::Sink sink = [this](const char* data, std::size_t count) {
    return take(data, count);
  };
  Source::End end = source.fetch(package.file, size, sink, failure);
  if (end == Source::End::cannotResume) {
    if (!startAgain()) return false;
    end = source.fetch(package.file, 0, sink, failure);
  }
  return end == Source::End::whole;
}

bool Download::verify() {
  if (size == package.size && sum.finish() == package.sha256) return true;
  ::unlink(path.c_str());
  return failure.set("verify", package.file + ": not what the manifest tells",
                     std::to_string(size) + " bytes",
                     "the source is altered or being changed, try again later");
}

bool Download::complete(Source& source) {
  if (!open() || !readPresent()) return false;
  const bool continued = size > 0;
  if (!fetch(source)) return false;
  if (!continued) return verify();
  if (size == package.size && sum.finish() == package.sha256) return true;
  // The kept part may have been bad: once more, from the beginning.
  return startAgain() && fetch(source) && verify();
}

bool hasRoom(const std::string& folder, const std::string& kept, const Package& package,
             Failure& failure) {
  struct statvfs space {};
  struct stat part {};
  if (::statvfs(folder.c_str(), &space) != 0) return failure.setSystem("prepare", folder, errno);
  const std::uint64_t free = std::uint64_t{space.f_bavail} * space.f_frsize;
  std::uint64_t needed = package.size + package.unpacked;
  const bool begun = ::stat(kept.c_str(), &part) == 0;
  if (begun) needed -= std::min(package.size, static_cast<std::uint64_t>(part.st_size));
  if (free < needed) {
    return failure.set("prepare", "disk full",
                       folder + " needs " + mebibytes(needed) + ", has " + mebibytes(free),
                       MAKE_ROOM);
  }
  if (!hasInodes(folder, space, FEWEST_INODES + (begun ? 0 : 1), failure)) return false;
  // The system kills a process that writes beyond its limit.
  rlimit limit{};
  const std::uint64_t largest = std::max(package.size, package.unpacked);
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur >= largest) return true;
  return failure.setSystem("prepare", folder, EFBIG);
}

}  // namespace VESK::update
