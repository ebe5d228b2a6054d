#include "JniInit.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "Command.h"
#include "JniCommon.h"
#include "Settings.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "product/log.h"
#include "product/settings.h"

BvUpdateInit tui;

namespace {

using VESK::Log;

VESK::GlobalSettingOnMem* loadSettings(const char* path) {
  auto* settings =
      VESK::GlobalSettingOnMem::Instance(path, true, nullptr, nullptr, nullptr, nullptr, true);
  if (settings != nullptr && settings->isLoaded()) return settings;
  // Said on both output channels, whichever of them the console's starter keeps.
  static constexpr const char* complaint = "Error: cannot construct vesk global setting, exit now.";
  std::printf("%s", complaint);
  std::cout << complaint << std::endl;
  std::exit(0);
}

struct LevelName {
  const char* prefix;
  VESK::VESKLogLevel level;
};

// Only the beginning of a name counts, in any case. An unknown or missing name turns everything on:
// too much in the log is easier to live with than too little.
VESK::VESKLogLevel levelOf(const char* name) {
  static constexpr LevelName names[] = {
      {"NORMAL", VESK::LOG_NORMAL},         {"DETAIL", VESK::LOG_DETAIL},
      {"DIAGNOSTIC", VESK::LOG_DIAGNOSTIC}, {"NOLOG", VESK::LOG_NOLOG},
      {"DEBUG", VESK::LOG_DEBUG},
  };
  for (const LevelName& known : names) {
    if (strncasecmp(name, known.prefix, std::strlen(known.prefix)) == 0) return known.level;
  }
  return VESK::LOG_DEBUG;
}

struct Handle {
  jmethodID& id;
  const char* name;
  const char* signature;
};

jint resolveListMethods(JNIEnv* env) {
  const Handle handles[] = {
      {jArrLCon, "<init>", "()V"},
      {jArrLAdd, "add", "(Ljava/lang/Object;)Z"},
      {jArrLGet, "get", "(I)Ljava/lang/Object;"},
      {jArrLSize, "size", "()I"},
  };
  for (const Handle& handle : handles) {
    handle.id = env->GetMethodID(jArrLClz, handle.name, handle.signature);
    if (handle.id == nullptr) return result::methodNotFound;
  }
  return result::success;
}

}  // namespace

void initLog() {
  char path[512];
  // No default root here: without VESK_HOME the path names no file, and the console does not start.
  std::snprintf(path, sizeof path, "%s/config/%s", std::getenv("VESK_HOME"), "vesk.ini");
  Log::LogByLevel(3, "adminUI log config file: %s", path);
  VESK::GlobalSettingOnMem* settings = loadSettings(path);
  VESK::LogMsgBvCLM* sink = VESK::LogMsgBvCLM::Instance(VESK::LOGGING_PROCESS_CONSOLE, settings,
                                                        true, VESK::BV_SYNC_WRITTEN, "vesk");
  std::string level = settingText(settings, "log_level", "ui");
  if (level.empty()) level = settingText(settings, "general", "log_level");
  Log::LogByLevel(3, "adminUI log level: %s", level.c_str());
  Log::Init(sink, levelOf(level.c_str()));
}

void initAU() {
  if (tui.initialised) return;
  const char* home = std::getenv("VESK_HOME");
  if (!tui.Init(home != nullptr ? home : "")) Log::LogByLevel(1, "Init AU module failed.");
}

// A second call does everything again but for the update engine; the class reference of the first
// is not deleted, since another thread may be using it.
VESK_JNI(jint, JniInit, initializeJNI)(JNIEnv* env, jobject) try {
  initLog();
  setGuard(settingText(loadedSettings(), "bridge", "guard").c_str());
  initAU();
  jclass list = env->FindClass("java/util/ArrayList");
  if (list == nullptr) return result::classNotFound;
  jArrLClz = static_cast<jclass>(env->NewGlobalRef(list));
  env->DeleteLocalRef(list);
  if (jArrLClz == nullptr) return result::globalRefNotMade;
  return resolveListMethods(env);
}
VESK_ON_NO_MEMORY(result::globalRefNotMade)
