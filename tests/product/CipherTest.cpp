// Texts through the cipher and back, with a key that each case makes.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "product/cipher.h"
#include "support/Home.h"

namespace {

using testing::HasSubstr;

constexpr int SIZE = 1024;

class CipherTest : public testing::Test {
 protected:
  CipherTest() {
    std::filesystem::remove(key);
    home.newLog();
  }

  // Nothing else than 0 with a text and -1 without one.
  static std::string encrypted(const std::string& text, int size = SIZE) {
    std::string out(static_cast<std::size_t>(size) + 1, '?');
    const int code = NewEncryptStr(text.c_str(), out.data(), size);
    EXPECT_EQ(code == 0, out[0] != '\0');
    return out.c_str();
  }
  static std::string decrypted(std::string text, int code = 0) {
    EXPECT_EQ(code, NewDecryptStr(text.data()));
    return text.c_str();
  }
  void expectForeign(const std::string& text, const char* reason) {
    EXPECT_EQ("", decrypted(text, -1)) << text;
    const std::string log = home.newLog();
    EXPECT_THAT(log, HasSubstr(reason)) << text;
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n'));
  }

  Home& home = Home::instance();
  const std::string key = home.dir.path("config/cipher.key");
};

TEST_F(CipherTest, TextsComeBackAndTooLongOnesAreRefused) {
  for (const std::string& text :
       {std::string(), std::string("a"), std::string("Gr\xC3\xBC\xC3\x9F \xF0\x9F\x94\x91"),
        std::string("\xFF\xED\xA0\x80\n"), std::string(735, 'x')}) {
    const std::string result = encrypted(text);
    EXPECT_THAT(result, testing::MatchesRegex("vesk1:[A-Za-z0-9_-]+"));
    EXPECT_EQ(text, decrypted(result));
    EXPECT_NE(result, encrypted(text));
    EXPECT_EQ(result,
              std::string(encrypted(text, int(result.size()))).replace(0, result.size(), result));
    EXPECT_EQ("", encrypted(text, int(result.size()) - 1));
  }
  EXPECT_EQ(1024u, encrypted(std::string(735, 'x')).size());
  for (const int size : {736, 1024, 1025, 2'000'000})
    EXPECT_EQ("", encrypted(std::string(std::size_t(size), 'x')));
  EXPECT_THAT(home.newLog(), HasSubstr("text too long for its place"));
  char out[] = "kept";
  EXPECT_EQ(-1, NewEncryptStr(nullptr, out, 4));
  EXPECT_STREQ("", out);
  EXPECT_EQ(-1, NewEncryptStr("a", nullptr, SIZE));
  EXPECT_EQ(-1, NewDecryptStr(nullptr));
}

TEST_F(CipherTest, ForeignAndAlteredTextsAreEmpty) {
  const std::string good = encrypted("secret-ann");
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = bad[i] == 'A' ? 'B' : 'A';
    expectForeign(bad, i < 6 ? "not one of this cipher" : "");
    expectForeign(good.substr(0, i), "");
  }
  for (const std::string& text :
       {std::string("secret"), std::string("vesk1:"), good + "A", good + "=", good + "\n",
        "vesk1:" + std::string(1018, 'A'), std::string(1024, '\xFF'), std::string(1 << 21, 'A')}) {
    expectForeign(text, "");
  }
  std::filesystem::rename(key, key + ".old");
  expectForeign(good, "No such file");
  encrypted("makes another key");
  expectForeign(good, "altered or is of another appliance's key");
  EXPECT_THAT(home.newLog(), testing::Not(HasSubstr("secret")));
}

TEST_F(CipherTest, OfManyFirstUsersAllGetOneKey) {
  const std::string results = home.dir.path("results");
  for (int process = 0; process < 8; ++process) {
    if (fork() != 0) continue;
    umask(0);
    std::ofstream(results + std::to_string(process))
        << encrypted("text " + std::to_string(process));
    _exit(0);
  }
  while (wait(nullptr) > 0) {
  }
  for (int process = 0; process < 8; ++process) {
    EXPECT_EQ("text " + std::to_string(process),
              decrypted(home.dir.read("results" + std::to_string(process))));
  }
  struct stat status {};
  ASSERT_EQ(0, stat(key.c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 07777);
  for (const auto& entry : std::filesystem::directory_iterator(home.dir.path("config"))) {
    EXPECT_THAT(entry.path().filename().string(),
                testing::AnyOf("cipher.key", "vesk.ini", "cipher.key.old"));
  }
}

TEST_F(CipherTest, KeyThatIsNoneIsNotReplaced) {
  encrypted("makes the key");
  chmod(key.c_str(), 0640);
  EXPECT_EQ("", encrypted("a"));
  EXPECT_THAT(home.newLog(), HasSubstr("open to other accounts"));
  chmod(key.c_str(), 0600);
  home.dir.write("config/cipher.key", "short");
  EXPECT_EQ("", encrypted("a"));
  EXPECT_THAT(home.newLog(), HasSubstr("is no key of 32 bytes"));
  EXPECT_EQ("short", home.dir.read("config/cipher.key"));
}

}  // namespace
