// A Java environment of a few functions, for what turns Java's strings into texts and back.
#ifndef VESK_FUZZ_FAKE_JAVA_H
#define VESK_FUZZ_FAKE_JAVA_H

#include <jni.h>

#include <string>
#include <vector>

namespace fuzz {

// One at a time. Strings live as long as it does; it looks that each one that was borrowed is given
// back, and that what becomes a string is in the VM's modified UTF-8.
class FakeJava {
 public:
  FakeJava();
  ~FakeJava();
  FakeJava(const FakeJava&) = delete;
  FakeJava& operator=(const FakeJava&) = delete;

  JNIEnv* env() { return &environment; }
  jstring string(std::u16string text);
  static std::string utfOf(jstring text);
  jbyteArray bytes(std::string content);
  jobject list() { return reinterpret_cast<jobject>(this); }

  // What was added to the list.
  std::vector<std::string> added;

 private:
  JNINativeInterface_ functions{};
  JNIEnv environment{};
};

// The VM's modified UTF-8: U+0000 in two bytes, supplementary characters as two surrogates.
std::string modifiedUtf8(const std::u16string& text);

}  // namespace fuzz

#endif
