#include "com_brelvik_vesk_ui_modelobjects_jni_UpdateJNI.h"

#include "JniCommon.h"
#include "JvmTest.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

using Texts = std::vector<std::u16string>;

struct UpdateJNITest : JvmTest {
  jobject list = nullptr;
  jobject names = nullptr;

  void SetUp() override {
    JvmTest::SetUp();
    list = newList();
    names = newList();
  }
  jint update(std::u16string_view selection) {
    jstring chosen = text(selection);
    product.calls.clear();
    return bridge([&] { return PEER(UpdateJNI, manualUpdate)(env, nullptr, 5, chosen, list); });
  }
  jint rollback(std::u16string_view selection) {
    jstring chosen = text(selection);
    product.calls.clear();
    return bridge([&] { return PEER(UpdateJNI, rollback)(env, nullptr, 5, chosen, list); });
  }
};

TEST_F(UpdateJNITest, PositionsOfTheSelectionChooseComponents) {
  const std::tuple<const char16_t*, std::string> rows[] = {
      {u"0000000001", "10"},
      {u"00000000011", "10"},
      {u"0000000100", "8"},
      {u"x1 \u00e4\U0001F6001", "1 6"},  // the last character before it counts as two, as in Java
      {u"111111111111", "0 1 2 3 4 5 6 8 9 10"},
  };
  for (const auto& [selection, types] : rows) {
    rollback(selection);
    std::string asked;
    for (std::size_t i = 1; i < product.calls.size(); ++i) {
      const std::string& call = product.calls[i];
      asked += (i > 1 ? " " : "") + call.substr(8, call.find(' ') - 8);
    }
    EXPECT_EQ(types, asked);
  }
}

TEST_F(UpdateJNITest, EveryChosenComponentIsUpdatedAndReported) {
  product.answers = {{"download0", 1}, {"download2", 2}};
  EXPECT_EQ(500, update(u"1110"));
  EXPECT_EQ((Calls{"engine 0", "download0 0", "event 5 0 1", "download1 0", "event 5 1 0",
                   "download2 0", "event 5 2 2", "upload"}),
            product.calls);
  EXPECT_EQ((Texts{u"v0", u"v1", u"v2"}), texts(list));
  EXPECT_EQ(0, update(u"11"));
  EXPECT_EQ(600, update(u"01"));
  EXPECT_EQ(600, update(u"000"));
  EXPECT_EQ((Calls{"engine 0", "upload"}), product.calls);
  product.answers["download1"] = 4;
  EXPECT_EQ(500, update(u"01"));
}

TEST_F(UpdateJNITest, RollbackTellsEachOutcome) {
  product.answers = {{"rollback0", 1}, {"rollback1", 4}, {"rollback2", 2}, {"rollback3", 9}};
  EXPECT_EQ(500, rollback(u"11111"));
  EXPECT_EQ("rollback4 5", product.calls.back());
  EXPECT_EQ((Texts{u"SUCCESS", u"ROLLBACK_UNAVAILABLE", u"FAIL", u"FAIL", u"FAIL"}), texts(list));
  EXPECT_EQ(0, rollback(u"1"));
}

TEST_F(UpdateJNITest, VersionListsHoldWhatTheSourceHasAndAllThatIsInstalled) {
  const auto available = [&] {
    return bridge([&] { return PEER(UpdateJNI, getAvailVersion)(env, nullptr, list, names); });
  };
  product.answers["avail"] = 2;
  EXPECT_EQ(0, available());
  EXPECT_EQ(Texts{}, texts(list));
  product.answers = {{"avail0", 2}, {"avail8", 2}, {"avail1", 1}};
  EXPECT_EQ(0, available());
  EXPECT_EQ((Texts{u"new1", u"new2", u"new3", u"new4", u"new5", u"new6", u"new9", u"new10"}),
            texts(list));
  EXPECT_EQ(u"name10", texts(names).back());
  list = newList();
  EXPECT_EQ(0,
            bridge([&] { return PEER(UpdateJNI, getCurrentVersion)(env, nullptr, list, names); }));
  EXPECT_EQ(10U, texts(list).size());
  EXPECT_EQ(u"now8", texts(list)[7]);
  EXPECT_EQ(0, PEER(UpdateJNI, getCurrentVersion)(env, nullptr, refusingList(), names));
  EXPECT_TRUE(takeException());
}

TEST_F(UpdateJNITest, WhatIsMissingIsRefusedBeforeAnythingRuns) {
  jstring one = text(u"1"), empty = text(u"");
  product.calls.clear();
  for (const auto& [selection, into] :
       {std::pair<jstring, jobject>{one, nullptr}, {nullptr, list}, {empty, list}}) {
    EXPECT_EQ(500, PEER(UpdateJNI, manualUpdate)(env, nullptr, 0, selection, into));
    EXPECT_EQ(500, PEER(UpdateJNI, rollback)(env, nullptr, 0, selection, into));
  }
  EXPECT_EQ(500, PEER(UpdateJNI, getAvailVersion)(env, nullptr, nullptr, list));
  EXPECT_EQ(500, PEER(UpdateJNI, getCurrentVersion)(env, nullptr, list, nullptr));
  EXPECT_EQ(Calls{}, product.calls);
  product.engineReady = false;
  EXPECT_EQ(500, update(u"1"));
  EXPECT_EQ(Calls{"engine 0"}, product.calls);
  EXPECT_EQ(500, rollback(u"1"));
  EXPECT_EQ(500, PEER(UpdateJNI, getAvailVersion)(env, nullptr, list, names));
  EXPECT_EQ(500, PEER(UpdateJNI, getCurrentVersion)(env, nullptr, list, names));
}

TEST_F(UpdateJNITest, AnUpdateRunsOrNot) {
  EXPECT_EQ(601, PEER(UpdateJNI, isRunning)(env, nullptr));
  product.answers["running"] = 1;
  EXPECT_EQ(0, PEER(UpdateJNI, isRunning)(env, nullptr));
}

TEST_F(UpdateJNITest, CipherTextsWorkBeforeInitialisation) {
  jArrLAdd = nullptr;
  product.name = "secret";
  jstring plain = text(u"p\u00e4ss");
  jstring tooLong = text(std::u16string(1025, u'c'));
  static int references;
  references = 0;
  JniFault fault(env);
  static const JNINativeInterface_* real = fault.real();
  fault->NewGlobalRef = [](JNIEnv* e, jobject object) {
    ++references;
    return real->NewGlobalRef(e, object);
  };
  fault->DeleteGlobalRef = [](JNIEnv* e, jobject object) {
    --references;
    real->DeleteGlobalRef(e, object);
  };
  product.calls.clear();
  EXPECT_EQ(0, bridge([&] { return PEER(UpdateJNI, getEncryptStr)(env, nullptr, plain, list); }));
  EXPECT_EQ(0, bridge([&] { return PEER(UpdateJNI, getDecryptStr)(env, nullptr, tooLong, list); }));
  EXPECT_EQ((Calls{"encrypt 1024 p\xC3\xA4ss", "decrypt 1024 " + std::string(1024, 'c')}),
            product.calls);
  EXPECT_EQ(0, references);
  EXPECT_EQ(500, PEER(UpdateJNI, getEncryptStr)(env, nullptr, nullptr, list));
  EXPECT_EQ(500, PEER(UpdateJNI, getDecryptStr)(env, nullptr, plain, nullptr));
  fault->GetMethodID = [](JNIEnv*, jclass, const char*, const char*) -> jmethodID {
    return nullptr;
  };
  EXPECT_EQ(511, PEER(UpdateJNI, getEncryptStr)(env, nullptr, nullptr, list));
  EXPECT_EQ(0, references);
  fault->NewGlobalRef = [](JNIEnv*, jobject) -> jobject { return nullptr; };
  EXPECT_EQ(508, PEER(UpdateJNI, getDecryptStr)(env, nullptr, plain, list));
  fault->FindClass = [](JNIEnv*, const char*) -> jclass { return nullptr; };
  EXPECT_EQ(510, PEER(UpdateJNI, getDecryptStr)(env, nullptr, plain, list));
  fault->GetMethodID = real->GetMethodID;
  EXPECT_EQ((Texts{u"secret", u"secret"}), texts(list));
}

}  // namespace
