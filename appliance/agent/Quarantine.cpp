#include "Quarantine.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "Text.h"

namespace agent {
namespace {

constexpr std::array areas{"quarantine", "archive", "postponed"};
constexpr std::size_t longestName = 240;

Descriptor openFolder(const std::string& path) {
  if (path.empty()) return Descriptor();
  Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) throw std::system_error(errno, std::generic_category(), path);
  return folder;
}

// Hidden names are out as well, and with them "." and "..".
bool plainName(const std::string& name) {
  return !name.empty() && name.size() <= longestName && name[0] != '.' &&
         std::none_of(name.begin(), name.end(),
                      [](unsigned char letter) { return letter < 0x20 || letter == '/'; });
}

bool regular(const Descriptor& file) {
  struct stat about {};
  return file && fstat(file.get(), &about) == 0 && S_ISREG(about.st_mode);
}

bool writeAll(int file, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(file, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool copy(int from, int to) {
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t size = read(from, block.data(), block.size());
    if (size == 0) return true;
    if (size < 0 && errno != EINTR) return false;
    if (size > 0 && !writeAll(to, block.data(), static_cast<std::size_t>(size))) return false;
  }
}

// Under a temporary name first, so that nobody reads half a message.
bool place(int folder, const std::string& name, int message) {
  static std::atomic<unsigned> count{0};
  const std::string temporary =
      ".vesk-" + std::to_string(getpid()) + '-' + std::to_string(count.fetch_add(1));
  unlinkat(folder, temporary.c_str(), 0);  // of an agent that was killed, with our number
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const Descriptor file(openat(folder, temporary.c_str(), flags, 0640));
  const bool placed = file && fchmod(file.get(), 0640) == 0 && copy(message, file.get()) &&
                      fsync(file.get()) == 0 &&
                      renameat(folder, temporary.c_str(), folder, name.c_str()) == 0;
  if (placed) return fsync(folder) == 0;
  std::cerr << "vesk-agent: " + oneLine(name) + " was not exported: " + std::strerror(errno) + '\n';
  if (file) unlinkat(folder, temporary.c_str(), 0);
  return false;
}

}  // namespace

Quarantine::Quarantine(const std::string& spoolPath, const std::string& exportFolder)
    : spool(openFolder(spoolPath)), folder(openFolder(exportFolder)) {
  if (!folder) return;
  folderPath = std::filesystem::canonical(exportFolder).string() + '/';
  givenPath = (std::filesystem::absolute(exportFolder).lexically_normal() / "").string();
}

Descriptor Quarantine::open(Area area, const std::string& reference) const {
  if (!spool || !plainName(reference)) return Descriptor();
  const Descriptor place(openat(spool.get(), areas[static_cast<std::size_t>(area)],
                                O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Not blocking: a pipe of that name would keep us waiting for a writer.
  Descriptor file(openat(place.get(), (reference + ".eml").c_str(),
                         O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return regular(file) ? std::move(file) : Descriptor();
}

// Leaves in `name` the path below the export folder.
bool Quarantine::inFolder(const std::string& target, std::string& name) const {
  name = target;
  if (!target.starts_with('/')) return plainName(target);
  for (const std::string* base : {&folderPath, &givenPath}) {
    if (target.starts_with(*base)) {
      name = target.substr(base->size());
      return true;
    }
  }
  return false;
}

bool Quarantine::exportTo(const std::string& target, Descriptor message) const {
  std::string name;
  if (!folder || !inFolder(target, name)) return false;
  Descriptor at(dup(folder.get()));
  for (auto slash = name.find('/'); slash != std::string::npos; slash = name.find('/')) {
    const std::string step = name.substr(0, slash);
    if (!plainName(step)) return false;
    at =
        Descriptor(openat(at.get(), step.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!at) return false;
    name.erase(0, slash + 1);
  }
  return plainName(name) && place(at.get(), name, message.get());
}

}  // namespace agent
