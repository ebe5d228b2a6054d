#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace VESK::update {

namespace {

bool syncPath(const std::string& path, int flags, Failure& failure) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | flags));
  if (file.isOpen() && ::fsync(file.get()) == 0) return true;
  return failure.setSystem("sync", path, errno);
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

bool makeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), FOLDER_MODE) == 0) return ::chmod(path.c_str(), FOLDER_MODE) == 0;
  const int error = errno;
  struct stat status {};
  if (error == EEXIST && ::stat(path.c_str(), &status) == 0) {
    errno = ENOTDIR;
    return S_ISDIR(status.st_mode);
  }
  errno = error;
  return false;
}

bool writeAll(int file, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::write(file, data, size);
    if (count < 0 && errno != EINTR) return false;
    if (count <= 0) continue;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

Descriptor createFile(const std::string& path, mode_t mode) {
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
  if (file.isOpen() && ::fchmod(file.get(), mode) != 0) return Descriptor();
  return file;
}

bool replaceFile(const std::string& path, std::string_view content, Failure& failure) {
  const std::string draft = path + ".new";
  ::unlink(draft.c_str());
  const Descriptor file = createFile(draft, FILE_MODE);
  if (file.isOpen() && writeAll(file.get(), content.data(), content.size()) &&
      ::fsync(file.get()) == 0 && ::rename(draft.c_str(), path.c_str()) == 0) {
    return syncFolder(folderOf(path), failure);
  }
  const int error = errno;
  ::unlink(draft.c_str());
  return failure.setSystem("write", path, error);
}

std::string readFile(const std::string& path, std::size_t limit) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::string content(limit, '\0');
  const ssize_t count = file.isOpen() ? ::read(file.get(), content.data(), limit) : 0;
  content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return content;
}

bool replaceLink(const std::string& path, const std::string& target, Failure& failure) {
  if (target.empty()) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    return failure.setSystem("switch", path, errno);
  }
  const std::string draft = path + ".new";
  ::unlink(draft.c_str());
  if (::symlink(target.c_str(), draft.c_str()) == 0 && ::rename(draft.c_str(), path.c_str()) == 0) {
    return true;
  }
  return failure.setSystem("switch", path, errno);
}

std::string readLink(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
  return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : std::string();
}

bool syncFolder(const std::string& path, Failure& failure) {
  return syncPath(path, O_DIRECTORY, failure);
}

bool syncTree(const std::string& path, Failure& failure) {
  std::error_code error;
  std::filesystem::recursive_directory_iterator entry(path, error);
  for (; !error && entry != std::filesystem::recursive_directory_iterator();
       entry.increment(error)) {
    if (!syncPath(entry->path().native(), 0, failure)) return false;
  }
  return error ? failure.setSystem("sync", path, error.value()) : syncFolder(path, failure);
}

void removeTree(const std::string& path) {
  std::error_code ignored;  // what is left is removed by the next call
  std::filesystem::remove_all(path, ignored);
}

}  // namespace VESK::update
