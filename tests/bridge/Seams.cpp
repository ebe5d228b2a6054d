#include "Seams.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "doubles/Product.h"

Seams seams;

namespace {
const void* lastBlock = nullptr;
}

extern "C" {

std::FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(std::FILE* stream);
int __real_system(const char* command);
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);
std::time_t __real_time(std::time_t* out);

std::FILE* __wrap_popen(const char* command, const char* mode) {
  ask("popen %s %s", mode, command);
  if (seams.popenFails) return nullptr;
  if (seams.realShell) return __real_popen(command, mode);
  return fmemopen(seams.output.data(), seams.output.size(), "r");
}

int __wrap_pclose(std::FILE* stream) {
  ask("pclose");
  return seams.realShell ? __real_pclose(stream) : std::fclose(stream);
}

int __wrap_system(const char* command) {
  ask("system %s", command);
  return seams.realShell ? __real_system(command) : seams.status;
}

void* __wrap_malloc(std::size_t size) {
  if (seams.mallocFails) return nullptr;
  void* block = __real_malloc(size);
  std::memset(block, 0, size);  // what is read before it is written looks the same in every run
  lastBlock = block;
  seams.heapBlock = size;
  return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (seams.mallocFails) return nullptr;
  void* block = __real_calloc(count, size);
  lastBlock = block;
  seams.heapBlock = count * size;
  return block;
}

void __wrap_free(void* block) {
  if (block == lastBlock) seams.heapBlock = 0;
  __real_free(block);
}

char* __wrap_setlocale(int category, const char* locale) {
  ask("setlocale %d '%s'", category, locale);
  return const_cast<char*>(seams.locale);
}

std::time_t __wrap_time(std::time_t* out) {
  if (seams.now == 0) return __real_time(out);
  ask("time");
  return seams.now;
}

}  // extern "C"

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (seams.nothrowNewFails) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
