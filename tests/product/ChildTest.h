// Log and settings exist once a process: each case runs in a child of its own, with a folder of its
// own.
#ifndef VESK_TESTS_PRODUCT_CHILD_TEST_H
#define VESK_TESTS_PRODUCT_CHILD_TEST_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

class ChildTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "vesk.XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    folder = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string path(const std::string& name) const { return folder + "/" + name; }

  // Runs `body` in a child that has VESK_HOME set to the folder; what it expects in vain fails the
  // test here. Gives what the child wrote to stderr.
  template <typename Body>
  std::string inChild(Body body) {
    const bool failedBefore = HasFailure();
    const pid_t child = fork();
    if (child == 0) {
      const int errors = open(path("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
      dup2(errors, STDERR_FILENO);
      setenv("VESK_HOME", folder.c_str(), 1);
      body();
      std::fflush(stdout);
      _exit(HasFailure() && !failedBefore ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    const std::string errors = readFile(path("stderr"));
    EXPECT_EQ(0, status) << "child failed; its stderr:\n" << errors;
    return errors;
  }

  // Root may do everything; the case is about an account that may not.
  static void becomeOrdinary() {
    if (geteuid() != 0) return;
    ASSERT_EQ(0, setresuid(65534, 65534, 65534));
  }

  static std::string readFile(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
  }

  static std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

  std::string folder;
};

#endif
