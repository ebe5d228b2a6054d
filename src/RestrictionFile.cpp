#include "RestrictionFile.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "RestrictionRules.h"
#include "product/log.h"

namespace {

using VESK::Log;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

constexpr std::size_t BLOCK_SIZE = 256 * 1024;

bool fail(const char* step, const char* path) {
  const int error = errno;
  Log::LogByLevel(1, "client restrictions: cannot %s %s: %s", step, path, std::strerror(error));
  return false;
}

bool sameFile(std::FILE* one, std::FILE* other) {
  struct stat first {};
  struct stat second {};
  return fstat(fileno(one), &first) == 0 && fstat(fileno(other), &second) == 0 &&
         S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// By now another call may have put its own table there.
bool isAt(const char* path, std::FILE* file) {
  struct stat named {};
  struct stat opened {};
  return lstat(path, &named) == 0 && fstat(fileno(file), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

bool writeRules(std::FILE* in, const char* input, std::FILE* out, const char* output) {
  char line[RULE_LINE_SIZE];
  while (ferror_unlocked(out) == 0 && fgets_unlocked(line, sizeof line, in) != nullptr) {
    writeRule(line, out);
  }
  if (ferror_unlocked(in) != 0) return fail("read", input);
  return (std::fflush(out) == 0 && ferror_unlocked(out) == 0) || fail("write", output);
}

// A table that is cut off would look whole to Postfix. `out` is null when it is closed already.
void dropTable(const File& out, const char* path) {
  int emptied = 0;
  if (out == nullptr) {
    emptied = truncate(path, 0);
  } else {
    __fpurge(out.get());
    emptied = ftruncate(fileno(out.get()), 0);
  }
  if (emptied != 0) fail("empty", path);
}

File streamOf(int descriptor) {
  if (descriptor < 0) return {};
  File file(fdopen(descriptor, "w"));
  if (!file) close(descriptor);
  return file;
}

// Not emptied yet. `made` tells whether it was not there before.
File openForWriting(const char* path, bool& made) {
  constexpr int flags = O_WRONLY | O_CREAT | O_CLOEXEC;
  const int descriptor = open(path, flags | O_EXCL, 0666);
  made = descriptor >= 0;
  return streamOf(made ? descriptor : open(path, flags, 0666));
}

// A new file beside the table, which takes its place when it is whole. There is none for what is no
// plain file of one name, nor where the folder takes no file or not with the table's owner and
// mode: the table itself is then written to.
class Draft {
 public:
  Draft(const char* tablePath, std::FILE* table) : path(tablePath) {
    struct stat status {};
    if (!isAt(path, table) || fstat(fileno(table), &status) != 0) return;
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1) return;
    std::snprintf(name, sizeof name, "%s.XXXXXX", path);
    const int descriptor = mkostemp(name, O_CLOEXEC);
    if (descriptor < 0) {
      name[0] = '\0';
      return;
    }
    stream = streamOf(descriptor);
    if (!stream || !takeAfter(status)) drop();
  }
  ~Draft() { drop(); }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  explicit operator bool() const { return stream != nullptr; }
  std::FILE* get() const { return stream.get(); }

  bool place() {
    // Else a power cut may leave the new name and none of the content.
    if (fdatasync(fileno(stream.get())) != 0) return fail("write", path);
    if (std::fclose(stream.release()) != 0) return fail("write", path);
    if (std::rename(name, path) != 0) return fail("replace", path);
    name[0] = '\0';
    return true;
  }

 private:
  bool takeAfter(const struct stat& table) {
    struct stat own {};
    const int descriptor = fileno(stream.get());
    if (fstat(descriptor, &own) != 0) return false;
    const bool sameOwner = own.st_uid == table.st_uid && own.st_gid == table.st_gid;
    return (sameOwner || fchown(descriptor, table.st_uid, table.st_gid) == 0) &&
           fchmod(descriptor, table.st_mode & 07777) == 0;
  }
  void drop() {
    stream.reset();
    if (name[0] != '\0') unlink(name);
    name[0] = '\0';
  }

  const char* path;
  char name[PATH_MAX + sizeof ".XXXXXX"] = {};  // no heap, which may be at its end
  File stream;
};

// Into the table itself, which is emptied when it does not become whole.
bool writeInPlace(std::FILE* in, const char* input, File& out, const char* output) {
  if (ftruncate(fileno(out.get()), 0) != 0 && errno != EINVAL) return fail("empty", output);
  if (writeRules(in, input, out.get(), output)) {
    if (std::fclose(out.release()) == 0) return true;
    fail("write", output);
  }
  dropTable(out, output);
  return false;
}

}  // namespace

bool writeRestrictionFile(const char* input, const char* output) {
  const auto buffers = std::make_unique<char[]>(2 * BLOCK_SIZE);  // outlive the files
  File in(std::fopen(input, "re"));
  if (!in) return fail("open", input);
  bool made = false;
  File out = openForWriting(output, made);
  if (!out) {
    static_cast<void>(in.release());  // stays open until the process ends, on purpose
    return fail("open", output);
  }
  if (sameFile(in.get(), out.get())) {
    Log::LogByLevel(1, "client restrictions: %s cannot be both rules and table", input);
    return false;
  }
  std::setvbuf(in.get(), buffers.get(), _IOFBF, BLOCK_SIZE);
  Draft draft(output, out.get());
  std::setvbuf(draft ? draft.get() : out.get(), buffers.get() + BLOCK_SIZE, _IOFBF, BLOCK_SIZE);
  if (!draft) return writeInPlace(in.get(), input, out, output);
  if (writeRules(in.get(), input, draft.get(), output) && draft.place()) return true;
  if (made && isAt(output, out.get())) unlink(output);
  return false;
}
