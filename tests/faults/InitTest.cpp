// Start-up happens once in a process, so each fault gets a process of its own, without a VM.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "Interposer.h"
#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"
#include "product/log.h"

namespace {

using faults::Armed;
using faults::Kind;

constexpr int AWAY = 40;  // the fault never came
constexpr int ANSWERED = 41;
constexpr int HALF_DONE = 43;  // and told as done

// A value that the shell would act on.
constexpr jchar HOSTILE[] = {'a', '"', ';', 'b', 0};

// The guard refuses, and a line above the level that is set is left out.
bool isInitialised(JNIEnv* env) {
  const jint code = NATIVE(WzrdJNI, setHostname)(env, nullptr, reinterpret_cast<jstring>(env));
  VESK::Log::LogByLevel(VESK::LOG_DETAIL, "as loud as this");
  VESK::Log::LogByLevel(VESK::LOG_DIAGNOSTIC, "louder");
  const std::string log =
      World::read(World::home() + "/log/adminui.log") + World::read(World::home() + "/log/output");
  const bool level =
      log.find("as loud as this") != std::string::npos && log.find("louder") == std::string::npos;
  return code == 500 && level;
}

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
  if (code == 0 && !isInitialised(env)) return HALF_DONE;
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
  table.GetStringLength = [](JNIEnv*, jstring) {
    return static_cast<jsize>(std::size(HOSTILE)) - 1;
  };
  table.GetStringChars = [](JNIEnv*, jstring, jboolean*) -> const jchar* { return HOSTILE; };
  table.ReleaseStringChars = [](JNIEnv*, jstring, const jchar*) {};
  JNIEnv env{};
  env.functions = &table;
  World::write(World::home() + "/config/vesk.ini",
               "[log_level]\nui = DETAIL\n[bridge]\nguard = enforce\n[a section with some "
               "length]\na key = a value of its own\n");
  World::write(World::home() + "/log/.keep", "");
  int points = 0;
  int ends = 0;
  for (const Kind kind : {Kind::memory, Kind::open, Kind::write}) {
    for (long n = 1; n < 2000; ++n) {
      World::write(World::home() + "/log/adminui.log", "");
      const pid_t child = fork();
      if (child == 0) _exit(initialise(&env, kind, n));
      int status = 0;
      waitpid(child, &status, 0);
      ASSERT_TRUE(WIFEXITED(status))
          << faults::nameOf(kind) << " " << n << ": " << strsignal(WTERMSIG(status)) << " "
          << World::read(World::home() + "/log/output");
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
