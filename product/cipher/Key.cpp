#include "Key.h"

#include <fcntl.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "product/log.h"
#include "shared/Descriptor.h"

namespace VESK::cipher {

namespace {

constexpr mode_t KEY_MODE = 0600;

std::string configFolder() {
  const char* home = std::getenv("VESK_HOME");
  return std::string(home != nullptr && *home != '\0' ? home : "/opt/brelvik/vesk") + "/config";
}

bool refuseFile(const char* step, const std::string& file, int error) {
  return refuse(step, file + ": " + std::generic_category().message(error),
                "check the folder, its rights and the free space");
}

bool loadKey(int file, const std::string& name, Key& key) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return refuseFile("read key", name, errno);
  if (!S_ISREG(status.st_mode) || status.st_size != static_cast<off_t>(key.bytes.size())) {
    return refuse("read key", name + " is no key of 32 bytes", "bring it back from a backup");
  }
  if ((status.st_mode & 077) != 0) {
    return refuse("read key", name + " is open to other accounts", "set its mode to 0600");
  }
  const ssize_t count = ::read(file, key.bytes.data(), key.bytes.size());
  return count == static_cast<ssize_t>(key.bytes.size()) || refuseFile("read key", name, errno);
}

// Whatever the umask is, the key is whole and on the disk before it gets its name.
bool fillKeyFile(int file, const Key& key) {
  return ::fchmod(file, KEY_MODE) == 0 &&
         ::write(file, key.bytes.data(), key.bytes.size()) ==
             static_cast<ssize_t>(key.bytes.size()) &&
         ::fsync(file) == 0;
}

// A link, unlike a rename, never takes the name from a key that another process has just made.
bool makeKey(const std::string& folder, const std::string& name) {
  Key key;
  if (RAND_priv_bytes(key.bytes.data(), static_cast<int>(key.bytes.size())) != 1) {
    return refuse("make key", "no random numbers", "check the system's random number source");
  }
  std::string draft = folder + "/.cipher.key.XXXXXX";
  const Descriptor file(::mkostemp(draft.data(), O_CLOEXEC));
  if (!file) return refuseFile("make key", name, errno);
  const bool linked = fillKeyFile(file.get(), key) && ::link(draft.c_str(), name.c_str()) == 0;
  const int error = errno;
  ::unlink(draft.c_str());
  if (!linked && error != EEXIST) return refuseFile("make key", name, error);
  const Descriptor parent(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return ::fsync(parent.get()) == 0 || refuseFile("make key", folder, errno);
}

}  // namespace

bool refuse(const char* step, const std::string& reason, const char* hint) {
  Log::LogByLevel(LOG_NORMAL, "cipher: %s failed: %s; hint: %s", step, reason.c_str(), hint);
  return false;
}

bool readKey(Key& key, Missing missing) {
  const std::string folder = configFolder();
  const std::string name = folder + "/cipher.key";
  const auto open = [&name] { return ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); };
  const Descriptor present(open());
  if (present) return loadKey(present.get(), name, key);
  if (errno != ENOENT || missing == Missing::isFailure) return refuseFile("read key", name, errno);
  if (!makeKey(folder, name)) return false;
  const Descriptor made(open());
  return made ? loadKey(made.get(), name, key) : refuseFile("read key", name, errno);
}

}  // namespace VESK::cipher
