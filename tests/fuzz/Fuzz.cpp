#include "Fuzz.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "product/log.h"

namespace fuzz {

namespace {

constexpr char guard = '\x5A';

void writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t done = ::write(file, content.data(), content.size());
    FUZZ_EXPECT(done > 0);
    content.remove_prefix(static_cast<std::size_t>(done));
  }
}

std::string contentOf(int file) {
  struct stat status {};
  FUZZ_EXPECT(::fstat(file, &status) == 0);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  FUZZ_EXPECT(::pread(file, bytes.data(), bytes.size(), 0) == status.st_size);
  return bytes;
}

struct Folder {
  Folder() {
    const bool memory = ::access("/dev/shm", W_OK) == 0;
    path = memory ? "/dev/shm" : std::filesystem::temp_directory_path().string();
    path += "/vesk-fuzz.XXXXXX";
    FUZZ_EXPECT(::mkdtemp(path.data()) != nullptr);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

class NoLog final : public VESK::LogMsgBvCLM {
 public:
  void write(int, const char*) override {}
};

}  // namespace

void fail(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
  std::abort();
}

std::uint8_t Input::byte() {
  if (left.empty()) return 0;
  const auto first = static_cast<std::uint8_t>(left.front());
  left.remove_prefix(1);
  return first;
}

std::uint32_t Input::number() {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | byte();
  return value;
}

std::string Input::text() {
  const std::size_t length = std::min(left.find('\0'), left.size());
  std::string taken(left.substr(0, length));
  left.remove_prefix(std::min(length + 1, left.size()));
  return taken;
}

std::string Input::rest() { return std::string(std::exchange(left, {})); }

MemoryFile::MemoryFile(std::string_view content)
    : file(::memfd_create("fuzz", MFD_CLOEXEC)),
      name("/proc/self/fd/" + std::to_string(file.get())) {
  FUZZ_EXPECT(file.get() >= 0 && ::fchmod(file.get(), 0600) == 0);
  writeAll(file.get(), content);
}

std::string MemoryFile::content() const { return contentOf(file.get()); }

const std::string& scratchFolder() {
  static const Folder folder;
  return folder.path;
}

void writeFile(const std::string& path, std::string_view content) {
  const VESK::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  FUZZ_EXPECT(file.get() >= 0);
  writeAll(file.get(), content);
}

std::string readFile(const std::string& path) {
  const VESK::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return contentOf(file.get());
}

GuardedBuffer::GuardedBuffer(std::size_t size) : length(size), bytes(size + 2 * margin, guard) {}

GuardedBuffer::~GuardedBuffer() {
  const auto isGuard = [](char c) { return c == guard; };
  const auto end = bytes.end() - static_cast<std::ptrdiff_t>(margin);
  FUZZ_EXPECT(std::all_of(bytes.begin(), bytes.begin() + margin, isGuard));
  FUZZ_EXPECT(std::all_of(end, bytes.end(), isGuard));
}

std::string_view GuardedBuffer::text() const {
  const char* begin = bytes.data() + margin;
  const void* end = std::memchr(begin, '\0', length);
  FUZZ_EXPECT(end != nullptr);
  return {begin, static_cast<std::size_t>(static_cast<const char*>(end) - begin)};
}

bool isUtf8(std::string_view text, Surrogates surrogates) {
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const int ones = std::countl_one(lead);
    const auto length = static_cast<std::size_t>(std::max(ones, 1));
    if (ones == 1 || ones > 4 || text.size() - at < length) return false;
    std::uint32_t code = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
      const auto next = static_cast<unsigned char>(text[at + i]);
      if (next < 0x80 || next > 0xBF) return false;
      code = code * 64 + (next - 0x80U);
    }
    constexpr std::uint32_t first[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < first[length] || code > 0x10FFFF) return false;
    if (code / 0x800 == 0x1B && surrogates == Surrogates::refused) return false;
    at += length;
  }
  return true;
}

void silenceLog() {
  static NoLog sink;
  static const bool done = (VESK::Log::Init(&sink, VESK::LOG_DEBUG), true);
  static_cast<void>(done);
}

}  // namespace fuzz
