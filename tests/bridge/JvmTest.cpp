#include "JvmTest.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Seams.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"

// The VM handles SIGSEGV itself and means it.
extern "C" const char* __asan_default_options() {
  return "handle_segv=0:allow_user_segv_handler=1:detect_leaks=1";
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

JNIEnv* JvmTest::env = nullptr;

namespace {

std::string vmOutput;

jint JNICALL takeVmOutput(std::FILE*, const char* format, std::va_list arguments) {
  char part[4096];
  const int length = std::vsnprintf(part, sizeof part, format, arguments);
  std::fputs(part, stderr);
  vmOutput += part;
  return length;
}

// One VM for the program; a process cannot make a second one.
JNIEnv* startVm() {
  JavaVMOption options[] = {
      {const_cast<char*>("-Xcheck:jni"), nullptr},
      {const_cast<char*>("-Xmx64m"), nullptr},
      {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(takeVmOutput)},
  };
  JavaVMInitArgs arguments{JNI_VERSION_1_8, std::size(options), options, JNI_FALSE};
  JavaVM* vm = nullptr;
  void* env = nullptr;
  if (JNI_CreateJavaVM(&vm, &env, &arguments) != JNI_OK) std::abort();
  return static_cast<JNIEnv*>(env);
}

}  // namespace

void JvmTest::SetUp() {
  if (env == nullptr) env = startVm();
  ASSERT_EQ(0, env->PushLocalFrame(256));
  setenv("VESK_HOME", "/vesk", 1);
  product = {};
  seams = {};
  ASSERT_EQ(0, Java_com_brelvik_vesk_ui_modelobjects_jni_JniInit_initializeJNI(env, nullptr));
  product.calls.clear();
  vmOutput.clear();
}

void JvmTest::TearDown() {
  seams = {};
  EXPECT_FALSE(takeException());
  env->PopLocalFrame(nullptr);
  EXPECT_EQ("", vmOutput);
  EXPECT_EQ(0, product.alive) << "objects of the product were not given back";
}

jstring JvmTest::text(std::u16string_view content) {
  return env->NewString(reinterpret_cast<const jchar*>(content.data()),
                        static_cast<jsize>(content.size()));
}

jbyteArray JvmTest::bytes(std::string_view content) {
  const auto length = static_cast<jsize>(content.size());
  jbyteArray array = env->NewByteArray(length);
  env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(content.data()));
  return array;
}

jobject JvmTest::newObject(const char* className) {
  jclass type = env->FindClass(className);
  return env->NewObject(type, env->GetMethodID(type, "<init>", "()V"));
}

jobject JvmTest::refusingList() {
  jobject list = newObject("javax/management/AttributeList");
  // Once it is seen as a list of attributes, it takes nothing else.
  jmethodID asList = env->GetMethodID(env->GetObjectClass(list), "asList", "()Ljava/util/List;");
  env->CallObjectMethod(list, asList);
  EXPECT_FALSE(env->ExceptionCheck());
  return list;
}

std::vector<std::u16string> JvmTest::texts(jobject list) {
  jclass type = env->GetObjectClass(list);
  jmethodID toArray = env->GetMethodID(type, "toArray", "()[Ljava/lang/Object;");
  auto array = static_cast<jobjectArray>(env->CallObjectMethod(list, toArray));
  EXPECT_FALSE(env->ExceptionCheck());
  std::vector<std::u16string> found;
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    auto element = static_cast<jstring>(env->GetObjectArrayElement(array, i));
    const jsize length = env->GetStringLength(element);
    std::u16string content(static_cast<std::size_t>(length), u'\0');
    env->GetStringRegion(element, 0, length, reinterpret_cast<jchar*>(content.data()));
    found.push_back(content);
    env->DeleteLocalRef(element);
  }
  return found;
}

bool JvmTest::takeException() {
  const bool pending = env->ExceptionCheck();
  env->ExceptionClear();
  return pending;
}
