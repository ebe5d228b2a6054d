#include "LogFiles.h"

#include <fcntl.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

namespace agent {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t headSize = 1024;
constexpr std::size_t blockSize = 1 << 16;
constexpr std::size_t keptUnpacked = 2;
constexpr std::time_t oneDay = 86400;

struct CloseGz {
  void operator()(gzFile file) const { gzclose(file); }
};
using GzFile = std::unique_ptr<gzFile_s, CloseGz>;

GzFile openGz(const Descriptor& file) {
  lseek(file.get(), 0, SEEK_SET);
  return GzFile(gzdopen(fcntl(file.get(), F_DUPFD_CLOEXEC, 0), "rb"));
}

// "" 0; ".3" and ".3.gz" 3; "-20261101.gz" by its digits, the later the newer. Nothing for files
// that do not belong to the log.
struct Age {
  bool dated = false;
  std::string number;  // without leading zeros, so that a longer one is a larger one
  bool operator<(const Age& other) const {
    if (dated != other.dated) return other.dated;
    const auto mine = std::pair(number.size(), number);
    const auto others = std::pair(other.number.size(), other.number);
    return dated ? others < mine : mine < others;
  }
};

std::optional<Age> ageOf(std::string suffix) {
  if (suffix.empty()) return Age{};
  if (suffix.ends_with(".gz")) suffix.resize(suffix.size() - 3);
  Age age{suffix.starts_with('-'), {}};
  if (suffix.size() < 2 || (!age.dated && suffix[0] != '.')) return std::nullopt;
  for (const char c : suffix.substr(1)) {
    if ((c < '0' || c > '9') && !(age.dated && c == '-')) return std::nullopt;
    if (c != '-' && (c != '0' || !age.number.empty())) age.number += c;
  }
  if (age.number.empty()) age.number = "0";
  return age;
}

// While a log is compressed both forms exist, and the compressed one is not whole.
std::map<Age, std::string> names(const std::string& folder, const std::string& base) {
  std::map<Age, std::string> found;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(base)) continue;
    const auto age = ageOf(name.substr(base.size()));
    if (!age) continue;
    std::string& known = found[*age];
    if (known.empty() || known.ends_with(".gz")) known = name;
  }
  return found;
}

std::string packedHead(const Descriptor& file) {
  std::string head(headSize, '\0');
  const GzFile gz = openGz(file);
  const int size = gz ? gzread(gz.get(), head.data(), headSize) : 0;
  head.resize(static_cast<std::size_t>(std::max(size, 0)));
  return head;
}

// Where the last whole line ends: what is being written is no event yet.
std::uint64_t wholeLines(const LogText& text) {
  std::array<char, blockSize> block;
  std::uint64_t end = text.size();
  while (end > 0) {
    const std::uint64_t begin = end - std::min<std::uint64_t>(end, block.size());
    const std::size_t size = text.read(begin, block.data(), static_cast<std::size_t>(end - begin));
    const void* newline = memrchr(block.data(), '\n', size);
    if (newline != nullptr) {
      return begin + static_cast<std::uint64_t>(static_cast<const char*>(newline) - block.data()) +
             1;
    }
    end = begin;
  }
  return 0;
}

std::optional<LogFile> openLog(const std::string& path, bool newest) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  LogFile log;
  if (!file || fstat(file.get(), &log.about) != 0 || !S_ISREG(log.about.st_mode)) {
    return std::nullopt;
  }
  log.name = fs::path(path).filename().string();
  log.inode = log.about.st_ino;
  if (log.name.ends_with(".gz")) {
    log.head = packedHead(file);
    log.packed = std::move(file);
    return log;
  }
  const int again = newest ? dup(file.get()) : -1;
  auto size = static_cast<std::uint64_t>(log.about.st_size);
  auto text = std::make_shared<const LogText>(std::move(file), size);
  if (newest) text = std::make_shared<const LogText>(Descriptor(again), wholeLines(*text));
  log.head.resize(headSize);
  log.head.resize(text->read(0, log.head.data(), headSize));
  log.text = std::move(text);
  return log;
}

// A log ends before the next newer one begins, and before it was last written to.
void dateAll(std::vector<LogFile>& logs) {
  std::time_t latest = std::time(nullptr);
  for (LogFile& log : logs) {
    latest = std::min<std::time_t>(latest, log.about.st_mtime);
    log.first = latest;
    const auto date = firstDate(log.head);
    if (!date) continue;
    // A day for clocks that were set and lines that came late.
    log.years = Years(*date, latest + oneDay);
    log.first = log.years.seconds(*date);
    latest = std::min(latest, log.first);
  }
}

bool sameTime(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

// Not in memory, which the folder for temporary files may be.
Descriptor namelessFile() {
  const char* set = std::getenv("TMPDIR");
  std::string path = std::string(set == nullptr ? "/var/tmp" : set) + "/vesk-agent.XXXXXX";
  Descriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category(), path);
  unlink(path.c_str());
  return file;
}

void writeAll(const Descriptor& file, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t done = write(file.get(), data, size);
    if (done <= 0) throw std::system_error(errno, std::generic_category(), "unpacking a log");
    data += done;
    size -= static_cast<std::size_t>(done);
  }
}

// A damaged log is taken as far as it goes.
std::shared_ptr<const LogText> unpacked(const Descriptor& packed) {
  Descriptor file = namelessFile();
  const GzFile gz = openGz(packed);
  std::array<char, blockSize> block;
  std::uint64_t size = 0;
  while (gz) {
    const int length = gzread(gz.get(), block.data(), block.size());
    if (length <= 0) break;
    writeAll(file, block.data(), static_cast<std::size_t>(length));
    size += static_cast<std::uint64_t>(length);
  }
  return std::make_shared<const LogText>(std::move(file), size);
}

}  // namespace

std::size_t LogText::read(std::uint64_t offset, char* into, std::size_t most) const {
  if (offset >= bytes) return 0;
  most = static_cast<std::size_t>(std::min<std::uint64_t>(most, bytes - offset));
  std::size_t done = 0;
  while (done < most) {
    const ssize_t got =
        pread(file.get(), into + done, most - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

LogFiles::LogFiles(const std::string& path) {
  if (path.empty()) return;
  folder = fs::absolute(path).parent_path().string();
  base = fs::path(path).filename().string();
}

std::vector<LogFile> LogFiles::list() const {
  std::vector<LogFile> logs;
  if (base.empty()) return logs;
  // A rotation in between could hide a log: then once more.
  constexpr int attempts = 5;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    struct stat before {
    }, after{};
    logs.clear();
    stat(folder.c_str(), &before);
    for (const auto& [age, name] : names(folder, base)) {
      auto log = openLog(folder + '/' + name, logs.empty());
      if (log) logs.push_back(std::move(*log));
    }
    stat(folder.c_str(), &after);
    if (sameTime(before.st_mtim, after.st_mtim)) break;
  }
  dateAll(logs);
  return logs;
}

void LogFiles::unpack(LogFile& file) const {
  if (file.text) return;
  const std::lock_guard lock(mutex);
  const auto known = std::find_if(recent.begin(), recent.end(), [&](const Unpacked& entry) {
    return entry.device == file.about.st_dev && entry.inode == file.about.st_ino &&
           entry.size == file.about.st_size && sameTime(entry.changed, file.about.st_mtim);
  });
  if (known != recent.end()) {
    recent.splice(recent.begin(), recent, known);
  } else {
    recent.push_front({file.about.st_dev, file.about.st_ino, file.about.st_size, file.about.st_mtim,
                       unpacked(file.packed)});
    if (recent.size() > keptUnpacked) recent.pop_back();
  }
  file.text = recent.front().text;
}

}  // namespace agent
