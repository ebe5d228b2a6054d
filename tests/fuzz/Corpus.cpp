// Feeds a target the files of a folder, one after the other: what the fuzzers once found stays
// found, with every compiler and sanitizer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Fuzz.h"

namespace fs = std::filesystem;

int main(int count, char** arguments) {
  if (count != 2) return std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]), 2;
  std::vector<fs::path> inputs;
  for (const auto& entry : fs::directory_iterator(arguments[1])) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& path : inputs) {
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout);  // the last line names the input that ended the process
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
