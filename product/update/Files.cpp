#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "shared/Folder.h"

namespace VESK::update {

namespace {

bool syncPath(const std::string& path, int flags, Failure& failure) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | flags));
  if (file && ::fsync(file.get()) == 0) return true;
  return failure.setSystem("sync", path, errno);
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string draftOf(const std::string& path) { return path + ".new"; }

bool placeDraft(const std::string& path, Failure& failure) {
  // What cannot be put in place now is kept: the room for it may be the last.
  if (::rename(draftOf(path).c_str(), path.c_str()) == 0) return true;
  return failure.setSystem("switch", path, errno);
}

bool holds(const std::string& path, std::string_view content) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && readFile(path, content.size() + 1) == content;
}

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
  if (file && ::fchmod(file.get(), mode) != 0) return Descriptor();
  return file;
}

bool draftFile(const std::string& path, std::string_view content, Failure& failure) {
  const std::string draft = draftOf(path);
  ::unlink(draft.c_str());
  const Descriptor file = createFile(draft, FILE_MODE);
  if (file && writeAll(file.get(), content.data(), content.size()) && ::fsync(file.get()) == 0) {
    return true;
  }
  const int error = errno;
  ::unlink(draft.c_str());
  return failure.setSystem("write", path, error);
}

bool draftLink(const std::string& path, const std::string& target, Failure& failure) {
  const std::string draft = draftOf(path);
  ::unlink(draft.c_str());
  if (target.empty() || ::symlink(target.c_str(), draft.c_str()) == 0) return true;
  return failure.setSystem("write", path, errno);
}

bool replaceFile(const std::string& path, std::string_view content, Failure& failure) {
  return draftFile(path, content, failure) && placeDraft(path, failure) &&
         syncFolder(folderOf(path), failure);
}

std::string readFile(const std::string& path, std::size_t limit) {
  errno = 0;
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::string content(limit, '\0');
  const ssize_t count = file ? ::read(file.get(), content.data(), limit) : 0;
  content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return content;
}

bool placeFile(const std::string& path, std::string_view content, Failure& failure) {
  if (holds(path, content)) return true;
  if (!holds(draftOf(path), content) && !draftFile(path, content, failure)) return false;
  return placeDraft(path, failure);
}

bool placeLink(const std::string& path, const std::string& target, Failure& failure) {
  if (target.empty()) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    return failure.setSystem("switch", path, errno);
  }
  if (readLink(path) == target) return true;
  if (readLink(draftOf(path)) != target && !draftLink(path, target, failure)) return false;
  return placeDraft(path, failure);
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
  bool synced = true;
  const int error = forEachIn(path, [&](const char* name, int type) {
    const std::string entry = path + "/" + name;
    synced = synced && (type == DT_DIR ? syncTree(entry, failure) : syncPath(entry, 0, failure));
  });
  if (!synced) return false;
  return error != 0 ? failure.setSystem("sync", path, error) : syncFolder(path, failure);
}

void removeTree(const std::string& path) {
  // What is left is removed by the next call. A link is removed, not what it leads to.
  if (::unlink(path.c_str()) == 0 || errno != EISDIR) return;
  forEachIn(path, [&](const char* name, int) { removeTree(path + "/" + name); });
  ::rmdir(path.c_str());
}

}  // namespace VESK::update
