// What every entry point uses to read Java arguments and to hand texts back.
#ifndef VESK_JNI_COMMON_H
#define VESK_JNI_COMMON_H

#include <jni.h>

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "ResultCode.h"

// Spells the exported name of the native method `method` of the peer class `peer`.
#define VESK_JNI(result, peer, method) \
  extern "C" JNIEXPORT result JNICALL Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

// Ends the body of an entry point that begins with `try`: when memory ends in there, `answer` and a
// line in the log instead of the end of the VM. All else that the product may throw passes.
#define VESK_ON_NO_MEMORY(answer) \
  catch (const std::bad_alloc&) { \
    logNoMemory(__func__);        \
    return answer;                \
  }

void logNoMemory(const char* entryPoint) noexcept;

// Handles of java.util.ArrayList, set once by initializeJNI, only read afterwards and never
// released: they serve until the process ends. Nothing here checks them.
extern jclass jArrLClz;  // global reference
extern jmethodID jArrLCon;
extern jmethodID jArrLAdd;
extern jmethodID jArrLGet;
extern jmethodID jArrLSize;

template <typename... References>
[[nodiscard]] bool anyNull(References... references) {
  return ((references == nullptr) || ...);
}

// Whether the text is "" only for want of memory: VeskJniString's is then at an address of its own.
[[nodiscard]] bool isLostText(const char* text);

// Reads a Java string for the length of a scope. `str` is never null: "" for an empty string, for
// one that starts with U+0000, and when memory is short. ASCII is copied, up to 511 characters
// without the heap; any other text is the VM's own modified UTF-8. A null string, which most entry
// points refuse before, reads as the empty one.
class VeskJniString {
 public:
  VeskJniString(JNIEnv* env, jstring s);
  ~VeskJniString();
  VeskJniString(const VeskJniString&) = delete;
  VeskJniString& operator=(const VeskJniString&) = delete;
  // Whether `str` is "" only for want of memory.
  [[nodiscard]] bool lost() const { return isLostText(str); }

 private:
  JNIEnv* env;

 public:
  const char* str;  // lives as long as the object

 private:
  jstring jstr;
  char inlineBuf[1024];
  char* buf;     // inlineBuf, a heap block, or null
  bool fromUtf;  // str came from GetStringUTFChars

  void dropBuffer();
  bool copyAscii(const jchar* chars, std::size_t length);
};

// For entry points for which an empty text is another request. Throws std::bad_alloc.
template <typename... Texts>
void requireRead(const Texts&... texts) {
  if ((texts.lost() || ...)) throw std::bad_alloc();
}

// Copies the bytes of a Java byte array into `buffer`, which holds limit + 1 bytes, all zero: at
// most `limit` bytes, up to the first zero byte; always terminated. A null array reads as the empty
// text.
void readByteText(JNIEnv* env, jbyteArray source, char* buffer, jsize limit);

// A text that the console passes as UTF-8 bytes, cut without notice at Limit bytes.
template <std::size_t Limit>
class JniByteText {
 public:
  JniByteText(JNIEnv* env, jbyteArray source) {
    readByteText(env, source, text, static_cast<jsize>(Limit));
  }
  const char* c_str() const { return text; }

 private:
  char text[Limit + 1] = {};
};

// The text of a Java string as the VM's own copy, which is never given back, on purpose: "" when
// memory is short.
[[nodiscard]] const char* keptText(JNIEnv* env, jstring s);

// java.util.ArrayList resolved for one call, for entry points that work before initializeJNI has.
struct ListClass {
  jclass list = nullptr;  // a global reference, the caller's
  jmethodID add = nullptr;
};
// 0, 510, 508 or 511.
[[nodiscard]] jint resolveList(JNIEnv* env, ListClass& resolved);

// Appends texts to a java.util.ArrayList. The texts are UTF-8; four-byte characters reach Java
// whole and bytes that are not UTF-8 become U+FFFD. Returns 0; 501 when a Java string could not be
// made; 503 when `add` returned false or threw (the exception stays pending) or the list is null.
// On 501 and 503 the texts added so far stay in the list. The texts are changed in place, all
// before the first is added: when memory ends meanwhile, std::bad_alloc leaves the list as it was.
[[nodiscard]] int formJArrListStr(JNIEnv* env, std::vector<std::string>& items, jobject list);
// The whole text becomes one element.
[[nodiscard]] int formJArrListStr(JNIEnv* env, char* text, jobject list);

#endif
