// What the fuzz targets share: taking an input apart, files for parsers of files, and the check
// that ends the process.
#ifndef VESK_FUZZ_H
#define VESK_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "shared/Descriptor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process with the condition's text when it does not hold.
#define FUZZ_EXPECT(condition) \
  ((condition) ? static_cast<void>(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

// Takes values off an input; of an input that is used up, zeros and empty texts.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : left(reinterpret_cast<const char*>(data), size) {}

  std::uint8_t byte();
  std::uint32_t number();  // four bytes
  // Up to a zero byte, so that one text more hardly changes those behind it.
  std::string text();
  std::string rest();

 private:
  std::string_view left;
};

// A file of its own for each input: a parser that knows files by their stamps sees a new one.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view content);
  const std::string& path() const { return name; }
  std::string content() const;

 private:
  VESK::Descriptor file;
  std::string name;
};

// A folder, in memory where there is one for files, that goes with the process.
const std::string& scratchFolder();
void writeFile(const std::string& path, std::string_view content);
std::string readFile(const std::string& path);

// A buffer with known bytes around it. The destructor looks whether they are still there.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  char* data() { return bytes.data() + margin; }
  // The text in it, which must end inside.
  std::string_view text() const;

 private:
  static constexpr std::size_t margin = 64;
  std::size_t length;
  std::vector<char> bytes;
};

// The characters of well-formed UTF-8, decoded by other means than any parser here. False when the
// text is none. A surrogate counts as a character only if they are allowed.
enum class Surrogates { refused, allowed };
bool isUtf8(std::string_view text, Surrogates surrogates = Surrogates::refused);

// Lets the library format all its messages, at the highest level, and drops them.
void silenceLog();

}  // namespace fuzz

#endif
