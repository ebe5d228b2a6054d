// The end-user quarantine: its store, and its jobs as processes that are killed, cancelled, raced
// and kept from writing.
#include "product/quarantine.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "support/Home.h"
#include "support/Network.h"
#include "support/Server.h"

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
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
bool ownMounts() {
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
    while (kill(process, 0) == 0 && job() == process) usleep(200);
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
    EXPECT_THAT(log, HasSubstr(with)) << what;
  }

  Home& home = Home::instance();
  const std::string program = home.dir.path("bin/euqjob");
  const std::string database = home.dir.path("data/euq/euq.db");
  int registered = 1;
};

TEST_F(QuarantineTest, SwitchesPersist) {
  const struct {
    int (*call)();
    int code;
    bool euq;
    bool lists;
  } steps[] = {{restart_euq, 7, false, false},        {enable_euq, 0, true, false},
               {enable_euq, 0, true, false},          {restart_euq, 0, true, false},
               {enable_dl_maintain, 0, true, true},   {disable_euq, 0, false, true},
               {disable_dl_maintain, 0, false, false}};
  for (const auto& step : steps) {
    EXPECT_EQ(step.code, step.call()) << &step - steps;
    const int seen = elsewhere([] { return is_euq_enable() + 2 * is_dl_maintain_enable(); });
    EXPECT_EQ(step.euq + 2 * step.lists, seen) << &step - steps;
  }
  EXPECT_EQ("1", ask("SELECT restarts FROM switch WHERE name = 'euq'"));
}

TEST_F(QuarantineTest, AreasAreForNames) {
  const struct {
    std::string name;
    int code;
  } names[] = {{"", 2},
               {std::string(256, 'n'), 2},
               {std::string(255, 'n'), 0},
               {"two\nlines", 2},
               {"\xff", 2},
               {"\xed\xa0\xbd", 2},              // half a pair
               {"\xc0\x80", 2},                  // NUL in two bytes
               {"\xed\xa0\xbd\xed\xb8\x80", 0},  // a pair, as a Java VM hands it out
               {"\xf0\x9f\x98\x80", 0},          // the same in UTF-8
               {"M\xc3\xbcller'; DROP TABLE area", 0}};
  for (const auto& [name, code] : names) EXPECT_EQ(code, regist_euq(name.c_str())) << name;
  EXPECT_EQ(2, regist_euq(nullptr));
  EXPECT_EQ("1 2 3", ask("SELECT number FROM area ORDER BY number"));
  EXPECT_EQ("\xf0\x9f\x98\x80", ask("SELECT name FROM area WHERE number = 2"));

  fill(9, 1);
  EXPECT_EQ(12, regist_euq("a tenth"));
  EXPECT_EQ(0, regist_euq("scanner 1")) << "registered already";
  for (const auto& [area, code] : {std::pair{9, 11}, {0, 11}, {10, 2}, {-1, 2}, {2, 0}, {2, 3}})
    EXPECT_EQ(code, unregist_euq(area)) << area;
  EXPECT_EQ(0, regist_euq("takes the gap"));
  EXPECT_EQ("takes the gap", ask("SELECT name FROM area WHERE number = 2"));
  EXPECT_EQ("9", ask("SELECT count(*) FROM area"));

  EXPECT_EQ(2, transfer_euq_data(0));
  EXPECT_EQ(0, remove_euq_data());
  while (is_removing_euq_data()) usleep(1000);
  EXPECT_EQ(0, unregist_euq(0));
  EXPECT_EQ(3, transfer_euq_data(2));
}

TEST_F(QuarantineTest, NothingWorksWithoutItsStore) {
  fs::remove_all(home.dir.path("data"));
  home.dir.write("data", "a file");
  EXPECT_FALSE(init_euq_lib());
  expectOneLine("folder cannot be made", "init");
  int code = 77;
  std::string text;
  long long done, total;
  const std::function<int()> calls[] = {
      enable_euq, disable_euq, restart_euq, enable_dl_maintain, disable_dl_maintain,
      [] { return regist_euq("a"); }, [] { return unregist_euq(0); },
      [] { return transfer_euq_data(1); }, cancel_transfer_euq_data, remove_euq_data,
      // Those that give a truth value
      [] { return is_euq_enable() ? 0 : 1; }, [] { return is_dl_maintain_enable() ? 0 : 1; },
      [] { return is_transferring_euq_data() ? 0 : 1; },
      [] { return is_removing_euq_data() ? 0 : 1; },
      [&] { return get_transfer_euq_result(code, text) ? 0 : 1; },
      [&] { return get_remove_euq_result(code, text) ? 0 : 1; },
      [&] { return get_euq_progress(done, total) ? 0 : 1; }};
  for (const auto& call : calls) {
    EXPECT_EQ(1, call()) << &call - calls;
    expectOneLine("not initialised", std::to_string(&call - calls));
  }
  EXPECT_EQ(77, code);
  fs::remove(home.dir.path("data"));
}

TEST_F(QuarantineTest, TransferTellsHowFarItIsAndWhatItCameTo) {
  fill(1, 3000);
  fill(2, 1000);
  fill(3, 2000);
  Result none;
  EXPECT_FALSE(get_transfer_euq_result(none.code, none.text));
  Home::set("euq", "batch", "100");
  ASSERT_EQ(0, transfer_euq_data(2));
  long long done = 0;
  int steps = 0;
  std::string shown;
  for (long long now, total;; done = now) {
    const bool told = get_transfer_euq_result(none.code, none.text);
    if (!get_euq_progress(now, total)) break;
    EXPECT_FALSE(told);
    EXPECT_TRUE(total == 5000 || now == 0) << total;
    EXPECT_LE(done, now);
    steps += now > done;
    if (shown.empty()) shown = home.dir.read("data/euq/progress");
  }
  EXPECT_GT(steps, 3);
  EXPECT_THAT(shown, testing::MatchesRegex("transfer [0-9]+ 5000\n"));
  EXPECT_FALSE(fs::exists(home.dir.path("data/euq/progress")));
  EXPECT_EQ("5000 of 5000 messages moved to area 2", transferred().text);
  EXPECT_EQ(0, elsewhere([] { return transferred().code; }));
  EXPECT_EQ(6000, inArea(2));
  expectWhole(6000);
  EXPECT_FALSE(get_remove_euq_result(none.code, none.text));
}

// Wherever it is hit: what it says is what it did, and the next one does the rest.
TEST_F(QuarantineTest, KilledJobsLeaveEveryMessageWholeInOnePlace) {
  constexpr int ALL = 6000;
  fill(1, ALL, 3000);
  fill(2, 0);
  Home::set("euq", "batch", "50");
  std::mt19937 random(20261121);
  int interrupted = 0;
  for (int round = 0; round < 24; ++round) {
    const int target = round % 2 + 1;
    const int before = inArea(target);
    ASSERT_EQ(0, transfer_euq_data(target)) << round;
    usleep(static_cast<useconds_t>(random() % 80'000));
    killJob();
    const Result result = transferred();
    const int moved = inArea(target) - before;
    EXPECT_EQ(std::to_string(moved), result.text.substr(0, result.text.find(' ')));
    EXPECT_TRUE(result.code == 10 || (result.code == 0 && inArea(target) == ALL)) << result.text;
    EXPECT_EQ(ALL, inArea(1) + inArea(2));
    interrupted += result.code == 10 && moved > 0;
  }
  EXPECT_GT(interrupted, 5);
  expectWhole(ALL);
  EXPECT_EQ(8, cancel_transfer_euq_data());
  EXPECT_EQ(10, [this] {
    EXPECT_EQ(0, remove_euq_data());
    waitForProgress();
    killJob();
    Result result;
    EXPECT_TRUE(get_remove_euq_result(result.code, result.text));
    const int left = inArea(1) + inArea(2);
    EXPECT_THAT(result.text, testing::StartsWith(std::to_string(ALL - left) + " of 6000 messages"));
    expectWhole(left);
    return result.code;
  }());
  EXPECT_EQ(0, transfer_euq_data(2)) << "another job than the one that was killed";
  EXPECT_EQ(0, transferred().code);
  EXPECT_EQ(0, inArea(1));
}

TEST_F(QuarantineTest, CancelTakesEffectWithinASecond) {
  fill(1, 20'000);
  fill(2, 0);
  Home::set("euq", "batch", "100");
  const std::string backup = home.dir.path("backup.db");
  ask("VACUUM INTO '" + backup + "'");
  EXPECT_EQ(8, cancel_transfer_euq_data());
  ASSERT_EQ(0, transfer_euq_data(2));
  waitForProgress();
  const Clock::time_point asked = Clock::now();
  EXPECT_EQ(0, elsewhere(cancel_transfer_euq_data));
  const Result result = transferred();
  EXPECT_LT(Clock::now() - asked, milliseconds(1000));
  EXPECT_EQ(9, result.code);
  const int moved = inArea(2);
  EXPECT_EQ(std::to_string(moved) + " of 20000 messages moved to area 2; cancelled", result.text);
  EXPECT_GT(moved, 0);
  EXPECT_LT(moved, 20'000);
  ASSERT_EQ(0, transfer_euq_data(2));
  EXPECT_EQ(std::to_string(20'000 - moved) + " of " + std::to_string(20'000 - moved) +
                " messages moved to area 2",
            transferred().text);
  // The store of before: its first run is not the one that was cancelled.
  for (const char* rest : {"-wal", "-shm"}) fs::remove(database + rest);
  fs::rename(backup, database);
  Home::set("euq", "batch", "");
  ASSERT_EQ(0, transfer_euq_data(2));
  EXPECT_EQ(0, transferred().code);
  EXPECT_EQ(20'000, inArea(2));
}

TEST_F(QuarantineTest, OneJobAtATimeAmongProcesses) {
  fill(1, 20'000);
  fill(2, 0);
  std::vector<pid_t> consoles;
  for (int i = 0; i < 6; ++i) {
    consoles.push_back(fork());
    if (consoles.back() == 0) _exit(init_euq_lib() ? transfer_euq_data(2) : 99);
  }
  int started = 0;
  for (const pid_t console : consoles) {
    int status = 0;
    waitpid(console, &status, 0);
    EXPECT_TRUE(status == 0 || WEXITSTATUS(status) == 4) << status;
    started += status == 0;
  }
  EXPECT_EQ(1, started);
  ASSERT_TRUE(is_transferring_euq_data());
  EXPECT_FALSE(is_removing_euq_data());
  const std::function<int()> turnedDown[] = {remove_euq_data, [] { return transfer_euq_data(1); },
                                             [] { return unregist_euq(2); }};
  for (const auto& call : turnedDown) EXPECT_EQ(4, call()) << &call - turnedDown;
  // Its batches leave room for who writes meanwhile.
  const Clock::time_point start = Clock::now();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(0, enable_euq());
  EXPECT_LT(Clock::now() - start, milliseconds(1500));
  EXPECT_EQ(0, transferred().code);
}

TEST_F(QuarantineTest, JobOutlivesItsConsoleAndKeepsNothingOfIt) {
  fill(1, 20'000);
  fill(2, 0);
  const int console = elsewhere([] {
    const Socket listener = listenOnLoopback(1);
    const int inherited = fcntl(listener.get(), F_DUPFD, 50);  // not closed on exec
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    signal(SIGTERM, SIG_IGN);
    setenv("SECRET", "of the console", 1);
    const int code = inherited < 50 ? 98 : transfer_euq_data(2);
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)) << "a child is left";
    if (code == 0 && !HasFailure()) raise(SIGKILL);
    return code;
  });
  ASSERT_EQ(-SIGKILL, console);
  const pid_t process = job();
  ASSERT_NE(0, process);
  EXPECT_NE(getsid(0), getsid(process));
  const fs::path proc = "/proc/" + std::to_string(process);
  EXPECT_EQ("/", fs::read_symlink(proc / "cwd"));
  const std::string own = fs::canonical(home.dir.path("")).string();
  std::error_code closed;
  for (const auto& entry : fs::directory_iterator(proc / "fd")) {
    const std::string file = fs::read_symlink(entry.path(), closed);
    if (closed || file == "/dev/null") continue;
    EXPECT_THAT(file, testing::StartsWith(own)) << entry.path();
  }
  std::ifstream status(proc / "status"), environment(proc / "environ");
  const std::string set{std::istreambuf_iterator<char>(environment), {}};
  EXPECT_THAT(set, testing::Not(HasSubstr("SECRET")));
  const std::string told{std::istreambuf_iterator<char>(status), {}};
  EXPECT_THAT(told, HasSubstr("SigBlk:\t0000000000000000"));
  EXPECT_EQ(0, transferred().code);
  EXPECT_EQ(20'000, inArea(2));
}

TEST_F(QuarantineTest, EachFailureHasItsCodeAndItsLine) {
  fill(1, 10);
  ASSERT_EQ(0, regist_euq("other"));
  Home::set("euq", "busy_timeout", "50");
  std::optional<Other> other(database);
  const struct {
    const char* name;
    std::function<void()> harm;
    std::function<int()> call;
    int code;
    const char* line;
  } faults[] = {
      {"no program", [&] { fs::remove(program); }, [] { return transfer_euq_data(2); }, 6,
       "bin/euqjob [No such file"},
      {"not a program", [&] { home.dir.write("bin/euqjob", "#!/bin/false\n"); },
       [] { return transfer_euq_data(2); }, 6, "job not started"},
      {"ends at once",
       [&] {
         fs::remove(program);
         fs::copy_file("/bin/false", program);
       },
       [] { return remove_euq_data(); }, 6, "it ended at once"},
      {"locked", [&] { other->ask("BEGIN EXCLUSIVE"); }, enable_euq, 5, "locked"},
      {"newer", [&] { other->ask("ROLLBACK; PRAGMA user_version = 2"); }, enable_euq, 5,
       "version 2 instead of 1"},
      {"gone",
       [&] {
         other.reset();
         fs::remove(database);
       },
       enable_euq, 5, "cannot be opened"},
      {"damaged", [&] { home.dir.write("data/euq/euq.db", std::string(9000, 'x')); }, enable_euq, 5,
       "damaged"},
      {"damaged at the start", [] {}, [] { return init_euq_lib() ? 0 : 1; }, 1, "damaged"},
  };
  for (const auto& fault : faults) {
    home.newLog();
    fault.harm();
    EXPECT_EQ(fault.code, fault.call()) << fault.name;
    expectOneLine(fault.line, fault.name);
  }
}

// A job that cannot go on says why, and what it did until then is what it says.
TEST_F(QuarantineTest, JobsThatCannotGoOnLoseNothing) {
  fill(1, 20'000);
  fill(2, 0);
  Home::set("euq", "busy_timeout", "300");
  std::optional<Other> other(database);
  ASSERT_EQ(0, transfer_euq_data(2));
  waitForProgress();
  other->ask("BEGIN IMMEDIATE");
  while (anyRuns() && home.newLog().find("failed: database locked") == std::string::npos)
    usleep(1000);
  other.reset();
  const Result result = transferred();
  EXPECT_EQ(5, result.code);
  EXPECT_EQ(std::to_string(inArea(2)) + " of 20000 messages moved to area 2; database locked",
            result.text);

  // Texts that are torn out of the file: whatever it comes to, it is no success.
  const std::string page = ask("SELECT rootpage FROM sqlite_schema WHERE name = 'message'");
  std::fstream(database, std::ios::in | std::ios::out)
      .seekp((std::stol(page) - 1) * 4096)
      .write(std::string(4096, 'x').data(), 4096);
  home.newLog();
  ASSERT_EQ(0, remove_euq_data());
  while (is_removing_euq_data()) usleep(1000);
  Result removal;
  ASSERT_TRUE(get_remove_euq_result(removal.code, removal.text));
  EXPECT_EQ(5, removal.code);
  EXPECT_EQ("0 of 0 messages removed; database damaged", removal.text);
  expectOneLine("remove failed: database damaged", "remove");
}

TEST_F(QuarantineTest, FullDiskLosesNothing) {
  const int code = elsewhere([this] {
    const std::string folder = home.dir.path("data/euq");
    if (!ownMounts() || mount("euq", folder.c_str(), "tmpfs", 0, "size=64m") != 0 ||
        !init_euq_lib()) {
      return 97;
    }
    fill(1, 4000, 5000);
    fill(2, 0);
    const Other keeper(database);
    struct statvfs room {};
    statvfs(folder.c_str(), &room);
    const std::string ballast(static_cast<std::size_t>(room.f_bavail * room.f_frsize) - 100'000,
                              'x');
    home.dir.write("data/euq/ballast", ballast);
    home.newLog();
    EXPECT_EQ(0, transfer_euq_data(2));
    const Result full = transferred();
    EXPECT_EQ(5, full.code);
    EXPECT_EQ(std::to_string(inArea(2)) + " of 4000 messages moved to area 2; database disk full",
              full.text);
    expectOneLine("transfer failed: database disk full", "transfer");
    expectWhole(4000);
    fs::remove(folder + "/ballast");
    EXPECT_EQ(0, transfer_euq_data(2));
    EXPECT_EQ(0, transferred().code);
    EXPECT_EQ(4000, inArea(2));
    return HasFailure() ? 1 : 0;
  });
  if (code == 97) GTEST_SKIP() << "no user namespace here";
  EXPECT_EQ(0, code);
}

}  // namespace
