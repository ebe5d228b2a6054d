// Packages of updates: whatever is packed into one stays in its folder.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Fuzz.h"
#include "update/Archive.h"
#include "update/Digest.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t limit = 64 * 1024;

struct Entry {
  char type;
  std::string name;
  std::string content;
};

// One file of a tar, with a good checksum, which no fuzzer would find.
std::string packed(const Entry& entry) {
  std::array<char, 512> head{};
  entry.name.copy(head.data(), 100);
  std::snprintf(&head[100], 8, "%07o", entry.type == '5' ? 0755U : 0644U);
  std::snprintf(&head[124], 12, "%011zo", entry.content.size());
  std::snprintf(&head[136], 12, "%011o", 1U);
  head[156] = entry.type;
  if (entry.type == '1' || entry.type == '2') entry.name.copy(&head[157], 100);
  std::memcpy(&head[257], "ustar\00000", 8);
  std::memset(&head[148], ' ', 8);
  unsigned sum = 0;
  for (const char c : head) sum += static_cast<unsigned char>(c);
  std::snprintf(&head[148], 7, "%06o", sum);
  std::string block(head.data(), head.size());
  block += entry.content;
  block.resize((block.size() + 511) / 512 * 512);
  return block;
}

std::string made(fuzz::Input& input) {
  constexpr int most = 16;
  std::string package;
  std::string sums;
  for (int count = input.byte() % most; count > 0; --count) {
    constexpr std::string_view types = "00005127x";
    const Entry entry{types[input.byte() % types.size()], input.text(), input.text()};
    package += packed(entry);
    VESK::update::Sha256 sum;
    sum.add(entry.content.data(), entry.content.size());
    if (entry.type == '0') sums += sum.finish() + "  " + entry.name + "\n";
  }
  return package + packed({'0', "SHA256SUMS", sums + input.rest()}) + std::string(1024, '\0');
}

std::uintmax_t bytesBelow(const fs::path& folder) {
  std::uintmax_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    FUZZ_EXPECT(!entry.is_symlink() && (entry.is_regular_file() || entry.is_directory()));
    if (entry.is_regular_file()) bytes += entry.file_size();
    if (entry.is_regular_file()) FUZZ_EXPECT(fs::hard_link_count(entry.path()) == 1);
  }
  return bytes;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  static const fs::path outer = fuzz::scratchFolder() + "/package";
  const fs::path folder = outer / "a" / "b";
  fs::create_directories(folder);
  fuzz::Input input(data, size);
  const bool raw = input.byte() == 0;
  const fuzz::MemoryFile package(raw ? input.rest() : made(input));
  VESK::update::Failure failure;
  const bool taken = VESK::update::unpack(package.path(), folder, limit, failure);
  FUZZ_EXPECT(taken != failure.happened());
  FUZZ_EXPECT(bytesBelow(folder) <= limit);
  FUZZ_EXPECT(!taken || fs::is_regular_file(folder / "SHA256SUMS"));
  // Beside the folder there is nothing new.
  fs::remove_all(folder);
  FUZZ_EXPECT(fs::remove(outer / "a") && fs::remove(outer));
  return 0;
}
