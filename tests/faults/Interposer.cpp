#include "Interposer.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>

#include "Held.h"
#include "Watch.h"

namespace faults {
namespace {

struct State {
  bool armed = false;
  bool onwards = false;
  bool hit = false;
  int paused = 0;
  Kind kind{};
  long target = 0;
  long seen = 0;
  void* site = nullptr;
  unsigned failedIn = 0;  // forgetful libraries, a bit each
};
// Found without an allocation, since the program itself owns it.
thread_local State state;

std::set<std::uint64_t> knownPaths;
std::vector<long> firstCalls;

template <std::size_t size>
int framesOf(void* (&frames)[size]) {
  const Paused itself;
  return backtrace(frames, size);
}

constexpr const char* names[kindCount] = {"malloc", "open", "write",   "fsync",
                                          "rename", "fork", "connect", "recv"};
constexpr int errors[kindCount] = {ENOMEM, EMFILE, ENOSPC,       EIO,
                                   ENOSPC, EAGAIN, ECONNREFUSED, ECONNRESET};

const char* libraryOf(void* address) {
  dl_find_object found;
  if (_dl_find_object(address, &found) != 0 || found.dlfo_link_map == nullptr) return "";
  const char* path = found.dlfo_link_map->l_name;
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

bool isOf(const char* name, const char* library) {
  return std::strncmp(library, name, std::strlen(name)) == 0;
}

struct Function {
  const char* begin;
  const char* end;
};

Function functionOf(const char* name) {
  Dl_info info{};
  void* symbol = nullptr;
  void* address = dlsym(RTLD_DEFAULT, name);
  if (address == nullptr || dladdr1(address, &info, &symbol, RTLD_DL_SYMENT) == 0) return {};
  const char* begin = static_cast<const char*>(address);
  return {begin, begin + static_cast<const ElfW(Sym)*>(symbol)->st_size};
}

// Those of the exemptions that are for one function.
const std::vector<Function>& exemptFunctions() {
  static const std::vector<Function> all = [] {
    std::vector<Function> found;
    for (const Exempt& exempt : exemptions()) {
      if (exempt.function != nullptr) found.push_back(functionOf(exempt.function));
    }
    return found;
  }();
  return all;
}

bool isExemptLibrary(const char* library) {
  return std::any_of(exemptions().begin(), exemptions().end(), [=](const Exempt& exempt) {
    return exempt.function == nullptr && isOf(exempt.library, library);
  });
}

bool isExemptFunction(const void* address) {
  const char* at = static_cast<const char*>(address);
  return std::any_of(exemptFunctions().begin(), exemptFunctions().end(),
                     [=](const Function& one) { return at > one.begin && at <= one.end; });
}

bool isOneOf(const std::vector<const char*>& list, const char* library) {
  return std::any_of(list.begin(), list.end(),
                     [=](const char* name) { return isOf(name, library); });
}

// For the account of what is kept: a library is excused by failures of its own only.
void noteFailure(Kind kind, const char* library) {
  for (std::size_t i = 0; i < forgetful().size(); ++i) {
    const Forgetful& one = forgetful()[i];
    if (one.kind == kind && isOneOf(one.libraries, library)) state.failedIn |= 1U << i;
  }
}

// What the C library allocates is for whoever called it, SQLite's for its ODBC driver; libkrb5 is
// named by function.
bool isExempt(void* caller) {
  const char* library = libraryOf(caller);
  const char* const mixed[] = {"libc.so", "libkrb5.so", "libsqlite3.so"};
  const auto isThis = [=](const char* name) { return isOf(name, library); };
  if (std::none_of(std::begin(mixed), std::end(mixed), isThis)) return isExemptLibrary(library);
  void* frames[48];
  const int depth = framesOf(frames);
  for (int i = 0; i < depth; ++i) {
    library = libraryOf(frames[i]);
    if (isOf("libvesk", library)) return false;
    if (isExemptFunction(frames[i]) || isExemptLibrary(library)) return true;
  }
  return false;
}

// By the return addresses; what lies behind the entry point is the same for all.
void notePath() {
  void* frames[64];
  const int depth = framesOf(frames);
  std::uint64_t path = 0;
  for (int i = 0; i < depth; ++i) {
    path = (path ^ reinterpret_cast<std::uintptr_t>(frames[i])) * 0x100000001B3U;
  }
  const Paused itself;
  if (knownPaths.insert(path).second) firstCalls.push_back(state.seen);
}

void trace() {
  static const bool wanted = std::getenv("VESK_FAULTS_TRACE") != nullptr;
  if (!wanted) return;
  void* frames[40];
  backtrace_symbols_fd(frames, backtrace(frames, 40), STDERR_FILENO);
}

}  // namespace

bool isWatched() { return state.armed && state.paused == 0; }

bool fails(Kind kind, void* caller) {
  if (!isWatched() || state.kind != kind) return false;
  if (kind == Kind::memory && isExempt(caller)) return false;
  ++state.seen;
  if (state.target == 0 && state.onwards) notePath();
  if (state.target == 0 || state.seen < state.target) return false;
  if (state.seen > state.target && !state.onwards) return false;
  if (!state.hit) {
    state.site = caller;
    const Paused itself;
    trace();
  }
  state.hit = true;
  noteFailure(kind, libraryOf(caller));
  errno = errors[static_cast<int>(kind)];
  return true;
}

void* taken(void* block, void* caller) {
  if (block != nullptr && isWatched()) held::add(block, caller);
  return block;
}

void disarm() { state.armed = false; }

const char* nameOf(Kind kind) { return names[static_cast<int>(kind)]; }

const std::vector<Exempt>& exemptions() {
  static const std::vector<Exempt> all = {
      {"libglib-2.0", "ends the process by design when memory ends"},
      {"libgobject-2.0", "stands on GLib's allocator"},
      {"libgmime-3.0", "stands on GLib's allocator"},
      {"libldap", "goes on without its own error list and ends the process by an assertion"},
      {"liblber", "ends the process by an assertion, or loses the connection's state"},
      {"libgnutls", "goes on with what is not there"},
      {"libtasn1", "writes through the null pointer, or loses what it has"},
      {"libodbc.so", "writes through the null pointer"},
      {"libsqlite3odbc", "forgets what it opened"},
      {"libltdl", "reads the text of an error that found no memory"},
      {"libkrb5.so", "reads through the null pointer", "profile_get_values"},
      {"libkrb5.so", "reads through the null pointer", "profile_iterator_create"},
      {"libkrb5.so", "forgets keys and what it was sent", "krb5_init_creds_init"},
      {"libkrb5.so", "forgets keys and what it was sent", "krb5_init_creds_step"},
      {"libkrb5.so", "closes a cache that is not there", "krb5_tkt_creds_init"},
      {"libkrb5.so", "forgets names", "krb5_tkt_creds_step"},
      {"libk5crypto", "forgets keys"},
      {"libkrb5support", "serves the others of MIT Kerberos"},
      {"libgssapi_krb5", "forgets names and credentials"},
      {"spake.so", "reads through the null pointer"},
      {"libsasl2", "forgets its connection"},
      {"libgssapiv2", "forgets credentials"},
      {"libc.so", "forgets a part of the locale", "setlocale"},
      {"libarchive", "goes on without its own buffers"},
      {"libzstd", "leaves libarchive without a decompressor, which goes on"},
      {"libgmp", "ends the process by design when memory ends"},
      {"libjvm", "is the VM"},
      {"ld-linux", "ends the process when a thread's own data finds no memory"},
  };
  return all;
}

const std::vector<Forgetful>& forgetful() {
  static const std::vector<Forgetful> all = {
      {{"libcrypto.so"}, Kind::memory, 2, "forgets names of an algorithm that finds no memory"},
      {{"libkrb5.so", "libgssapi_krb5.so"},
       Kind::open,
       5,
       "forgets names when its cache of replies cannot be opened"},
      {{"libkrb5.so"},
       Kind::memory,
       1,
       "forgets a part of a key table's entry that finds no memory"},
  };
  return all;
}

long forgottenSince(long mark) {
  long all = 0;
  for (std::size_t i = 0; i < forgetful().size(); ++i) {
    const Forgetful& one = forgetful()[i];
    if ((state.failedIn >> i & 1U) == 0) continue;
    const long found = held::countOf(
        mark, [&](void* holder) { return isOneOf(one.libraries, libraryOf(holder)); });
    all += std::min(found, one.blocks);
  }
  return all;
}

Armed::Armed(Kind kind, long n, bool onwards) {
  exemptFunctions();
  forgetful();
  void* frame = nullptr;
  backtrace(&frame, 1);  // loads what it needs
  state = {};
  state.kind = kind;
  state.target = n;
  state.onwards = onwards;
  if (n == 0 && onwards) {
    knownPaths.clear();
    firstCalls.clear();
  }
  state.armed = true;
}
Armed::~Armed() { state.armed = false; }
long Armed::seen() { return state.seen; }
bool Armed::hit() { return state.hit; }
const std::vector<long>& Armed::paths() { return firstCalls; }
std::string Armed::site() { return held::nameOf(state.site); }

Paused::Paused() { ++state.paused; }
Paused::~Paused() { --state.paused; }

long heldBlocks() { return held::count(); }
long allocationMark() { return held::mark(); }
std::string holdersSince(long mark) { return held::since(mark); }

}  // namespace faults
