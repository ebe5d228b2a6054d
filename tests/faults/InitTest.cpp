// Start-up happens once in a process, so each fault gets a process of its own, without a VM.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Interposer.h"
#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"

namespace {

using faults::Armed;
using faults::Kind;

constexpr int AWAY = 40;  // the fault never came
constexpr int ANSWERED = 41;

int initialise(JNIEnv* env, Kind kind, long n) {
  const std::string output = World::home() + "/log/output";
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  jint code = 0;
  {
    const Armed armed(kind, n);
    code = NATIVE(JniInit, initializeJNI)(env, nullptr);
  }
  if (!Armed::hit()) return AWAY;
  return code == 0 || code == 508 ? ANSWERED : 42;
}

TEST(InitTest, EndsByItsOwnRuleOrWorks) {
  static JNINativeInterface_ table{};  // a VM as far as start-up asks one
  table.FindClass = [](JNIEnv*, const char*) { return reinterpret_cast<jclass>(&table); };
  table.NewGlobalRef = [](JNIEnv*, jobject object) { return object; };
  table.DeleteLocalRef = [](JNIEnv*, jobject) {};
  table.GetMethodID = [](JNIEnv*, jclass, const char*, const char*) {
    return reinterpret_cast<jmethodID>(&table);
  };
  JNIEnv env{};
  env.functions = &table;
  World::write(
      World::home() + "/config/vesk.ini",
      "[log_level]\nui = DEBUG\n[a section with some length]\na key = a value of its own\n");
  World::write(World::home() + "/log/.keep", "");
  int points = 0;
  int ends = 0;
  for (const Kind kind : {Kind::memory, Kind::open, Kind::write}) {
    for (long n = 1; n < 2000; ++n) {
      const pid_t child = fork();
      if (child == 0) _exit(initialise(&env, kind, n));
      int status = 0;
      waitpid(child, &status, 0);
      ASSERT_TRUE(WIFEXITED(status)) << faults::nameOf(kind) << " " << n;
      if (WEXITSTATUS(status) == AWAY) break;
      ++points;
      if (WEXITSTATUS(status) == ANSWERED) continue;
      EXPECT_EQ(0, WEXITSTATUS(status)) << faults::nameOf(kind) << " " << n;
      EXPECT_NE(std::string::npos, World::read(World::home() + "/log/output")
                                       .find("cannot construct vesk global setting, exit now."));
      ++ends;
    }
  }
  EXPECT_LT(20, points);
  EXPECT_LT(0, ends);
  std::printf(
      "JniInit.initializeJNI: %d points, of which %d end the process for want of settings\n",
      points, ends);
}

}  // namespace
