// The VM's function table with slots exchanged, on this thread and for a scope.
#ifndef VESK_TESTS_BRIDGE_JNI_LEDGER_H
#define VESK_TESTS_BRIDGE_JNI_LEDGER_H

#include <gtest/gtest.h>
#include <jni.h>

#include <set>

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

// Keeps account of what the bridge takes from the VM; at the end of the scope all of it must be
// given back. Global references are kept on purpose.
class JniLedger {
 public:
  explicit JniLedger(JNIEnv* env) : table(env) {
    real = table.real();
    held.clear();
    takes<&Table::GetStringChars>();
    gives<&Table::ReleaseStringChars>();
    takes<&Table::GetStringUTFChars>();
    gives<&Table::ReleaseStringUTFChars>();
    takes<&Table::GetByteArrayElements>();
    gives<&Table::ReleaseByteArrayElements>();
    takes<&Table::GetIntArrayElements>();
    gives<&Table::ReleaseIntArrayElements>();
    takes<&Table::FindClass>();
    takes<&Table::NewStringUTF>();
    takes<&Table::CallObjectMethodV>();
    gives<&Table::DeleteLocalRef>();
  }
  ~JniLedger() {
    EXPECT_TRUE(held.empty()) << held.size() << " things taken from the VM were not given back";
  }
  JniLedger(const JniLedger&) = delete;
  JniLedger& operator=(const JniLedger&) = delete;

 private:
  using Table = JNINativeInterface_;
  JniFault table;
  inline static const Table* real;
  inline static std::multiset<const void*> held;

  template <auto Slot>
  void takes() {
    (*table.operator->()).*Slot = [](JNIEnv* env, auto... arguments) {
      const auto thing = (real->*Slot)(env, arguments...);
      if (thing != nullptr) held.insert(thing);
      return thing;
    };
  }
  template <auto Slot>
  void gives() {
    (*table.operator->()).*Slot = [](JNIEnv* env, auto... arguments) {
      const void* thing = nullptr;
      ((thing = pointer(thing, arguments)), ...);  // the last one that is a pointer
      const auto found = held.find(thing);
      EXPECT_TRUE(found != held.end()) << "given back without having been taken";
      if (found != held.end()) held.erase(found);
      (real->*Slot)(env, arguments...);
    };
  }
  static const void* pointer(const void*, const void* argument) { return argument; }
  static const void* pointer(const void* before, jint mode) {
    EXPECT_EQ(0, mode);  // bytes are always copied back and freed
    return before;
  }
};

#endif
