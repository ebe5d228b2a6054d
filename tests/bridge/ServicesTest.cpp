// PolicyJNI.validateKeyword, QUORJNI and EuqJNI.
#include <functional>

#include "JvmTest.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_EuqJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PolicyJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QUORJNI.h"
#include "product/filter.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

struct ServicesTest : JvmTest {
  std::string utf8(jobject string) {
    const char* utf = env->GetStringUTFChars(static_cast<jstring>(string), nullptr);
    std::string copy = utf;
    env->ReleaseStringUTFChars(static_cast<jstring>(string), utf);
    return copy;
  }
};

TEST_F(ServicesTest, KeywordsAreConvertedForSubjectLinesAndVerified) {
  for (const auto& [fails, code, line] : {std::tuple{0, 0, "true"}, {1, 516, "false"}}) {
    jstring keyword = text(fails == 0 ? u"k\u00e9y" : u"");
    const std::string kwd = fails == 0 ? "k\xC3\xA9y" : "";
    product.answers["valReg"] = fails;
    product.calls.clear();
    EXPECT_EQ(code,
              bridge([&] { return PEER(PolicyJNI, validateKeyword)(env, nullptr, keyword); }));
    EXPECT_EQ((Calls{"convert subject " + kwd,
                     "log 3 original kwd=" + kwd + ", converted to <" + kwd +
                         ">, call valReg() to verify it",
                     "valReg <" + kwd + ">", std::string("log 3 valReg() return ") + line}),
              product.calls);
  }
  EXPECT_EQ(500, PEER(PolicyJNI, validateKeyword)(env, nullptr, nullptr));
}

// What scanners that were built before rely on, by the place in the table of virtual functions.
struct SlotFilter : ContexFilterP {
  std::vector<int>& called;
  explicit SlotFilter(std::vector<int>& calls) : called(calls) {}
  bool note(int slot) {
    called.push_back(slot);
    return false;
  }
  bool init(const char*) override { return note(2); }
  bool match(const VeskFilterInput&, VeskFilterResult&) override { return note(3); }
  void reset() override { note(4); }
  bool setThreadData(void*) override { return note(5); }
  const char* filterName() const override { return nullptr; }
  bool isMultiFilterType() override { return note(7); }
  bool hasNamedObjects() override { return note(8); }
  bool getNamedObjectIds(const std::string&, std::vector<unsigned>&) override { return note(9); }
  bool getNamedObjectIds(const char*, int, std::vector<unsigned>&) override { return note(10); }
  int filterCount() const override { return 11; }
  VeskFilter* filterAt(int) override { return nullptr; }
  bool addFilter(VeskFilter*) override { return note(13); }
  bool removeFilter(int) override { return note(14); }
  bool matchAll(const VeskFilterInput&, VeskFilterResult&) override { return note(15); }
};

TEST(FilterClassTest, OrderOfTheVirtualFunctions) {
  std::vector<int> called;
  SlotFilter filter(called);
  // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign): the table, which it does not know
  const auto* table = *reinterpret_cast<void* const* const*>(static_cast<VeskFilter*>(&filter));
  using Function = bool (*)(void*, const void*, const void*, const void*);
  for (const int slot : {2, 3, 4, 5, 7, 8, 9, 10, 13, 14, 15}) {
    reinterpret_cast<Function>(table[slot])(&filter, nullptr, nullptr, nullptr);
    ASSERT_FALSE(called.empty());
    EXPECT_EQ(slot, called.back());
  }
}

struct PlainFilter : SlotFilter {
  using SlotFilter::SlotFilter;
  bool isMultiFilterType() override { return ContexFilterP::isMultiFilterType(); }
  bool hasNamedObjects() override { return VeskFilter::hasNamedObjects(); }
  bool setThreadData(void* data) override { return VeskFilter::setThreadData(data); }
  bool getNamedObjectIds(const std::string& name, std::vector<unsigned>& ids) override {
    return VeskFilter::getNamedObjectIds(name, ids);
  }
  bool getNamedObjectIds(const char* name, int length, std::vector<unsigned>&) override {
    note(length);
    return std::string(name) == "name";
  }
};

TEST(FilterClassTest, WhatTheBasesAnswer) {
  std::vector<int> called;
  PlainFilter plain(called);
  VeskFilter& filter = plain;
  std::vector<unsigned> ids;
  EXPECT_TRUE(filter.setThreadData(nullptr));
  EXPECT_TRUE(filter.isMultiFilterType());
  EXPECT_FALSE(filter.VeskFilter::isMultiFilterType());
  EXPECT_FALSE(filter.hasNamedObjects());
  EXPECT_TRUE(filter.getNamedObjectIds(std::string("name"), ids));
  EXPECT_EQ(std::vector<int>{4}, called);
  EXPECT_FALSE(filter.VeskFilter::getNamedObjectIds("name", 4, ids));
}

struct QUORJNITest : ServicesTest {
  std::pair<jint, jint> check(std::u16string_view server, jint enable, std::u16string_view proxy,
                              std::u16string_view user = u"u") {
    jstring s = text(server), p = text(proxy), u = text(user), w = text(u"pw");
    product.calls.clear();
    const auto array = static_cast<jintArray>(bridge([&]() -> jobject {
      return PEER(QUORJNI, quorChkServerStatus)(env, nullptr, s, enable, p, 3128, u, w);
    }));
    EXPECT_EQ(2, env->GetArrayLength(array));
    jint values[2];
    env->GetIntArrayRegion(array, 0, 2, values);
    return {values[0], values[1]};
  }
};

TEST_F(QUORJNITest, TheConsolesValuesReachTheRecordInOrder) {
  product.answers["check"] = 6;
  product.number = 28;
  EXPECT_EQ(std::pair(6, 28), check(u"rep.test", 1, u"2001:db8::1"));
  const Calls head{"log 3 QUORJNI::quorChkServerStatus Enter",
                   "log 3 CairnServerAddr:rep.test",
                   "log 3 EnableProxy:1",
                   "log 3 ProxyServer:2001:db8::1",
                   "log 3 ProxyPort:3128",
                   "log 3 ProxyUserName:u",
                   "log 3 IPV6 ProxyServer:[2001:db8::1]",
                   "defaults 1",
                   "config rep.test|1|[2001:db8::1]|3128|u|pw"};
  ASSERT_EQ(head.size() + 5, product.calls.size());
  EXPECT_EQ(head, Calls(product.calls.begin(), product.calls.begin() + 9));
  EXPECT_EQ(0U, product.calls[9].find(
                    "log 3 [quor Handler] quorSetServerConfigEx succeed, (QUORJNI.cpp:"));
  EXPECT_EQ((Calls{"ssl 1", "set-ssl 1 1 0", "check 4000 8"}),
            Calls(product.calls.begin() + 10, product.calls.begin() + 13));
  EXPECT_EQ(0U, product.calls[13].find("log 1 [quor Handler] quor server rc=(6), errorCode=(28), "
                                       "totalTime=(0.250000), (QUORJNI.cpp:"));
  for (const std::string& call : product.calls) {
    EXPECT_TRUE(call.find("pw") == std::string::npos || call.find("log") != 0) << call;
  }
}

TEST_F(QUORJNITest, WithoutAProxyItsFieldsKeepTheirDefaults) {
  for (const jint enable : {0, 2, -1}) {
    check(u"s", enable, u"proxyhost");
    EXPECT_EQ("config s|0||8080||", product.calls.at(7));
  }
  check(u"s", 1, u"proxyhost");
  EXPECT_EQ("config s|1|proxyhost|3128|u|pw", product.calls.at(7));
}

TEST_F(QUORJNITest, AFailureEndsTheCheck) {
  product.number = 9;
  product.answers = {{"config", 4}};
  EXPECT_EQ(std::pair(4, 0), check(u"s", 0, u""));
  EXPECT_EQ(0U, product.calls.back().find(
                    "log 1 [quor Handler] quorSetServerConfigEx failed, (QUORJNI.cpp:"));
  product.answers = {{"defaults", 3}};
  EXPECT_EQ(std::pair(3, 0), check(u"s", 0, u""));
  EXPECT_EQ("log 1 load default Server configEx failed", product.calls.back());
}

TEST_F(QUORJNITest, BytesAreWidenedAndLongTextsFillTheirField) {
  check(std::u16string(2000, u's'), 1, std::u16string(2000, u'p'), std::u16string(100, u'u'));
  EXPECT_EQ("check 4000 1024", product.calls[product.calls.size() - 2]);
  EXPECT_NE(std::string::npos, product.calls[7].find("|3128|" + std::string(64, 'u') + "|pw"));
  check(u"\u00e4", 0, u"");  // two bytes, none of them a letter
  EXPECT_EQ("check 4000 2", product.calls[product.calls.size() - 2]);
}

struct EuqJNITest : ServicesTest {
  jint transferResult() { return PEER(EuqJNI, getTransferEuqResult)(env, nullptr); }
  std::string transferText() { return utf8(PEER(EuqJNI, getTransferEuqResult_1s)(env, nullptr)); }
};

TEST_F(EuqJNITest, EachMethodHandsOnItsFunctionsAnswer) {
  const std::pair<const char*, std::function<int()>> rows[] = {
#define ROW(function, method)                                    \
  {                                                              \
    function, [&] { return PEER(EuqJNI, method)(env, nullptr); } \
  }
      ROW("init_euq_lib", init_1euq_1lib),
      ROW("enable_euq", enableEuq),
      ROW("disable_euq", disableEuq),
      ROW("restart_euq", restartEuq),
      ROW("is_euq_enable", isEuqEnable),
      ROW("enable_dl_maintain", enableDlMaintain),
      ROW("disable_dl_maintain", disableDlMaintain),
      ROW("is_dl_maintain_enable", isDlMaintainEnable),
      ROW("cancel_transfer_euq_data", cancelTransferEuqData),
      ROW("is_transferring_euq_data", isTransferringEuqData),
      ROW("remove_euq_data", removeEuqData),
      ROW("is_removing_euq_data", isRemovingEuqData),
#undef ROW
  };
  for (const auto& [function, call] : rows) {
    for (const int answer : {0, 1}) {
      product.answers[function] = answer;
      product.calls.clear();
      EXPECT_EQ(answer, call()) << function;
      EXPECT_EQ(Calls{function}, product.calls);
    }
  }
  product.answers = {{"regist_euq", 11}, {"unregist_euq", 12}, {"transfer_euq_data", 13}};
  product.calls.clear();
  EXPECT_EQ(11, PEER(EuqJNI, registEuq)(env, nullptr, text(u"n\u00e4me")));
  EXPECT_EQ(12, PEER(EuqJNI, unregistEuq)(env, nullptr, -2));
  EXPECT_EQ(13, PEER(EuqJNI, transferEuqData)(env, nullptr, 3));
  EXPECT_EQ((Calls{"regist_euq n\xC3\xA4me", "unregist_euq -2", "transfer_euq_data 3"}),
            product.calls);
  PEER(EuqJNI, registEuq)(env, nullptr, nullptr);  // the library's to refuse
  EXPECT_EQ("regist_euq (null)", product.calls.back());
}

TEST_F(EuqJNITest, AResultIsFrozenFromItsFirstFetchToTheNextStart) {
  PEER(EuqJNI, transferEuqData)(env, nullptr, 1);
  product.number = 9;
  product.name = "moved\xF0\x9F\x98\x80";
  product.answers["transfer_result"] = 1;  // none yet
  product.calls.clear();
  EXPECT_EQ(-1, transferResult());
  EXPECT_EQ("", transferText());
  EXPECT_EQ((Calls{"transfer_result", "transfer_result"}), product.calls);
  product.answers.clear();
  EXPECT_EQ(9, transferResult());
  product.number = 5;
  product.name = "other";
  product.calls.clear();
  EXPECT_EQ("moved\xED\xA0\xBD\xED\xB8\x80", transferText());
  EXPECT_EQ(9, transferResult());
  EXPECT_EQ(Calls{}, product.calls);
  PEER(EuqJNI, removeEuqData)(env, nullptr);  // the other job
  EXPECT_EQ("other", utf8(PEER(EuqJNI, getRemoveEuqResult_1s)(env, nullptr)));
  EXPECT_EQ(5, PEER(EuqJNI, getRemoveEuqResult)(env, nullptr));
  EXPECT_EQ(9, transferResult());
  PEER(EuqJNI, transferEuqData)(env, nullptr, 1);
  EXPECT_EQ("other", transferText());
  EXPECT_EQ(5, transferResult());
}

// Two open pages of the console: one polls, the other starts the next job.
TEST_F(EuqJNITest, ResultOfTheJobBeforeIsNeverThatOfTheNext) {
  const auto start = [&] { PEER(EuqJNI, transferEuqData)(env, nullptr, 1); };
  product.number = 9;
  product.meanwhile = [&] { EXPECT_EQ(9, transferResult()); };
  start();
  product.number = 5;
  EXPECT_EQ(5, transferResult());
  start();
  product.meanwhile = start;
  EXPECT_EQ(5, transferResult());
  product.number = 0;
  EXPECT_EQ(0, transferResult());
}

}  // namespace
