#include "Vm.h"

#include <cstdlib>
#include <iterator>
#include <stdexcept>

#include "Interposer.h"

namespace {

using Table = JNINativeInterface_;
Table original;
Table wrapped;
long balance = 0;

// Counts `change` when the slot gives something that is not null, or gives nothing at all.
template <auto Slot, int Change>
void wrap() {
  wrapped.*Slot = [](JNIEnv* env, auto... arguments) {
    const faults::Paused paused;
    using Result = decltype((original.*Slot)(env, arguments...));
    if constexpr (std::is_void_v<Result>) {
      balance += Change;
      (original.*Slot)(env, arguments...);
    } else {
      const Result result = (original.*Slot)(env, arguments...);
      if (result != Result{}) balance += Change;
      return result;
    }
  };
}

void wrapAll() {
  wrap<&Table::GetStringChars, 1>();
  wrap<&Table::ReleaseStringChars, -1>();
  wrap<&Table::GetStringUTFChars, 1>();
  wrap<&Table::ReleaseStringUTFChars, -1>();
  wrap<&Table::GetByteArrayElements, 1>();
  wrap<&Table::ReleaseByteArrayElements, -1>();
  wrap<&Table::GetIntArrayElements, 1>();
  wrap<&Table::ReleaseIntArrayElements, -1>();
  wrap<&Table::NewGlobalRef, 1>();
  wrap<&Table::DeleteGlobalRef, -1>();
  wrap<&Table::FindClass, 1>();
  wrap<&Table::NewStringUTF, 1>();
  wrap<&Table::NewIntArray, 1>();
  wrap<&Table::CallObjectMethodV, 1>();
  wrap<&Table::DeleteLocalRef, -1>();
  wrap<&Table::CallBooleanMethodV, 0>();
  wrap<&Table::CallIntMethodV, 0>();
  wrap<&Table::ExceptionCheck, 0>();
  wrap<&Table::GetArrayLength, 0>();
  wrap<&Table::GetMethodID, 0>();
  wrap<&Table::GetStringLength, 0>();
  wrap<&Table::GetStringUTFLength, 0>();
  wrap<&Table::SetIntArrayRegion, 0>();
}

}  // namespace

Vm::Vm() {
  JavaVMOption options[] = {
      {const_cast<char*>("-Xmx64m"), nullptr},
      {const_cast<char*>("-XX:+UseSerialGC"), nullptr},
      {const_cast<char*>("-XX:TieredStopAtLevel=1"), nullptr},
      {const_cast<char*>("-XX:+SuppressFatalErrorMessage"), nullptr},
  };
  const bool tracing = std::getenv("VESK_FAULTS_TRACE") != nullptr;
  JavaVMInitArgs arguments{JNI_VERSION_1_8,
                           static_cast<jint>(std::size(options)) - (tracing ? 1 : 0), options,
                           JNI_FALSE};
  JavaVM* vm = nullptr;
  void* made = nullptr;
  if (JNI_CreateJavaVM(&vm, &made, &arguments) != JNI_OK) throw std::runtime_error("no VM");
  env = static_cast<JNIEnv*>(made);
  original = wrapped = *env->functions;
  wrapAll();
  env->functions = &wrapped;
}

long Vm::held() { return balance; }

template <typename Object>
Object Vm::keep(Object local) {
  auto kept = static_cast<Object>(original.NewGlobalRef(env, local));
  original.DeleteLocalRef(env, local);
  return kept;
}

jstring Vm::text(const std::string& utf8) { return keep(original.NewStringUTF(env, utf8.c_str())); }

jbyteArray Vm::bytes(const std::string& content) {
  const auto length = static_cast<jsize>(content.size());
  jbyteArray array = env->NewByteArray(length);
  env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(content.data()));
  return keep(array);
}

jintArray Vm::numbers(std::initializer_list<jint> values) {
  jintArray array = original.NewIntArray(env, static_cast<jsize>(values.size()));
  env->SetIntArrayRegion(array, 0, static_cast<jsize>(values.size()), std::data(values));
  return keep(array);
}

jobject Vm::list(std::initializer_list<const char*> elements) {
  jclass type = original.FindClass(env, "java/util/ArrayList");
  jobject made = env->NewObject(type, env->GetMethodID(type, "<init>", "()V"));
  jmethodID add = env->GetMethodID(type, "add", "(Ljava/lang/Object;)Z");
  original.DeleteLocalRef(env, type);
  for (const char* element : elements) {
    jstring string = original.NewStringUTF(env, element);
    env->CallBooleanMethod(made, add, string);
    original.DeleteLocalRef(env, string);
  }
  return keep(made);
}

std::string Vm::show(jobject object) {
  if (object == nullptr) return "null";
  jclass numbersType = original.FindClass(env, "[I");
  const bool isNumbers = env->IsInstanceOf(object, numbersType) == JNI_TRUE;
  original.DeleteLocalRef(env, numbersType);
  if (isNumbers) {
    std::string all;
    auto array = static_cast<jintArray>(object);
    for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
      jint value = 0;
      env->GetIntArrayRegion(array, i, 1, &value);
      all += (i == 0 ? "" : " ") + std::to_string(value);
    }
    return all;
  }
  jclass type = env->GetObjectClass(object);
  jmethodID toString = env->GetMethodID(type, "toString", "()Ljava/lang/String;");
  original.DeleteLocalRef(env, type);
  auto string = static_cast<jstring>(env->CallObjectMethod(object, toString));
  --balance;  // ours
  const char* content = original.GetStringUTFChars(env, string, nullptr);
  std::string shown = content;
  original.ReleaseStringUTFChars(env, string, content);
  original.DeleteLocalRef(env, string);
  return shown;
}
