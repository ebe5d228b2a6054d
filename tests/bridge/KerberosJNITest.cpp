#include "com_brelvik_vesk_ui_modelobjects_jni_KerberosJNI.h"

#include "JniCommon.h"
#include "JvmTest.h"

namespace {

using Texts = std::vector<std::u16string>;

struct KerberosJNITest : JvmTest {
  jobject list = nullptr;

  void SetUp() override {
    JvmTest::SetUp();
    list = newList();
    product.name = "HTTP/gate.test@TEST";
  }
  // The path's characters are kept on purpose, so that the ledger is not asked.
  jint spn(jstring path, jobject into) {
    return Java_com_brelvik_vesk_ui_modelobjects_jni_KerberosJNI_getSpnFromKeytab(env, nullptr,
                                                                                  path, into);
  }
  jint spn() { return spn(text(u"/k\u00e4y"), list); }
};

TEST_F(KerberosJNITest, OneNameIsAppendedWhateverTheBridgeKnowsOfLists) {
  jArrLAdd = nullptr;
  EXPECT_EQ(0, spn());
  product.name = "HTTP/\xF0\x9F\x98\x80@TEST";
  EXPECT_EQ(0, spn());
  EXPECT_EQ((Texts{u"HTTP/gate.test@TEST", u"HTTP/\U0001F600@TEST"}), texts(list));
  EXPECT_EQ("keytab /k\xC3\xA4y 1024", product.calls.at(0));
}

TEST_F(KerberosJNITest, WithoutAPrincipalNothingIsAppendedAndNothingAskedOfTheVm) {
  product.name = "";
  JniFault fault(env);
  fault->FindClass = [](JNIEnv*, const char*) -> jclass { return nullptr; };
  EXPECT_EQ(0, spn());
  EXPECT_EQ(Texts{}, texts(list));
}

TEST_F(KerberosJNITest, NullArgumentsAndWhatTheVmRefuses) {
  EXPECT_EQ(500, spn(nullptr, list));
  EXPECT_EQ(Calls{}, product.calls);
  EXPECT_EQ(500, spn(text(u"/key"), nullptr));
  EXPECT_EQ(0, spn(text(u"/key"), refusingList()));
  EXPECT_TRUE(takeException());
  {
    JniFault fault(env);
    fault->GetMethodID = [](JNIEnv*, jclass, const char*, const char*) -> jmethodID {
      return nullptr;
    };
    EXPECT_EQ(511, spn());
    fault->NewGlobalRef = [](JNIEnv*, jobject) -> jobject { return nullptr; };
    EXPECT_EQ(508, spn());
    fault->FindClass = [](JNIEnv*, const char*) -> jclass { return nullptr; };
    EXPECT_EQ(510, spn());
  }
  EXPECT_EQ(Texts{}, texts(list));
}

}  // namespace
