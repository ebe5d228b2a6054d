#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
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

// What the library lets others see, without its own version tags.
Names exported() {
  std::FILE* nm = popen("nm -D --defined-only '" VESK_LIBRARY "'", "r");
  std::string listing;
  for (int c = std::fgetc(nm); c != EOF; c = std::fgetc(nm)) listing += static_cast<char>(c);
  EXPECT_EQ(0, pclose(nm));
  return namesIn(listing, "[0-9a-f]+ [A-Za-z] (\\S+)");
}

// The entry points that the peer classes declare, as javac spells them.
Names declared() {
  Names names;
  for (const auto& header : std::filesystem::directory_iterator(VESK_PEER_HEADERS)) {
    std::ifstream file(header.path());
    const std::string content(std::istreambuf_iterator<char>(file), {});
    names.merge(namesIn(content, "JNICALL (Java_\\w+)"));
  }
  return names;
}

TEST(ExportsTest, NativeMethodsOfThePeersAndTheVersionAndNothingElse) {
  Names promised = declared();
  EXPECT_GE(promised.size(), 9U);
  promised.insert({"GetVeskVersion", "GetVeskVersionStr"});
  EXPECT_THAT(exported(),
              testing::ContainerEq(promised));  // names what is missing and what is extra
}

}  // namespace
