#include "Answered.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/sha.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <thread>

#include "product/signon.h"
#include "shared/Descriptor.h"

namespace VESK::signon {

namespace {

constexpr int MOST_KEPT = 1000;
// A clock that is set back makes no session young whose file is gone.
constexpr std::int64_t KEPT_LONGER = 3600;
constexpr auto PATIENCE = std::chrono::seconds(2);
constexpr auto BETWEEN_TRIES = std::chrono::milliseconds(2);

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

std::string dataFolder() {
  const char* home = std::getenv("VESK_HOME");
  return std::string(home != nullptr ? home : "/opt/brelvik/vesk") + "/data";
}

std::string folderPath() { return dataFolder() + "/signon"; }

int openFolder() {
  return ::open(folderPath().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void makeFolder() {
  ::mkdir(dataFolder().c_str(), 0750);
  ::mkdir(folderPath().c_str(), 0700);
}

// The lock goes with the descriptor. A holder that does not go on is not waited for.
bool lock(int file) {
  const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
  while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(BETWEEN_TRIES);
  }
  return true;
}

std::string hexHash(const std::string& text) {
  unsigned char hash[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), hash);
  std::string hex;
  for (const unsigned char byte : hash) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

// Removes what is long expired; gives how many are left, -1 when that cannot be told.
int prune(int folder, std::int64_t now) {
  Descriptor duplicate(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, CloseFolder> entries(::fdopendir(duplicate.get()));
  if (!entries) return -1;
  duplicate.release();
  int left = 0;
  while (const dirent* entry = ::readdir(entries.get())) {
    char* rest = nullptr;
    const std::int64_t expiry = std::strtoll(entry->d_name, &rest, 10);
    if (expiry <= 0 || *rest != '.') continue;
    if (expiry + KEPT_LONGER >= now || ::unlinkat(folder, entry->d_name, 0) != 0) ++left;
  }
  return left;
}

}  // namespace

Answered::Answered(const std::string& issuer, const std::string& id, std::int64_t end)
    : expiry(end), name(std::to_string(end) + "." + hexHash(issuer + '\0' + id)) {}

Verdict Answered::look() const {
  struct stat status {};
  if (::lstat((folderPath() + "/" + name).c_str(), &status) == 0) {
    return {SSO_PKI_WRONG_SESSION, "answered already"};
  }
  if (errno == ENOENT) return {};
  return {SSO_PKI_WRONG_SESSION, "data/signon cannot be read"};
}

Verdict Answered::take() const {
  makeFolder();
  const Descriptor folder(openFolder());
  if (!folder) return {SSO_PKI_WRONG_SESSION, "data/signon cannot be opened"};
  const Descriptor guard(
      ::openat(folder.get(), ".lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!guard || !lock(guard.get())) {
    return {SSO_PKI_WRONG_SESSION, "data/signon cannot be locked"};
  }
  return takeLocked(folder.get());
}

Verdict Answered::takeLocked(int folder) const {
  // Looked at under the lock: whoever removes files has seen the same time or an earlier one.
  const std::int64_t now = std::time(nullptr);
  if (now >= expiry) return {SSO_PKI_EXPIRED, "expired"};
  const int kept = prune(folder, now);
  if (kept < 0 || kept >= MOST_KEPT) return {SSO_PKI_WRONG_SESSION, "data/signon is full"};
  const Descriptor file(
      ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) {
    return {SSO_PKI_WRONG_SESSION,
            errno == EEXIST ? "answered already" : "data/signon cannot be written"};
  }
  if (::fsync(file.get()) != 0 || ::fsync(folder) != 0) {
    return {SSO_PKI_WRONG_SESSION, "data/signon cannot be synchronised"};
  }
  return {};
}

}  // namespace VESK::signon
