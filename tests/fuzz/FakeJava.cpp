#include "FakeJava.h"

#include <deque>

#include "Fuzz.h"
#include "JniCommon.h"

namespace fuzz {

namespace {

struct String {
  std::u16string text;
  std::string utf;
};

struct World {
  std::deque<String> strings;
  std::deque<std::string> arrays;
  std::vector<std::string>* list = nullptr;
  int borrowed = 0;
};
World* world = nullptr;

String& stringOf(jstring reference) { return *reinterpret_cast<String*>(reference); }

jstring newString(JNIEnv*, const char* utf) {
  FUZZ_EXPECT(isUtf8(utf, Surrogates::allowed));
  FUZZ_EXPECT(std::string_view(utf).find('\xF0') == std::string_view::npos);
  world->strings.push_back({{}, utf});
  return reinterpret_cast<jstring>(&world->strings.back());
}

const jchar* getChars(JNIEnv*, jstring reference, jboolean*) {
  ++world->borrowed;
  return reinterpret_cast<const jchar*>(stringOf(reference).text.c_str());
}

const char* getUtf(JNIEnv*, jstring reference, jboolean*) {
  ++world->borrowed;
  return stringOf(reference).utf.c_str();
}

jbyte* getElements(JNIEnv*, jbyteArray reference, jboolean*) {
  ++world->borrowed;
  return reinterpret_cast<jbyte*>(reinterpret_cast<std::string*>(reference)->data());
}

jboolean add(JNIEnv*, jobject, jmethodID, va_list arguments) {
  world->list->push_back(stringOf(va_arg(arguments, jstring)).utf);
  return JNI_TRUE;
}

}  // namespace

FakeJava::FakeJava() {
  FUZZ_EXPECT(world == nullptr);
  world = new World;
  world->list = &added;
  functions.NewStringUTF = newString;
  functions.GetStringLength = [](JNIEnv*, jstring reference) {
    return static_cast<jsize>(stringOf(reference).text.size());
  };
  functions.GetStringChars = getChars;
  functions.ReleaseStringChars = [](JNIEnv*, jstring, const jchar*) { --world->borrowed; };
  functions.GetStringUTFChars = getUtf;
  functions.ReleaseStringUTFChars = [](JNIEnv*, jstring, const char*) { --world->borrowed; };
  functions.GetArrayLength = [](JNIEnv*, jarray reference) {
    return static_cast<jsize>(reinterpret_cast<std::string*>(reference)->size());
  };
  functions.GetByteArrayElements = getElements;
  functions.ReleaseByteArrayElements = [](JNIEnv*, jbyteArray, jbyte*, jint) { --world->borrowed; };
  functions.CallBooleanMethodV = add;
  functions.ExceptionCheck = [](JNIEnv*) -> jboolean { return JNI_FALSE; };
  functions.DeleteLocalRef = [](JNIEnv*, jobject) {};
  environment.functions = &functions;
}

FakeJava::~FakeJava() {
  FUZZ_EXPECT(world->borrowed == 0);
  delete world;
  world = nullptr;
}

jstring FakeJava::string(std::u16string text) {
  std::string utf = modifiedUtf8(text);
  world->strings.push_back({std::move(text), std::move(utf)});
  return reinterpret_cast<jstring>(&world->strings.back());
}

std::string FakeJava::utfOf(jstring text) { return stringOf(text).utf; }

jbyteArray FakeJava::bytes(std::string content) {
  world->arrays.push_back(std::move(content));
  return reinterpret_cast<jbyteArray>(&world->arrays.back());
}

std::string modifiedUtf8(const std::u16string& text) {
  std::string utf;
  for (const unsigned unit : text) {
    if (unit > 0 && unit < 0x80) {
      utf += static_cast<char>(unit);
    } else if (unit < 0x800) {
      utf += static_cast<char>(0xC0 + unit / 64);
      utf += static_cast<char>(0x80 + unit % 64);
    } else {
      utf += static_cast<char>(0xE0 + unit / 4096);
      utf += static_cast<char>(0x80 + unit / 64 % 64);
      utf += static_cast<char>(0x80 + unit % 64);
    }
  }
  return utf;
}

}  // namespace fuzz
