// The end-user quarantine in an install root of the test's own.
#ifndef VESK_TESTS_PRODUCT_QUARANTINE_H
#define VESK_TESTS_PRODUCT_QUARANTINE_H

#include "product/quarantine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "support/Home.h"
#include "support/Server.h"

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr const char* PROGRAM = VESK_BINARY_DIR "/share/vesk/bin/euqjob";

// A connection of somebody else's.
class Other {
 public:
  explicit Other(const std::string& file) {
    EXPECT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &database));
    // Often enough to come between two transactions of a job.
    const auto wait = [](void*, int tries) { return usleep(500) == 0 && tries < 10'000 ? 1 : 0; };
    sqlite3_busy_handler(database, wait, nullptr);
  }
  ~Other() { sqlite3_close(database); }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;

  // All values, separated by blanks.
  std::string ask(const std::string& sql) {
    std::string all;
    const auto add = [](void* text, int count, char** values, char**) {
      for (int i = 0; i < count; ++i) {
        std::string& to = *static_cast<std::string*>(text);
        to += (to.empty() ? "" : " ") + std::string(values[i] == nullptr ? "NULL" : values[i]);
      }
      return 0;
    };
    char* error = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), add, &all, &error)) << error;
    sqlite3_free(error);
    return all;
  }

 private:
  sqlite3* database = nullptr;
};

// A user namespace of this process's own, in which it may mount.
inline bool ownMounts() {
  const std::string user = std::to_string(getuid()), group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
  std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
  return getuid() == 0;
}

struct Result {
  int code = -1;
  std::string text;
};

class QuarantineTest : public testing::Test {
 protected:
  QuarantineTest() {
    fs::remove_all(home.dir.path("data"));
    fs::create_directories(home.dir.path("bin"));
    fs::remove(program);
    fs::copy_file(PROGRAM, program);
    Home::set("euq", "busy_timeout", "");
    Home::set("euq", "batch", "");
    EXPECT_TRUE(init_euq_lib());
    home.newLog();
  }

  std::string ask(const std::string& sql) const { return Other(database).ask(sql); }

  void fill(int area, int messages, int size = 500) {
    while (ask("SELECT count(*) FROM area WHERE number = " + std::to_string(area)) == "0") {
      ASSERT_EQ(0, regist_euq(("scanner " + std::to_string(registered++)).c_str()));
    }
    ASSERT_EQ(
        0, Server::run({"sample-euq", "--home", home.dir.path(""), "--area", std::to_string(area),
                        "--messages", std::to_string(messages), "--size", std::to_string(size)},
                       home.dir.path("fill.out")))
        << home.dir.read("fill.out");
  }

  // Every message has its whole text, and the file is sound.
  void expectWhole(int messages) const {
    const std::string all = std::to_string(messages);
    EXPECT_EQ(all + " " + all + " " + all,
              ask("SELECT (SELECT count(*) FROM message), (SELECT count(*) FROM body), count(*) "
                  "FROM message JOIN body USING (id) WHERE length(content) = size AND "
                  "instr(content, subject) > 0"));
    EXPECT_EQ("ok", ask("PRAGMA integrity_check; PRAGMA foreign_key_check"));
  }

  int inArea(int area) const {
    return std::stoi(ask("SELECT count(*) FROM message WHERE area = " + std::to_string(area)));
  }

  static bool anyRuns() { return is_transferring_euq_data() || is_removing_euq_data(); }

  static Result transferred() {
    const Clock::time_point end = Clock::now() + milliseconds(20'000);
    while (anyRuns() && Clock::now() < end) usleep(2000);
    EXPECT_FALSE(anyRuns());
    Result result;
    EXPECT_TRUE(get_transfer_euq_result(result.code, result.text));
    return result;
  }

  static void waitForProgress() {
    long long done = 0;
    for (long long total; done == 0 && anyRuns(); usleep(500)) get_euq_progress(done, total);
  }

  // The process at work, 0 when there is none.
  pid_t job() const {
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc")) {
      if (fs::read_symlink(entry.path() / "exe", gone) == fs::canonical(program))
        return std::stoi(entry.path().filename());
    }
    return 0;
  }

  void killJob() const {
    const pid_t process = job();
    if (process == 0) return;
    kill(process, SIGKILL);
    // A dying process has no program any more, and its lock for a moment longer.
    for (int i = 0; i < 25'000 && (job() == process || anyRuns()); ++i) usleep(200);
  }

  // In another process, as a console that was started anew.
  static int elsewhere(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(init_euq_lib() ? body() : 99);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  void expectOneLine(const std::string& with, const std::string& what) {
    const std::string log = home.newLog();
    EXPECT_EQ(log.find(" L1 "), log.rfind(" L1 ")) << what << "\n" << log;
    EXPECT_THAT(log, testing::HasSubstr(with)) << what;
  }

  Home& home = Home::instance();
  const std::string program = home.dir.path("bin/euqjob");
  const std::string database = home.dir.path("data/euq/euq.db");
  int registered = 1;
};

#endif
