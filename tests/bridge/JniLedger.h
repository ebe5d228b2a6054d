// The VM's function table with slots exchanged, on this thread and for a scope.
#ifndef VESK_TESTS_BRIDGE_JNI_LEDGER_H
#define VESK_TESTS_BRIDGE_JNI_LEDGER_H

#include <gtest/gtest.h>
#include <jni.h>

#include <map>
#include <set>
#include <string>

// Makes single calls fail: `fault->NewStringUTF = ...`. C++ calls with `...` go through the V slot.
class JniFault {
 public:
  explicit JniFault(JNIEnv* jniEnv) : env(jniEnv), original(env->functions), patched(*original) {
    env->functions = &patched;
  }
  ~JniFault() { env->functions = original; }
  JniFault(const JniFault&) = delete;
  JniFault& operator=(const JniFault&) = delete;
  JNINativeInterface_* operator->() { return &patched; }
  const JNINativeInterface_* real() const { return original; }

 private:
  JNIEnv* env;
  const JNINativeInterface_* original;
  JNINativeInterface_ patched;
};

// Counts what the bridge takes from the VM; at the end of the scope all of it must be given back.
// Global references are kept on purpose and only counted.
class JniLedger {
 public:
  explicit JniLedger(JNIEnv* env) : table(env) {
    current = this;
    countStrings();
    countReferences();
  }
  ~JniLedger() {
    EXPECT_TRUE(held.empty()) << held.size() << " things taken from the VM were not given back";
    current = nullptr;
  }
  JniLedger(const JniLedger&) = delete;
  JniLedger& operator=(const JniLedger&) = delete;

  int count(const std::string& call) { return counts[call]; }

 private:
  JniFault table;
  std::multiset<const void*> held;
  std::map<std::string, int> counts;
  inline static JniLedger* current = nullptr;

  template <typename Thing>
  static Thing* took(const char* call, Thing* thing) {
    if (thing != nullptr) current->held.insert(thing);
    ++current->counts[call];
    return thing;
  }
  static const JNINativeInterface_* gave(const void* thing) {
    const auto found = current->held.find(thing);
    EXPECT_TRUE(found != current->held.end()) << "given back without having been taken";
    if (found != current->held.end()) current->held.erase(found);
    return current->table.real();
  }

  void countStrings() {
    table->GetStringChars = [](JNIEnv* env, jstring s, jboolean* copy) {
      return took("GetStringChars", current->table.real()->GetStringChars(env, s, copy));
    };
    table->ReleaseStringChars = [](JNIEnv* env, jstring s, const jchar* chars) {
      gave(chars)->ReleaseStringChars(env, s, chars);
    };
    table->GetStringUTFChars = [](JNIEnv* env, jstring s, jboolean* copy) {
      return took("GetStringUTFChars", current->table.real()->GetStringUTFChars(env, s, copy));
    };
    table->ReleaseStringUTFChars = [](JNIEnv* env, jstring s, const char* chars) {
      gave(chars)->ReleaseStringUTFChars(env, s, chars);
    };
    table->GetByteArrayElements = [](JNIEnv* env, jbyteArray a, jboolean* copy) {
      return took("GetByteArrayElements",
                  current->table.real()->GetByteArrayElements(env, a, copy));
    };
    table->ReleaseByteArrayElements = [](JNIEnv* env, jbyteArray a, jbyte* bytes, jint mode) {
      EXPECT_EQ(0, mode);
      gave(bytes)->ReleaseByteArrayElements(env, a, bytes, mode);
    };
  }

  void countReferences() {
    table->FindClass = [](JNIEnv* env, const char* name) {
      return took("FindClass", current->table.real()->FindClass(env, name));
    };
    table->NewStringUTF = [](JNIEnv* env, const char* text) {
      return took("NewStringUTF", current->table.real()->NewStringUTF(env, text));
    };
    table->DeleteLocalRef = [](JNIEnv* env, jobject reference) {
      gave(reference)->DeleteLocalRef(env, reference);
    };
    table->NewGlobalRef = [](JNIEnv* env, jobject reference) {
      ++current->counts["NewGlobalRef"];
      return current->table.real()->NewGlobalRef(env, reference);
    };
  }
};

#endif
