#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>

#include "DirectoryTest.h"

namespace {

using testing::HasSubstr;

std::string number(std::uint32_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> 8 * bytes);
  return text;
}

std::string counted(const std::string& text) {
  return number(static_cast<std::uint32_t>(text.size()), 2) + text;
}

const std::string START = "\x05\x02";

// An entry of a keytab file; a principal of one or two components.
std::string entry(const std::string& principal, std::uint32_t timestamp, int kvno) {
  const auto slash = principal.find('/');
  const bool two = slash != std::string::npos;
  const std::string body =
      number(two ? 2 : 1, 2) + counted("EXAMPLE.COM") + counted(principal.substr(0, slash)) +
      (two ? counted(principal.substr(slash + 1)) : "") + number(1, 4) + number(timestamp, 4) +
      number(static_cast<std::uint32_t>(kvno), 1) + number(17, 2) + counted("sixteen byte key");
  return number(static_cast<std::uint32_t>(body.size()), 4) + body;
}

struct KeytabTest : DirectoryTest {
  static void SetUpTestSuite() {}
};

TEST_F(KeytabTest, GivesItsNewestServicePrincipal) {
  const std::string old = entry("HTTP/old", 100, 9);
  const std::string young = entry("HTTP/new", 200, 1);
  const std::string ann = entry("ann", 0xFFFFFFFF, 1);
  const struct {
    std::string content;
    int size;
    std::string name;  // empty: refused
  } table[] = {
      {START + young + old, 1024, "HTTP/new@EXAMPLE.COM"},
      {START + old + entry("HTTP/2040", 0x83AA7E80, 1) + young, 1024, "HTTP/2040@EXAMPLE.COM"},
      {START + young + entry("HTTP/key2", 200, 2) + young, 1024, "HTTP/key2@EXAMPLE.COM"},
      {START + young + entry("HTTP/last", 200, 1), 1024, "HTTP/last@EXAMPLE.COM"},
      {START + young + ann + entry("GATE$", 300, 1), 1024, "HTTP/new@EXAMPLE.COM"},
      {START + young, 9, "HTTP/new"},
      {START + entry("HTTP/g\xC3\xA4te", 200, 1), 8, "HTTP/g"},
      {START + ann, 1024, ""},
      {START, 1024, ""},
      {"", 1024, ""},
      {"no keytab at all", 1024, ""},
      {START + young + old.substr(0, 20), 1024, ""},
      {START + number(0x7FFFFFFF, 4) + "x", 1024, ""},
  };
  const TempDir dir;
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    char buffer[1024] = "before";
    const std::string path = dir.write("MEMORY:a key.tab", row.content);
    EXPECT_EQ(!row.name.empty(), VESK::get_spn_from_keytab(path.c_str(), buffer, row.size));
    EXPECT_EQ(row.name, buffer);
    EXPECT_EQ(row.name.empty(), !Home::instance().newLog().empty());
  }
  char buffer[8] = "before";
  EXPECT_FALSE(VESK::get_spn_from_keytab(dir.path("none").c_str(), buffer, sizeof buffer));
  EXPECT_STREQ("", buffer);
  EXPECT_THAT(Home::instance().newLog(), HasSubstr("none"));
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_FALSE(VESK::get_spn_from_keytab(path, buffer, sizeof buffer));
  }
  dir.write("\xF0\x9F\x94\x91", START + young);
  EXPECT_TRUE(VESK::get_spn_from_keytab(dir.path("\xED\xA0\xBD\xED\xB4\x91").c_str(), buffer, 8));
  EXPECT_FALSE(VESK::get_spn_from_keytab("any", nullptr, 8));
  EXPECT_FALSE(VESK::get_spn_from_keytab("any", buffer, 0));
}

// The test's account may be one that reads everything.
TEST_F(KeytabTest, LocksAndPermissionsOfTheFile) {
  const TempDir dir;
  const std::string path = dir.write("key.tab", START + entry("HTTP/new", 200, 1));
  const std::string closed = dir.write("closed.tab", START + entry("HTTP/new", 200, 1));
  ASSERT_EQ(0, chmod(closed.c_str(), 0));
  ASSERT_EQ(0, chmod(dir.path("").c_str(), 0755));
  const int held = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, fcntl(held, F_SETLK, &lock));
  const pid_t child = fork();
  if (child == 0) {  // another process, for which the lock counts
    alarm(5);
    char buffer[32];
    const bool read = VESK::get_spn_from_keytab(path.c_str(), buffer, sizeof buffer);
    const bool other = geteuid() != 0 || setuid(65534) == 0;
    _exit(read && other && !VESK::get_spn_from_keytab(closed.c_str(), buffer, sizeof buffer) ? 0
                                                                                             : 1);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_THAT(Home::instance().newLog(), HasSubstr("Permission denied"));
  close(held);
}

}  // namespace
