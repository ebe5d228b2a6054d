#include "mailfloor.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static void require(int done, const char* what) {
  if (done) return;
  perror(what);
  exit(1);
}

void floor_write(const char* path, const char* bytes, size_t length) {
  const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
  require(file >= 0, path);
  require(write(file, bytes, length) == (ssize_t)length, path);
  require(fsync(file) == 0, path);
  close(file);
}

void floor_sync_folder(const char* folder) {
  const int opened = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  require(opened >= 0 && fsync(opened) == 0, folder);
  close(opened);
}
