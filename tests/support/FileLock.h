// Bytes of a file, locked as another process would: locks belong to the opened file.
#ifndef VESK_TESTS_SUPPORT_FILE_LOCK_H
#define VESK_TESTS_SUPPORT_FILE_LOCK_H

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>
#include <stdexcept>
#include <string>

class FileLock {
 public:
  FileLock() = default;
  ~FileLock() { giveBack(); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  void take(const std::string& path, std::initializer_list<int> places) {
    giveBack();
    descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (const int place : places) {
      struct flock range {};
      range.l_type = F_WRLCK;
      range.l_whence = SEEK_SET;
      range.l_start = place;
      range.l_len = 1;
      if (fcntl(descriptor, F_OFD_SETLK, &range) != 0) throw std::runtime_error("not locked");
    }
  }
  void write(const std::string& holder) {
    const std::string line = holder + "\n";
    if (pwrite(descriptor, line.data(), line.size(), 0) < 0) throw std::runtime_error("disk");
  }
  void giveBack() {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
  }

 private:
  int descriptor = -1;
};

#endif
