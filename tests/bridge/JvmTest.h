// The bridge in a real VM, whose own checks are on; whatever the VM complains of fails the test.
#ifndef VESK_TESTS_BRIDGE_JVM_TEST_H
#define VESK_TESTS_BRIDGE_JVM_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jni.h>

#include <string>
#include <string_view>
#include <vector>

#include "JniLedger.h"
#include "doubles/Product.h"

using Calls = std::vector<std::string>;

class JvmTest : public testing::Test {
 protected:
  void SetUp() override;     // the library is initialised, the journal empty
  void TearDown() override;  // the VM has not complained and the product got everything back

  jstring text(std::u16string_view content);
  jbyteArray bytes(std::string_view content);
  jobject newObject(const char* className);
  jobject newList() { return newObject("java/util/ArrayList"); }
  jobject refusingList();  // an ArrayList whose `add` throws
  std::vector<std::u16string> texts(jobject list);
  bool takeException();  // whether one was pending; clears it

  // Every call of the bridge goes through here: what it took from the VM must be given back.
  template <typename Call>
  auto bridge(const Call& call) {
    const JniLedger ledger(env);
    return call();
  }

  static JNIEnv* env;
};

#endif
