#include "JniCommon.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "ModifiedUtf8.h"
#include "product/log.h"

jclass jArrLClz = nullptr;
jmethodID jArrLCon = nullptr;
jmethodID jArrLAdd = nullptr;
jmethodID jArrLGet = nullptr;
jmethodID jArrLSize = nullptr;

namespace {

constexpr const char* emptyText = "";
constexpr char lostText[] = "";

// Bytes for `length` UTF-16 units and a terminator; 0 when the address space has no room for them.
std::size_t bufferSize(std::size_t length) {
  const std::uint64_t size = 2 * std::uint64_t{length} + 2;
  return size <= SIZE_MAX ? static_cast<std::size_t>(size) : 0;
}

// `text` is in the VM's form.
jint addText(JNIEnv* env, const char* text, jobject list) {
  if (list == nullptr) return result::addRefused;
  jstring element = env->NewStringUTF(text);
  if (element == nullptr) return result::stringNotCreated;
  const jboolean added = env->CallBooleanMethod(list, jArrLAdd, element);
  const bool threw = env->ExceptionCheck();
  env->DeleteLocalRef(element);
  return added && !threw ? result::success : result::addRefused;
}

}  // namespace

void logNoMemory(const char* entryPoint) noexcept {
  const char* name = std::strstr(entryPoint, "jni_");
  name = name != nullptr ? name + std::strlen("jni_") : entryPoint;
  try {
    VESK::Log::LogByLevel(1, "%s: out of memory; restart the console and watch its memory", name);
  } catch (const std::bad_alloc&) {  // not even for a log
  }
}

bool isLostText(const char* text) { return text == lostText; }

VeskJniString::VeskJniString(JNIEnv* jniEnv, jstring s)
    : env(jniEnv), str(emptyText), jstr(s), buf(nullptr), fromUtf(false) {
  if (s == nullptr) return;
  const auto length = static_cast<std::size_t>(env->GetStringLength(s));
  if (length == 0) return;
  str = lostText;
  const std::size_t size = bufferSize(length);
  if (size == 0) return;
  buf = size <= sizeof inlineBuf ? inlineBuf : static_cast<char*>(std::malloc(size));
  if (buf == nullptr) return;
  const jchar* chars = env->GetStringChars(s, nullptr);
  if (chars == nullptr) {
    dropBuffer();
    return;
  }
  const bool ascii = copyAscii(chars, length);
  env->ReleaseStringChars(s, chars);
  if (ascii) return;
  dropBuffer();
  const char* utf = env->GetStringUTFChars(s, nullptr);
  if (utf == nullptr) return;
  str = utf;
  fromUtf = true;
}

VeskJniString::~VeskJniString() {
  if (fromUtf) {
    env->ReleaseStringUTFChars(jstr, str);
    str = emptyText;
  }
  if (buf != nullptr && buf[0] != '\0') dropBuffer();
}

void VeskJniString::dropBuffer() {
  if (buf != inlineBuf) std::free(buf);
  buf = nullptr;
}

// Looks at the unit behind the last character too: the VM ends its copy with a zero unit, and a
// copy that does not end so is not taken for ASCII.
bool VeskJniString::copyAscii(const jchar* chars, std::size_t length) {
  char* to = buf;  // through the member, each byte written could move the buffer: no vector code
  jchar seen = chars[length];
  for (std::size_t i = 0; i < length; ++i) {
    seen = static_cast<jchar>(seen | chars[i]);
    to[i] = static_cast<char>(chars[i]);
  }
  if (seen >= 0x80) return false;
  to[length] = '\0';
  if (to[0] == '\0') {
    str = emptyText;
    dropBuffer();
  } else {
    str = to;
  }
  return true;
}

void readByteText(JNIEnv* env, jbyteArray source, char* buffer, jsize limit) {
  if (source == nullptr) return;
  jsize length = env->GetArrayLength(source);
  if (length < 0 || length > limit) length = limit;
  jbyte* elements = env->GetByteArrayElements(source, nullptr);
  if (elements == nullptr) return;
  std::strncpy(buffer, reinterpret_cast<const char*>(elements), static_cast<std::size_t>(length));
  buffer[length] = '\0';
  env->ReleaseByteArrayElements(source, elements, 0);
}

const char* keptText(JNIEnv* env, jstring s) {
  const char* text = env->GetStringUTFChars(s, nullptr);
  return text != nullptr ? text : emptyText;
}

jint resolveList(JNIEnv* env, ListClass& resolved) {
  jclass local = env->FindClass("java/util/ArrayList");
  if (local == nullptr) return result::classNotFound;
  resolved.list = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  if (resolved.list == nullptr) return result::globalRefNotMade;
  resolved.add = env->GetMethodID(resolved.list, "add", "(Ljava/lang/Object;)Z");
  return resolved.add != nullptr ? result::success : result::methodNotFound;
}

int formJArrListStr(JNIEnv* env, std::vector<std::string>& items, jobject list) {
  for (std::string& item : items) {
    const ModifiedUtf8 converted(item.c_str());
    if (converted.c_str() != item.c_str()) item = converted.c_str();
  }
  for (const std::string& item : items) {
    if (const jint code = addText(env, item.c_str(), list); code != result::success) return code;
  }
  return result::success;
}

int formJArrListStr(JNIEnv* env, char* text, jobject list) {
  return addText(env, ModifiedUtf8(text).c_str(), list);
}
