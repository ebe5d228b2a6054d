// The end-user quarantine's jobs as processes that are killed, cancelled, raced and kept from
// writing.
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <optional>
#include <random>
#include <thread>

#include "Quarantine.h"
#include "support/FileLock.h"
#include "support/Network.h"

namespace {

using testing::HasSubstr;

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

// The file's first byte is all that it has left.
TEST_F(QuarantineTest, ProcessWhoseJobIsOverIsWaitedForASecond) {
  fill(1, 1);
  fill(2, 0);
  FileLock lock;
  const auto hold = [&] { lock.take(home.dir.path("data/euq/job.lock"), {0}); };
  const std::function<int()> calls[] = {[] { return unregist_euq(2); },
                                        [] { return transfer_euq_data(1); }};
  for (const auto& call : calls) {
    hold();
    const Clock::time_point start = Clock::now();
    home.newLog();
    EXPECT_EQ(4, call()) << &call - calls;
    EXPECT_GT(Clock::now() - start, milliseconds(1000));
    EXPECT_LT(Clock::now() - start, milliseconds(2000));
    expectOneLine("a job runs", "held on");
    std::thread ending([&] {
      usleep(200'000);
      lock.giveBack();
    });
    EXPECT_EQ(0, call()) << &call - calls;
    ending.join();
  }
  transferred();
  hold();
  for (const char* rest : {"-wal", "-shm"}) fs::remove(database + rest);
  home.dir.write("data/euq/euq.db", "no database, whatever its name says");
  home.newLog();
  EXPECT_EQ(5, remove_euq_data());
  expectOneLine("damaged", "no store");
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
  std::error_code gone;
  const auto folder = [&] { return fs::read_symlink(proc / "cwd", gone); };
  for (int i = 0; i < 500 && folder() != "/"; ++i) usleep(10'000);  // it has just been started
  EXPECT_EQ("/", folder());
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
