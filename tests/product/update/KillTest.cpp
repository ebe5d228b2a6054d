// A process that is killed before any of its steps on the disk.
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "product/update/UpdateTest.h"

namespace {

int stepsLeft = -1;  // below zero: nobody is killed

void step() {
  if (stepsLeft >= 0 && stepsLeft-- == 0) raise(SIGKILL);
}

}  // namespace

#define IN_FRONT_OF_LIBC(result) extern "C" __attribute__((visibility("default"))) result

IN_FRONT_OF_LIBC(int) rename(const char* from, const char* to) noexcept {
  step();
  return int(syscall(SYS_rename, from, to));
}
IN_FRONT_OF_LIBC(int) symlink(const char* target, const char* name) noexcept {
  step();
  return int(syscall(SYS_symlink, target, name));
}
IN_FRONT_OF_LIBC(int) unlink(const char* name) noexcept {
  step();
  return int(syscall(SYS_unlink, name));
}
IN_FRONT_OF_LIBC(int) unlinkat(int folder, const char* name, int flags) noexcept {
  step();
  return int(syscall(SYS_unlinkat, folder, name, flags));
}
IN_FRONT_OF_LIBC(int) mkdir(const char* name, mode_t mode) noexcept {
  step();
  return int(syscall(SYS_mkdir, name, mode));
}
IN_FRONT_OF_LIBC(int) fchmod(int file, mode_t mode) noexcept {  // follows each open that makes one
  step();
  return int(syscall(SYS_fchmod, file, mode));
}
IN_FRONT_OF_LIBC(int) fsync(int file) {
  step();
  return int(syscall(SYS_fsync, file));
}
IN_FRONT_OF_LIBC(ssize_t) write(int file, const void* data, size_t size) {
  step();
  return syscall(SYS_write, file, data, size);
}

namespace {

class KillTest : public UpdateTest {
 protected:
  // False when the work ended before its step number `steps`.
  template <typename Work>
  static bool killedAt(int steps, Work work) {
    const pid_t child = fork();
    if (child == 0) {
      stepsLeft = steps;
      work();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(status == 0 || WTERMSIG(status) == SIGKILL) << status;
    return status != 0;
  }

  void expectNobodyAtWork() {
    std::string text = "from an earlier call";
    EXPECT_FALSE(BvUpdate::isRunning(text));
    EXPECT_EQ("", text);
  }
};

TEST_F(KillTest, UpdateLeavesOldOrNewAndTheNextOneFinishesIt) {
  int killed = 0;
  bool old = true, done = false;
  for (int version = 3; !done; ++version) {
    const std::string before = std::to_string(version - 1) + ".0";
    const std::string next = std::to_string(version) + ".0";
    EXPECT_THAT(download(), testing::AnyOf("0 " + before, "1 " + before));
    offer(next);
    done = !killedAt(killed, [] { download(); });
    SCOPED_TRACE("killed before step " + std::to_string(killed++));
    old = whole("current") == before;
    EXPECT_EQ(old ? before : next, whole("current"));
    EXPECT_THAT(whole("previous"), testing::Not("mixed"));
    expectNobodyAtWork();
    EXPECT_EQ(next, download().substr(2));
    expectInUse(next, before);
    if (HasFailure()) break;
  }
  EXPECT_FALSE(old);
  EXPECT_GT(killed, 40);
}

TEST_F(KillTest, RollbackIsDoneOrNot) {
  bool done = false;
  for (int killed = 0; !done; ++killed) {
    SCOPED_TRACE("killed before step " + std::to_string(killed));
    EXPECT_EQ("1 2.0", download(true));
    if (whole("previous").empty()) {  // 2.0 was in use again before
      offer("1.0");
      FAIL() << "the version before is lost";
    }
    done = !killedAt(killed, [] { rollback(); });
    EXPECT_THAT(whole("current"), testing::AnyOf("1.0", "2.0"));
    expectNobodyAtWork();
    // Either the kill came before anything was decided, or this finds the work finished.
    const int again = rollback();
    EXPECT_EQ(done ? UPDATE_ROLLBACK_UNAVAILABLE : again, again);
    expectInUse("1.0", "");
    if (HasFailure()) break;
  }
}

}  // namespace
