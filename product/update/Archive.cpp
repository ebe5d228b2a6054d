#include "Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include "Digest.h"
#include "Files.h"

namespace VESK::update {

namespace {

constexpr const char* SUMS = "SHA256SUMS";
constexpr std::size_t LARGEST_SUMS = 4 << 20;
constexpr std::size_t MOST_FILES = 20000;
constexpr std::size_t LONGEST_NAME = 1024;
constexpr std::size_t BLOCK = 256 * 1024;

struct FreeArchive {
  void operator()(archive* reader) const { archive_read_free(reader); }
};

using Sums = std::map<std::string, std::string>;  // by name

// Relative, printable, and no part that is empty, "." or ".." or too long for a file system.
bool isInside(std::string_view name) {
  const auto printable = [](char c) { return c >= ' ' && c <= '~' && c != '\\'; };
  if (name.empty() || name.size() > LONGEST_NAME) return false;
  if (!std::all_of(name.begin(), name.end(), printable)) return false;
  while (true) {
    const std::string_view part = name.substr(0, name.find('/'));
    if (part.empty() || part == "." || part == ".." || part.size() > 255) return false;
    if (part.size() == name.size()) return true;
    name.remove_prefix(part.size() + 1);
  }
}

// "./a/" as tar writes it is "a"; the package's own folder is "".
std::string withoutDots(std::string_view name) {
  if (name == "." || name == "./") return "";
  if (name.starts_with("./")) name.remove_prefix(2);
  if (name.ends_with('/')) name.remove_suffix(1);
  return std::string(name);
}

class Unpacking {
 public:
  Unpacking(const std::string& target, std::uint64_t limit, Failure& report)
      : folder(target), room(limit), failure(report), block(BLOCK) {}

  bool open(const std::string& path) {
    file = Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return failure.setSystem("unpack", path, errno);
    reader.reset(archive_read_new());
    // libarchive does not look again whether there is a reader, and formats.
    const bool isReady = reader && archive_read_support_filter_gzip(reader.get()) == ARCHIVE_OK &&
                         archive_read_support_filter_xz(reader.get()) == ARCHIVE_OK &&
                         archive_read_support_filter_zstd(reader.get()) == ARCHIVE_OK &&
                         archive_read_support_format_tar(reader.get()) == ARCHIVE_OK;
    if (!isReady) return failure.set("unpack", "out of memory", path, "watch the console's memory");
    return archive_read_open_fd(reader.get(), file.get(), BLOCK) == ARCHIVE_OK || broken();
  }

  bool takeAll() {
    archive_entry* entry = nullptr;
    int code = ARCHIVE_OK;
    while ((code = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
      if (!take(entry)) return false;
    }
    return code == ARCHIVE_EOF || broken();
  }

  // Names and sums of the package's own list are exactly those of what came.
  bool compare() {
    Sums told;
    std::istringstream lines(readFile(folder + "/" + SUMS, LARGEST_SUMS));
    for (std::string line; std::getline(lines, line);) {
      if (line.size() > 66) told[line.substr(66)] = line.substr(0, 64);
    }
    found.erase(SUMS);
    const auto differ = std::mismatch(found.begin(), found.end(), told.begin(), told.end());
    if (!told.empty() && differ.first == found.end() && differ.second == told.end()) return true;
    const auto& odd = differ.first != found.end() ? differ.first : differ.second;
    return refuse("files and SHA256SUMS differ", odd == told.end() ? SUMS : odd->first);
  }

 private:
  bool refuse(const char* reason, const std::string& name) {
    return failure.set("unpack", reason, name, "the publisher must make the package again");
  }
  bool broken() {
    const char* words = archive_error_string(reader.get());
    return refuse("no whole package", words != nullptr ? words : "");
  }

  bool take(archive_entry* entry) {
    const char* given = archive_entry_pathname(entry);
    const std::string name = withoutDots(given != nullptr ? given : "?/");
    const auto type = archive_entry_filetype(entry);
    if (name.empty() && type == AE_IFDIR) return true;
    if (!isInside(name)) return refuse("a name that leaves the folder, or is no plain text", name);
    if (archive_entry_hardlink(entry) != nullptr || (type != AE_IFREG && type != AE_IFDIR)) {
      return refuse("neither a file nor a folder", name);
    }
    if (!makeFolders(type == AE_IFDIR ? name + "/" : name)) return false;
    return type == AE_IFDIR || takeFile(entry, name);
  }

  // The folders in front of the name's last slash. No link is ever made, so none leads outside.
  bool makeFolders(const std::string& name) {
    for (std::size_t end = name.find('/'); end != std::string::npos;
         end = name.find('/', end + 1)) {
      const std::string path = folder + "/" + name.substr(0, end);
      if (!makeFolder(path)) return failure.setSystem("unpack", path, errno);
    }
    return true;
  }

  bool takeFile(archive_entry* entry, const std::string& name) {
    if (found.size() == MOST_FILES) return refuse("too many files", name);
    const std::string path = folder + "/" + name;
    const bool program = (archive_entry_perm(entry) & 0111) != 0;
    const Descriptor target = createFile(path, program ? PROGRAM_MODE : FILE_MODE);
    if (!target) return failure.setSystem("unpack", path, errno);
    if (!copy(target.get(), path)) return false;
    // The disk works while the next file comes; syncTree says whether it came to anything.
    ::sync_file_range(target.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    found[name] = sum.finish();
    return true;
  }

  bool copy(int target, const std::string& path) {
    while (true) {
      const la_ssize_t count = archive_read_data(reader.get(), block.data(), block.size());
      if (count == 0) return true;
      if (count < 0) return broken();
      const auto size = static_cast<std::size_t>(count);
      if (size > room) return refuse("more bytes than the manifest tells", path);
      room -= size;
      sum.add(block.data(), size);
      if (!writeAll(target, block.data(), size)) return failure.setSystem("unpack", path, errno);
    }
  }

  const std::string& folder;
  std::uint64_t room;
  Failure& failure;
  std::vector<char> block;
  Descriptor file;
  std::unique_ptr<archive, FreeArchive> reader;
  Sha256 sum;
  Sums found;
};

}  // namespace

bool unpack(const std::string& path, const std::string& folder, std::uint64_t limit,
            Failure& failure) {
  Unpacking package(folder, limit, failure);
  return package.open(path) && package.takeAll() && package.compare() && syncTree(folder, failure);
}

}  // namespace VESK::update
