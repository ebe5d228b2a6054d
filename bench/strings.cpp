// Texts between Java and C++: the bridge's own ways against the bare JNI calls, in one VM.
#include <jni.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Compare.h"
#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"

namespace {

// Keeps the compiler from dropping the work on a text that nobody reads.
void use(const char* text) { asm volatile("" : : "r"(text) : "memory"); }

JNIEnv* startVm() {
  JavaVMOption options[] = {{const_cast<char*>("-Xmx256m"), nullptr}};
  JavaVMInitArgs arguments{JNI_VERSION_1_8, std::size(options), options, JNI_FALSE};
  JavaVM* vm = nullptr;
  void* env = nullptr;
  bench::require(JNI_CreateJavaVM(&vm, &env, &arguments) == JNI_OK, "no Java VM");
  return static_cast<JNIEnv*>(env);
}

// The cached ArrayList handles come from the bridge's own start-up, with an install root of its
// own.
void initialise(JNIEnv* env) {
  std::string root = std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX";
  bench::require(mkdtemp(root.data()) != nullptr, "no temporary folder");
  std::filesystem::create_directory(root + "/config");
  std::filesystem::create_directory(root + "/log");
  std::ofstream(root + "/config/vesk.ini") << "[log_level]\nui = NORMAL\n";
  setenv("VESK_HOME", root.c_str(), 1);
  const jint code = Java_com_brelvik_vesk_ui_modelobjects_jni_JniInit_initializeJNI(env, nullptr);
  std::filesystem::remove_all(root);
  bench::require(code == 0, "initializeJNI failed");
}

void readStrings(JNIEnv* env, const std::string& figure, const std::string& content) {
  jstring text = env->NewStringUTF(content.c_str());
  const auto plain = [=] {
    const char* chars = env->GetStringUTFChars(text, nullptr);
    use(chars);
    env->ReleaseStringUTFChars(text, chars);
  };
  const auto bridge = [=] {
    const VeskJniString reader(env, text);
    use(reader.str);
  };
  bench::compare(figure, 31, {{"GetStringUTFChars", plain}, {"VeskJniString", bridge}}, 20000);
  env->DeleteLocalRef(text);
}

std::vector<std::string> names(const char* prefix, int count) {
  std::vector<std::string> made;
  for (int i = 0; i < count; ++i) made.push_back(prefix + std::to_string(10000 + i));
  return made;
}

// A new list for every run: one that is already large does not have to grow.
template <typename Fill>
auto filling(JNIEnv* env, const Fill& fill) {
  return [=] {
    jobject list = env->NewObject(jArrLClz, jArrLCon);
    fill(list);
    env->DeleteLocalRef(list);
  };
}

void fillLists(JNIEnv* env, const std::string& figure, std::vector<std::string> items) {
  const auto bare = [&](jobject list) {
    for (const std::string& item : items) {
      jstring text = env->NewStringUTF(item.c_str());
      bench::require(env->CallBooleanMethod(list, jArrLAdd, text), "add refused");
      env->DeleteLocalRef(text);
    }
  };
  const auto bridge = [&](jobject list) {
    bench::require(formJArrListStr(env, items, list) == 0, "formJArrListStr failed");
  };
  bench::compare(
      figure, 101,
      {{"three JNI calls a name", filling(env, bare)}, {"formJArrListStr", filling(env, bridge)}});
}

}  // namespace

int main() {
  JNIEnv* env = startVm();
  initialise(env);
  for (const std::size_t length : {4U, 16U, 64U, 511U}) {
    readStrings(env, "string, " + std::to_string(length) + " ASCII", std::string(length, 'a'));
  }
  std::string mixed(60, 'a');
  mixed += "\xC3\xA9";
  readStrings(env, "string, 61 with an accent", mixed);
  fillLists(env, "list of 10,000 ASCII names", names("p", 10000));
  fillLists(env, "list of 10,000 names with an umlaut", names("J\xC3\xB6rg M\xC3\xBCller ", 10000));
  return 0;
}
