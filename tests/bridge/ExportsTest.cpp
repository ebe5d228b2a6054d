#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using Names = std::set<std::string>;

Names namesIn(const std::string& content, const char* pattern) {
  const std::regex name(pattern);
  Names names;
  for (std::sregex_iterator at(content.begin(), content.end(), name), end; at != end; ++at) {
    names.insert((*at)[1]);
  }
  return names;
}

// What a library lets others see, without its own version tags; C++ names as they are written.
Names exportedBy(const std::string& library) {
  std::FILE* nm = popen(("nm -D -C --defined-only '" + library + "'").c_str(), "r");
  std::string listing;
  for (int c = std::fgetc(nm); c != EOF; c = std::fgetc(nm)) listing += static_cast<char>(c);
  EXPECT_EQ(0, pclose(nm));
  return namesIn(listing, "[0-9a-f]+ [A-Za-z] ([^\n]+)");
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The entry points that the peer classes declare, as javac spells them.
Names declared() {
  Names names;
  for (const auto& header : std::filesystem::directory_iterator(VESK_PEER_HEADERS)) {
    names.merge(namesIn(contentOf(header.path()), "JNICALL (Java_\\w+)"));
  }
  return names;
}

TEST(ExportsTest, NativeMethodsOfThePeersAndTheVersionAndNothingElse) {
  Names promised = declared();
  EXPECT_GE(promised.size(), 9U);
  promised.insert({"GetVeskVersion", "GetVeskVersionStr"});
  EXPECT_THAT(exportedBy(VESK_LIBRARY),
              testing::ContainerEq(promised));  // names what is missing and what is extra
}

// The list is what the linker exports by, so a name that is missing was renamed or got other
// arguments: programs that were linked before do not find it any more.
TEST(ExportsTest, ProductLibrariesExportTheirListsAndNothingElse) {
  std::istringstream libraries(VESK_PRODUCT_NAMES);
  for (std::string name; libraries >> name;) {
    const std::string list = contentOf(VESK_SOURCE_DIR "/product/" + name + "/exports.map");
    const Names promised = namesIn(list, "\n {4,}\"?([^\n]*[^\n\"{}*])\"?;");
    EXPECT_FALSE(promised.empty()) << name;
    EXPECT_THAT(exportedBy(VESK_BINARY_DIR "/lib/libvesk" + name + ".so"),
                testing::ContainerEq(promised))
        << name;
  }
}

}  // namespace
