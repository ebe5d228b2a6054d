// The C library's functions by their own names.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <stdio_ext.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Held.h"
#include "Watch.h"

namespace {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isSocket(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

using faults::fails;
using faults::Kind;

// Each stands for the C library's function of its name.
#define CALLER __builtin_return_address(0)
#define REAL(name) static auto* const real = next<decltype(name)>(#name)

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept {
  if (fails(Kind::memory, CALLER)) return nullptr;
  return faults::taken(__libc_malloc(size), CALLER);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  if (fails(Kind::memory, CALLER)) return nullptr;
  return faults::taken(__libc_calloc(count, size), CALLER);
}
// A block that was there before stays whose it was.
void* realloc(void* block, std::size_t size) noexcept {
  if (size != 0 && fails(Kind::memory, CALLER)) return nullptr;
  const bool known = block == nullptr ? faults::isWatched() : held::remove(block);
  void* moved = __libc_realloc(block, size);
  if (known) held::add(moved != nullptr ? moved : size != 0 ? block : nullptr, CALLER);
  return moved;
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
  if (fails(Kind::memory, CALLER)) return nullptr;
  return faults::taken(__libc_memalign(alignment, size), CALLER);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  if (fails(Kind::memory, CALLER)) return nullptr;
  return faults::taken(__libc_memalign(alignment, size), CALLER);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  if (fails(Kind::memory, CALLER)) return ENOMEM;
  *block = faults::taken(__libc_memalign(alignment, size), CALLER);
  return *block != nullptr ? 0 : ENOMEM;
}
void free(void* block) noexcept {
  held::remove(block);
  __libc_free(block);
}

#define OPENER(name)                                                   \
  int name(const char* path, int flags, ...) {                         \
    if (fails(Kind::open, CALLER)) return -1;                          \
    std::va_list rest;                                                 \
    va_start(rest, flags);                                             \
    const mode_t mode = va_arg(rest, mode_t);                          \
    va_end(rest);                                                      \
    static auto* const real = next<int(const char*, int, ...)>(#name); \
    return real(path, flags, mode);                                    \
  }
#define OPENER_AT(name)                                                     \
  int name(int folder, const char* path, int flags, ...) {                  \
    if (fails(Kind::open, CALLER)) return -1;                               \
    std::va_list rest;                                                      \
    va_start(rest, flags);                                                  \
    const mode_t mode = va_arg(rest, mode_t);                               \
    va_end(rest);                                                           \
    static auto* const real = next<int(int, const char*, int, ...)>(#name); \
    return real(folder, path, flags, mode);                                 \
  }
OPENER(open)
OPENER(open64)
OPENER_AT(openat)
OPENER_AT(openat64)

// What a checked build of a library calls.
int __open_2(const char* path, int flags) {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(__open_2);
  return real(path, flags);
}
int __open64_2(const char* path, int flags) {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(__open64_2);
  return real(path, flags);
}
std::FILE* fopen(const char* path, const char* mode) {
  if (fails(Kind::open, CALLER)) return nullptr;
  REAL(fopen);
  return real(path, mode);
}
std::FILE* fopen64(const char* path, const char* mode) {
  if (fails(Kind::open, CALLER)) return nullptr;
  REAL(fopen64);
  return real(path, mode);
}
DIR* opendir(const char* path) {
  if (fails(Kind::open, CALLER)) return nullptr;
  REAL(opendir);
  return real(path);
}
int mkstemp(char* path) {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(mkstemp);
  return real(path);
}
int mkostemp(char* path, int flags) {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(mkostemp);
  return real(path, flags);
}
int socket(int domain, int type, int protocol) noexcept {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(socket);
  return real(domain, type, protocol);
}
int socketpair(int domain, int type, int protocol, int* pair) noexcept {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(socketpair);
  return real(domain, type, protocol, pair);
}
int pipe(int* pair) noexcept {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(pipe);
  return real(pair);
}
int pipe2(int* pair, int flags) noexcept {
  if (fails(Kind::open, CALLER)) return -1;
  REAL(pipe2);
  return real(pair, flags);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(write);
  return real(descriptor, bytes, size);
}
ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t at) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(pwrite);
  return real(descriptor, bytes, size, at);
}
ssize_t pwrite64(int descriptor, const void* bytes, std::size_t size, off64_t at) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(pwrite64);
  return real(descriptor, bytes, size, at);
}
ssize_t writev(int descriptor, const iovec* parts, int count) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(writev);
  return real(descriptor, parts, count);
}
std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count, std::FILE* stream) {
  if (fails(Kind::write, CALLER)) {
    stream->_flags |= 0x20;  // the stream's own error mark, as a failed write leaves it
    return 0;
  }
  REAL(fwrite);
  return real(bytes, size, count, stream);
}
std::size_t fwrite_unlocked(const void* bytes, std::size_t size, std::size_t count,
                            std::FILE* stream) {
  if (fails(Kind::write, CALLER)) {
    stream->_flags |= 0x20;
    return 0;
  }
  REAL(fwrite_unlocked);
  return real(bytes, size, count, stream);
}
int fflush(std::FILE* stream) {
  if (fails(Kind::write, CALLER)) return EOF;
  REAL(fflush);
  return real(stream);
}
// The stream is gone all the same, but what it still had to write is not written.
int fclose(std::FILE* stream) {
  REAL(fclose);
  if (!__fwriting(stream) || !fails(Kind::write, CALLER)) return real(stream);
  __fpurge(stream);
  real(stream);
  errno = ENOSPC;
  return EOF;
}
int ftruncate(int descriptor, off_t size) noexcept {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(ftruncate);
  return real(descriptor, size);
}
int ftruncate64(int descriptor, off64_t size) noexcept {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(ftruncate64);
  return real(descriptor, size);
}
ssize_t send(int descriptor, const void* bytes, std::size_t size, int flags) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(send);
  return real(descriptor, bytes, size, flags);
}
ssize_t sendto(int descriptor, const void* bytes, std::size_t size, int flags, const sockaddr* to,
               socklen_t length) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(sendto);
  return real(descriptor, bytes, size, flags, to, length);
}
ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  if (fails(Kind::write, CALLER)) return -1;
  REAL(sendmsg);
  return real(descriptor, message, flags);
}

int fsync(int descriptor) {
  if (fails(Kind::sync, CALLER)) return -1;
  REAL(fsync);
  return real(descriptor);
}
int fdatasync(int descriptor) {
  if (fails(Kind::sync, CALLER)) return -1;
  REAL(fdatasync);
  return real(descriptor);
}
int rename(const char* from, const char* to) noexcept {
  if (fails(Kind::rename, CALLER)) return -1;
  REAL(rename);
  return real(from, to);
}
int renameat(int folder, const char* from, int otherFolder, const char* to) noexcept {
  if (fails(Kind::rename, CALLER)) return -1;
  REAL(renameat);
  return real(folder, from, otherFolder, to);
}
int renameat2(int folder, const char* from, int otherFolder, const char* to,
              unsigned flags) noexcept {
  if (fails(Kind::rename, CALLER)) return -1;
  REAL(renameat2);
  return real(folder, from, otherFolder, to, flags);
}
int link(const char* from, const char* to) noexcept {
  if (fails(Kind::rename, CALLER)) return -1;
  REAL(link);
  return real(from, to);
}
int linkat(int folder, const char* from, int otherFolder, const char* to, int flags) noexcept {
  if (fails(Kind::rename, CALLER)) return -1;
  REAL(linkat);
  return real(folder, from, otherFolder, to, flags);
}

// A child is none of this thread.
pid_t fork() noexcept {
  if (fails(Kind::process, CALLER)) return -1;
  REAL(fork);
  const pid_t child = real();
  if (child == 0) faults::disarm();
  return child;
}
int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* words, char* const* environment) {
  if (fails(Kind::process, CALLER)) return EAGAIN;
  REAL(posix_spawn);
  return real(child, path, actions, attributes, words, environment);
}
int posix_spawnp(pid_t* child, const char* name, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const* words,
                 char* const* environment) {
  if (fails(Kind::process, CALLER)) return EAGAIN;
  REAL(posix_spawnp);
  return real(child, name, actions, attributes, words, environment);
}
std::FILE* popen(const char* command, const char* mode) {
  if (fails(Kind::process, CALLER)) return nullptr;
  REAL(popen);
  return real(command, mode);
}
int system(const char* command) {
  if (fails(Kind::process, CALLER)) return -1;
  REAL(system);
  return real(command);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
  if (fails(Kind::process, CALLER)) return EAGAIN;
  REAL(pthread_create);
  return real(thread, attributes, start, argument);
}

int connect(int descriptor, const sockaddr* to, socklen_t length) {
  if (fails(Kind::connect, CALLER)) return -1;
  REAL(connect);
  return real(descriptor, to, length);
}
ssize_t recv(int descriptor, void* bytes, std::size_t size, int flags) {
  if (fails(Kind::receive, CALLER)) return -1;
  REAL(recv);
  return real(descriptor, bytes, size, flags);
}
ssize_t __recv_chk(int descriptor, void* bytes, std::size_t size, std::size_t room, int flags) {
  if (fails(Kind::receive, CALLER)) return -1;
  REAL(__recv_chk);
  return real(descriptor, bytes, size, room, flags);
}
ssize_t recvfrom(int descriptor, void* bytes, std::size_t size, int flags, sockaddr* from,
                 socklen_t* length) {
  if (fails(Kind::receive, CALLER)) return -1;
  REAL(recvfrom);
  return real(descriptor, bytes, size, flags, from, length);
}
ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  if (fails(Kind::receive, CALLER)) return -1;
  REAL(recvmsg);
  return real(descriptor, message, flags);
}
ssize_t read(int descriptor, void* bytes, std::size_t size) {
  if (faults::isWatched() && isSocket(descriptor) && fails(Kind::receive, CALLER)) return -1;
  REAL(read);
  return real(descriptor, bytes, size);
}
ssize_t __read_chk(int descriptor, void* bytes, std::size_t size, std::size_t room) {
  if (faults::isWatched() && isSocket(descriptor) && fails(Kind::receive, CALLER)) return -1;
  REAL(__read_chk);
  return real(descriptor, bytes, size, room);
}

}  // extern "C"
