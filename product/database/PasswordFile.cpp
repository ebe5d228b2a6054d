#include "PasswordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "shared/Descriptor.h"

namespace VESK::database {

namespace {

constexpr std::size_t LONGEST_PASSWORD = 256;

const char* faultOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return "it is no regular file";
  if ((status.st_mode & 077) != 0) return "others may open it: give it mode 0600";
  // Whoever owns it could change it, and the account with it.
  if (status.st_uid != ::geteuid() && status.st_uid != 0) return "it belongs to another account";
  return nullptr;
}

bool readStart(int file, std::string& text) {
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = ::read(file, text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.resize(length);
  return true;
}

}  // namespace

const char* readPassword(const std::string& path, Secret<std::string>& password) {
  // Not to wait for the other end of a pipe.
  const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  if (!file) return errno == ENOENT ? "it is missing" : "it cannot be opened";
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return "it cannot be read";
  if (const char* fault = faultOf(status)) return fault;
  password.text.resize(LONGEST_PASSWORD + 2);
  if (!readStart(file.get(), password.text)) return "it cannot be read";
  password.text.resize(std::min(password.text.find_first_of("\r\n"), password.text.size()));
  if (password.text.empty()) return "its first line is empty";
  if (password.text.size() > LONGEST_PASSWORD) return "its first line has over 256 bytes";
  if (password.text.find('\0') != std::string::npos) return "it holds a zero byte";
  return nullptr;
}

}  // namespace VESK::database
