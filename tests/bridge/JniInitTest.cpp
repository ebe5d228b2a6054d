#include "JniInit.h"

#include <unistd.h>

#include <cstdlib>

#include "JniCommon.h"
#include "JvmTest.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"

namespace {

struct JniInitTest : JvmTest {
  jint initialize() {
    return bridge([] {
      return Java_com_brelvik_vesk_ui_modelobjects_jni_JniInit_initializeJNI(env, nullptr);
    });
  }
};

TEST_F(JniInitTest, StepsInOrder) {
  tui.initialised = false;
  product.settings["log_level/ui"] = "DETAIL";
  EXPECT_EQ(0, initialize());
  EXPECT_EQ(
      (Calls{"log 3 adminUI log config file: /vesk/config/vesk.ini", "store /vesk/config/vesk.ini",
             "sink 1 store 1 2 vesk", "setting log_level/ui 0", "log 3 adminUI log level: DETAIL",
             "level sink 2", "store (null)", "setting bridge/guard 0", "update /vesk"}),
      product.calls);
}

TEST_F(JniInitTest, SecondCallStartsNoSecondUpdateEngineAndKeepsTheFirstClass) {
  tui.initialised = false;
  jclass first = jArrLClz;
  EXPECT_EQ(0, initialize());
  EXPECT_EQ(0, initialize());
  EXPECT_EQ(1, std::count(product.calls.begin(), product.calls.end(), "update /vesk"));
  EXPECT_NE(first, jArrLClz);
  EXPECT_TRUE(env->IsSameObject(first, jArrLClz));  // the VM aborts on a deleted reference
}

TEST_F(JniInitTest, UpdateEngineThatFailsIsOnlyLogged) {
  tui.initialised = false;
  product.answers["update"] = 1;
  EXPECT_EQ(0, initialize());
  EXPECT_EQ("log 1 Init AU module failed.", product.calls.back());
}

TEST_F(JniInitTest, LevelNames) {
  const std::pair<const char*, int> names[] = {
      {"NORMAL", 1}, {"DETAIL", 2},   {"diagnostic", 3}, {"NOLOG", 0},
      {"DEBUG", 4},  {"Normally", 1}, {"NOLOGGING", 0},  {"NORMA", 4},
      {"TRACE", 4},  {" NORMAL", 4},  {"", 4},
  };
  for (const auto& [name, level] : names) {
    product = {};
    product.settings["general/log_level"] = name;
    initLog();
    EXPECT_EQ("level sink " + std::to_string(level), product.calls.back()) << name;
    EXPECT_EQ("setting general/log_level 0", *(product.calls.end() - 3)) << name;
  }
}

TEST_F(JniInitTest, NoInstallRootNamesNoFile) {
  unsetenv("VESK_HOME");
  tui.initialised = false;
  EXPECT_EQ(0, initialize());
  EXPECT_EQ("store (null)/config/vesk.ini", product.calls[1]);
  EXPECT_EQ("update ", product.calls.back());
}

TEST_F(JniInitTest, ListClassNotFoundIs510AndNotKeptIs508) {
  JniFault fault(env);
  fault->NewGlobalRef = [](JNIEnv*, jobject) -> jobject { return nullptr; };
  EXPECT_EQ(508, initialize());
  fault->FindClass = [](JNIEnv*, const char*) -> jclass { return nullptr; };
  EXPECT_EQ(510, initialize());
}

TEST_F(JniInitTest, EachListMethodThatIsMissingIs511) {
  static Calls asked;
  static std::size_t missing;
  const Calls methods{"<init>()V", "add(Ljava/lang/Object;)Z", "get(I)Ljava/lang/Object;",
                      "size()I"};
  static const JNINativeInterface_* real;
  JniFault fault(env);
  real = fault.real();
  fault->GetMethodID = [](JNIEnv* e, jclass type, const char* name, const char* signature) {
    asked.push_back(std::string(name) + signature);
    return asked.size() > missing ? nullptr : real->GetMethodID(e, type, name, signature);
  };
  for (missing = 0; missing < methods.size(); ++missing) {
    asked.clear();
    EXPECT_EQ(511, initialize());
    EXPECT_EQ(Calls(methods.begin(), methods.begin() + static_cast<long>(missing) + 1), asked);
  }
}

// The child has no VM: it runs this body alone.
TEST(StartUpDeathTest, WithoutSettingsTheProcessEndsWithStatusZero) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (bool Product::*missing : {&Product::storeExists, &Product::storeLoaded}) {
    const auto start = [missing] {
      dup2(STDERR_FILENO, STDOUT_FILENO);
      product.*missing = false;
      initLog();
    };
    const std::string complaint = "Error: cannot construct vesk global setting, exit now.";
    EXPECT_EXIT(start(), testing::ExitedWithCode(0), testing::Eq(complaint + complaint + "\n"));
  }
}

}  // namespace
