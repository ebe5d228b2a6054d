#include <gmock/gmock.h>
#include <sys/stat.h>

#include "ChildTest.h"
#include "product/update.h"

namespace {

using testing::HasSubstr;

class UpdateInitTest : public ChildTest {
 protected:
  // The log line that a refused root leaves.
  std::string refusal(const std::string& home) {
    const std::string errors = inChild([&] {
      becomeOrdinary();
      BvUpdateInit update;
      EXPECT_FALSE(update.Init(home));
      EXPECT_FALSE(update.initialised);
    });
    EXPECT_EQ(1u, linesOf(errors).size()) << errors;
    return errors;
  }

  unsigned modeOf(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(0, stat(path(name).c_str(), &status));
    return status.st_mode & 07777;
  }
};

TEST_F(UpdateInitTest, MakesItsFolderAndKeepsOneThatIsThere) {
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_EQ("", inChild([this] {
                umask(0077);
                BvUpdateInit update;
                EXPECT_FALSE(update.initialised);
                EXPECT_TRUE(update.Init(folder));
                EXPECT_TRUE(update.initialised);
                EXPECT_EQ(1, *reinterpret_cast<const char*>(&update));
              }));
    EXPECT_EQ(turn == 0 ? 0750u : 0755u, modeOf("data/update"));
    chmod(path("data/update").c_str(), 0755);
  }
}

TEST_F(UpdateInitTest, RefusedRootIsNamed) {
  std::filesystem::permissions(folder, std::filesystem::perms::all);
  std::filesystem::create_directories(path("closed"));
  std::filesystem::create_directories(path("bare"));
  std::filesystem::create_directories(path("readonly/data/update"));
  std::filesystem::create_directories(path("filled"));
  std::ofstream(path("filled/data")) << "a file";
  chmod(path("closed").c_str(), 0);
  chmod(path("bare").c_str(), 0555);
  chmod(path("readonly/data/update").c_str(), 0555);
  EXPECT_THAT(refusal(""), HasSubstr("no install root"));
  EXPECT_THAT(refusal(path("none")), HasSubstr("No such file or directory"));
  EXPECT_THAT(refusal(path("filled/data")), HasSubstr("Not a directory"));
  EXPECT_THAT(refusal(path("closed")), HasSubstr("Permission denied"));
  EXPECT_THAT(refusal(path("bare")), HasSubstr("bare/data: Permission denied"));
  EXPECT_THAT(refusal(path("readonly")), HasSubstr("readonly/data/update: Permission denied"));
  EXPECT_THAT(refusal(path("filled")), HasSubstr("filled/data: Not a directory"));
}

}  // namespace
