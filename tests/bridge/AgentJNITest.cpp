// SystemMonitorJNI, TorvaCommonJNI, QuarantineJNI and MTAlogJNI.
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <functional>

#include "JniCommon.h"
#include "JvmTest.h"
#include "Seams.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_MTAlogJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QuarantineJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemMonitorJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_TorvaCommonJNI.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

using Texts = std::vector<std::u16string>;

struct AgentJNITest : JvmTest {
  jobject list = nullptr;

  void SetUp() override {
    JvmTest::SetUp();
    list = newList();
  }
  jint test(std::u16string_view host, jint port) {
    product.calls.clear();
    jstring name = text(host);
    return bridge(
        [&] { return PEER(SystemMonitorJNI, testConnection)(env, nullptr, name, port, list); });
  }
};

TEST_F(AgentJNITest, AnAgentIsTestedByAnExactSum) {
  const std::tuple<double, int, jint> rows[] = {
      {2702.0, 0, 0}, {2702.0000001, 0, 300}, {2701.0, 0, 300}, {NAN, 0, 300}, {2702.0, 1, 300},
  };
  for (const auto& [sum, fails, code] : rows) {
    product.number = sum;
    product.answers["test"] = fails;
    EXPECT_EQ(code, test(u"agent", 8090)) << sum;
    EXPECT_EQ(Calls{"test http://agent:8090 1980.0 722.0"}, product.calls);
  }
  EXPECT_EQ(Texts(std::size(rows), u"http://agent:8090"), texts(list));
}

TEST_F(AgentJNITest, TheEndpointIsCutAt127Characters) {
  const std::tuple<std::size_t, jint, std::string> rows[] = {
      {1, -1, "http://h:-1"},
      {1, 0, "http://h:0"},
      {1, 65536, "http://h:65536"},
      {115, 8090, "http://" + std::string(115, 'h') + ":8090"},
      {116, 8090, "http://" + std::string(116, 'h') + ":809"},
      {119, 8090, "http://" + std::string(119, 'h') + ":"},
      {120, 8090, "http://" + std::string(120, 'h')},
      {130, 8090, "http://" + std::string(120, 'h')},
  };
  for (const auto& [length, port, endpoint] : rows) {
    test(std::u16string(length, u'h'), port);
    EXPECT_EQ(Calls{"test " + endpoint + " 1980.0 722.0"}, product.calls);
  }
  test(u"h\u00e4", 1);
  EXPECT_EQ(Calls{"test http://h\xC3\xA4:1 1980.0 722.0"}, product.calls);
}

TEST_F(AgentJNITest, EachCodeHasItsOwnSense) {
  jstring host = text(u"a");
  const auto unregister = [&] {
    return PEER(SystemMonitorJNI, UnregisterNotify)(env, nullptr, host, 1);
  };
  const auto service = [&] {
    return PEER(SystemMonitorJNI, sendServiceCmd)(env, nullptr, host, 1, -7);
  };
  const auto event = [&] { return PEER(TorvaCommonJNI, sendSystemCmd)(env, nullptr, host, 1, -7); };
  const std::tuple<const char*, std::function<jint()>, int, double, jint, std::string> rows[] = {
      {"unregister", unregister, 0, 0, 1, "unregister http://a:1"},
      {"unregister", unregister, 1, 0, 0, "unregister http://a:1"},
      {"service", service, 0, -7, 0, "service http://a:1 -7"},
      {"service", service, 0, 7, 300, "service http://a:1 -7"},
      {"service", service, 1, -7, 300, "service http://a:1 -7"},
      {"event", event, 0, 9, 300, "event http://a:1 -7"},
      {"event", event, 1, 9, 0, "event http://a:1 -7"},
  };
  for (const auto& [call, ask, fails, echo, code, line] : rows) {
    product.answers[call] = fails;
    product.number = echo;
    product.calls.clear();
    EXPECT_EQ(code, bridge(ask)) << call;
    EXPECT_EQ(Calls{line}, product.calls);
  }
  host = nullptr;
  product.calls.clear();
  EXPECT_EQ(500, unregister());
  EXPECT_EQ(500, service());
  EXPECT_EQ(500, event());
  EXPECT_EQ(500, PEER(SystemMonitorJNI, testConnection)(env, nullptr, nullptr, 1, list));
  EXPECT_EQ(Calls{}, product.calls);
  EXPECT_EQ(Texts{}, texts(list));
}

TEST_F(AgentJNITest, AListThatThrowsDoesNotKeepTheAgentFromBeingTested) {
  product.number = 2702.0;
  list = refusingList();
  EXPECT_EQ(0, test(u"a", 1));
  EXPECT_TRUE(takeException());
}

TEST_F(AgentJNITest, VersionIsTheBanner) {
  EXPECT_EQ(0, bridge([&] { return PEER(SystemMonitorJNI, getVESKVersion)(env, nullptr, list); }));
  ASSERT_EQ(1U, texts(list).size());
  EXPECT_EQ(0U, texts(list)[0].find(u"Version "));
  EXPECT_NE(std::u16string::npos, texts(list)[0].find(u" $Date: "));
}

TEST_F(AgentJNITest, ASettingIsWrittenWithTheFirstArgumentLast) {
  jstring v = text(u"v"), s = text(u"s"), k = text(u"k");
  const auto update = [&](jstring a, jstring b, jstring c) {
    product.calls.clear();
    return bridge(
        [&] { return PEER(SystemMonitorJNI, updateGlobalSetting)(env, nullptr, a, b, c); });
  };
  product.answers["replace"] = 1;
  EXPECT_EQ(0, update(v, s, k));
  EXPECT_EQ((Calls{"store /vesk/config/vesk.ini", "replace s k v"}), product.calls);
  unsetenv("VESK_HOME");
  update(v, s, k);
  EXPECT_EQ("store /opt/brelvik/vesk/config/vesk.ini", product.calls.at(0));
  product.answers["replace"] = 0;
  EXPECT_EQ(-1, update(v, s, k));
  product.storeExists = false;
  EXPECT_EQ(-1, update(v, s, k));
  EXPECT_EQ(-1, update(nullptr, s, k));
  EXPECT_EQ(-1, update(v, nullptr, k));
  EXPECT_EQ(-1, update(v, s, nullptr));
  EXPECT_EQ(Calls{}, product.calls);
}

TEST_F(AgentJNITest, NotificationsGoToTheClientAsTheyAre) {
  const auto post = [&](jobject addresses) {
    product.calls.clear();
    return bridge(
        [&] { return PEER(SystemMonitorJNI, PostSetNotifyAllScanners)(env, nullptr, addresses); });
  };
  EXPECT_EQ(0, post(list));
  EXPECT_EQ((Calls{"log 3 IpPortList.size()=0", "post "}), product.calls);
  for (const char16_t* address : {u"a:1", u"b:2", u"a:1"}) {
    env->CallBooleanMethod(list, jArrLAdd, text(address));
    ASSERT_FALSE(env->ExceptionCheck());
  }
  for (const auto& [count, code] : {std::pair{3, 0}, {0, 0}, {-4, -4}}) {
    product.answers["post"] = count;
    EXPECT_EQ(code, post(list));
    EXPECT_EQ((Calls{"log 3 IpPortList.size()=3", "log 3 ipPortStr=a:1", "log 3 ipPortStr=b:2",
                     "log 3 ipPortStr=a:1", "post <a:1><b:2><a:1>"}),
              product.calls);
  }
  EXPECT_EQ(500, PEER(SystemMonitorJNI, PostSetNotifyAllScanners)(env, nullptr, nullptr));
  jstring patch = text(u"p\u00e4tch");
  product.calls.clear();
  product.answers["patch"] = -2;
  EXPECT_EQ(-2,
            bridge([&] { return PEER(SystemMonitorJNI, PatchSetNotify)(env, nullptr, patch); }));
  EXPECT_EQ(Calls{"patch p\xC3\xA4tch"}, product.calls);
  EXPECT_EQ(500, PEER(SystemMonitorJNI, PatchSetNotify)(env, nullptr, nullptr));
}

// The VM's copies are kept on purpose, so that the ledger is not asked here.
struct QuarantineJNITest : AgentJNITest {
  jstring agent = nullptr, message = nullptr, target = nullptr, empty = nullptr;

  void SetUp() override {
    AgentJNITest::SetUp();
    agent = text(u"http://a:1");
    message = text(u"m\u00fc");
    target = text(u"t.eml");
    empty = text(u"");
  }
  jint email(jstring a, jstring m, jstring t, jboolean flag = JNI_FALSE) {
    product.calls.clear();
    return PEER(QuarantineJNI, getEmail)(env, nullptr, a, m, t, flag);
  }
  jint email_P(jstring a, jstring m, jstring t) {
    product.calls.clear();
    return PEER(QuarantineJNI, getEmail_1P)(env, nullptr, a, m, t);
  }
  jint shown(jstring a, jstring m, jboolean flag = JNI_FALSE) {
    product.calls.clear();
    return PEER(QuarantineJNI, getMsgHeaderOrBody)(env, nullptr, a, m, flag, list);
  }
  jint shown_P(jstring a, jstring m) {
    product.calls.clear();
    return PEER(QuarantineJNI, getMsgHeaderOrBody_1P)(env, nullptr, a, m, list);
  }
};

TEST_F(QuarantineJNITest, WholeMessages) {
  EXPECT_EQ(1, email(agent, message, target));
  EXPECT_EQ(Calls{"whole http://a:1 m\xC3\xBC t.eml 0"}, product.calls);
  EXPECT_EQ(1, email(agent, message, target, 2));  // any boolean but 0
  EXPECT_EQ(Calls{"whole http://a:1 m\xC3\xBC t.eml 1"}, product.calls);
  EXPECT_EQ(1, email_P(agent, message, target));
  EXPECT_EQ(Calls{"wholePE http://a:1 m\xC3\xBC t.eml"}, product.calls);
  product.answers = {{"whole", 1}, {"wholePE", 1}};
  EXPECT_EQ(0, email(agent, message, target));
  EXPECT_EQ(0, email_P(agent, message, target));
}

TEST_F(QuarantineJNITest, NullAndEmptyTextsReachNoAgent) {
  for (const auto& [fit, code] : {std::pair<jstring, jint>{nullptr, 500}, {empty, 0}}) {
    EXPECT_EQ(code, email(fit, message, target));
    EXPECT_EQ(code, email(agent, fit, target));
    EXPECT_EQ(code, email(agent, message, fit));
    EXPECT_EQ(code, email_P(agent, message, fit));
    EXPECT_EQ(code, shown(fit, message));
    EXPECT_EQ(code, shown(agent, fit));
    EXPECT_EQ(code, shown_P(agent, fit));
    EXPECT_EQ(code, PEER(QuarantineJNI, sendQueueManagementAction)(env, nullptr, fit));
    EXPECT_EQ(Calls{}, product.calls);
  }
  EXPECT_EQ(Texts{}, texts(list));
}

TEST_F(QuarantineJNITest, HeaderAndDetailsAreHandedOutTogetherOrNotAtAll) {
  const std::string longest(8192, 'x');
  product.texts = {"h\xC3\xA9", longest, std::string(512, 'y')};
  EXPECT_EQ(1, shown(agent, message, JNI_TRUE));
  EXPECT_EQ((Calls{"header http://a:1 m\xC3\xBC 0 1", "detail http://a:1 m\xC3\xBC 1 8192 512"}),
            product.calls);
  product.texts = {std::string(2047, 'h'), "", std::string(256, 'z')};
  EXPECT_EQ(1, shown_P(agent, message));
  EXPECT_EQ((Calls{"headerPE http://a:1 m\xC3\xBC 0", "detailPE http://a:1 m\xC3\xBC 8192 256"}),
            product.calls);
  const Texts all{
      u"h\u00e9", std::u16string(8192, u'x'), std::u16string(512, u'y'), std::u16string(2047, u'h'),
      u"",        std::u16string(256, u'z')};
  EXPECT_EQ(all, texts(list));
  product.answers["detail"] = 1;
  EXPECT_EQ(0, shown(agent, message));
  product.answers["header"] = 1;
  EXPECT_EQ(0, shown(agent, message));
  EXPECT_EQ(Calls{"header http://a:1 m\xC3\xBC 0 0"}, product.calls);
  seams.mallocFails = true;
  EXPECT_EQ(0, shown(agent, message));
  seams.mallocFails = false;
  EXPECT_EQ(all, texts(list));
}

TEST_F(QuarantineJNITest, TheQueueActionNeverFails) {
  product.answers["queue"] = 1;
  EXPECT_EQ(0, PEER(QuarantineJNI, sendQueueManagementAction)(env, nullptr, agent));
  EXPECT_EQ(Calls{"queue http://a:1 1 0"}, product.calls);
}

struct MTAlogJNITest : AgentJNITest {
  jintArray block(const std::vector<jint>& values) {
    const auto length = static_cast<jsize>(values.size());
    jintArray array = env->NewIntArray(length);
    env->SetIntArrayRegion(array, 0, length, values.data());
    return array;
  }
  std::vector<jint> numbers(jintArray array) {
    std::vector<jint> values(static_cast<std::size_t>(env->GetArrayLength(array)));
    env->GetIntArrayRegion(array, 0, static_cast<jsize>(values.size()), values.data());
    return values;
  }
  jint query(jintArray paging, jstring file) {
    jstring server = text(u"http://a:1"), word = text(u"k\u00e4");
    product.calls.clear();
    return bridge([&] {
      return PEER(MTAlogJNI, getMTAEventSubmit)(env, nullptr, server, word, 1, paging, file, list);
    });
  }
};

TEST_F(MTAlogJNITest, OnePageAndTheStateForTheNext) {
  setenv("TZ", "UTC-1", 1);
  tzset();
  for (const auto& [fails, word] : {std::pair{0, "OK"}, {1, "failed"}}) {
    jintArray paging = block({20, 2, 3, 4, 0, 86399, -6, 7, 2026});
    product.answers["mtalog"] = fails;
    product.texts = {"maillog.1", "one\ntwo\n"};
    EXPECT_EQ(0, query(paging, text(u"maillog")));
    EXPECT_EQ((Calls{"log 3 Enter MTAlogJNI_getMTAEventSubmit",
                     "log 3 getMTAEventSubmit para pagesize=20 pagecount=2 totalcount=3 "
                     "pagenumber=4 starttime=0 endtime=86399 inode=-6 offset=7 year=2026",
                     "log 3 filename:maillog, srvUrl:http://a:1, keyword:k\xC3\xA4",
                     "log 3 start time: 1970-1-1 1:0:0", "log 3 end time: 1970-1-2 0:59:59",
                     "log 3 getMTAEventSubmit msg len=10481",
                     "mtalog http://a:1 k\xC3\xA4 maillog 1 20 2 3 4 0 86399 -6 7 2026",
                     std::string("log 3 getMTAEventSubmit getMTALog ") + word}),
              product.calls);
    EXPECT_EQ((std::vector<jint>{100, 101, 102, 103, 104, 105, 106, 107, 108}), numbers(paging));
  }
  EXPECT_EQ((Texts{u"maillog.1", u"one\ntwo\n", u"maillog.1", u"one\ntwo\n"}), texts(list));
  unsetenv("TZ");
}

TEST_F(MTAlogJNITest, LongFileNamesAreCutAndNullTextsAreEmpty) {
  query(block({0, 0, 0, 0, 0, 0, 0, 0, 0}), text(std::u16string(200, u'f')));
  EXPECT_EQ((Texts{std::u16string(127, u'f'), u""}), texts(list));
  query(block({0, 0, 0, 0, 0, 0, 0, 0, 0}), nullptr);
  EXPECT_EQ(u"", texts(list).at(2));
}

TEST_F(MTAlogJNITest, WrongBlocksAndBuffersThatCannotBeHadLoseNothing) {
  for (const std::size_t length : {8U, 10U, 0U}) {
    EXPECT_EQ(500, query(block(std::vector<jint>(length, 5)), text(u"f")));
    EXPECT_EQ("log 3 getMTAEventSubmit para wrong length=" + std::to_string(length),
              product.calls.back());
  }
  EXPECT_EQ(500, query(nullptr, text(u"f")));
  for (const auto& [size, length] : {std::pair{-1, "-523"},
                                     {4098251, "2147483525"},
                                     {4098252, "2147484049"},
                                     {8196501, "4294966525"},
                                     {2147483647, "1125281431029"}}) {
    const std::vector<jint> before{size, 1, 2, 3, 4, 5, 6, 7, 8};
    jintArray paging = block(before);
    seams.mallocFails = size == 4098251;  // the largest that is asked for
    EXPECT_EQ(0, query(paging, text(u"f")));
    seams.mallocFails = false;
    const std::size_t calls = product.calls.size();
    EXPECT_EQ(std::string("log 3 getMTAEventSubmit msg len=") + length, product.calls[calls - 2]);
    EXPECT_EQ("log 3 getMTAEventSubmit msg malloc failed", product.calls[calls - 1]);
    EXPECT_EQ(before, numbers(paging));
  }
  EXPECT_EQ(500, PEER(MTAlogJNI, getMTAEventSubmit)(env, nullptr, nullptr, text(u""), 0, nullptr,
                                                    text(u""), list));
  EXPECT_EQ(Texts{}, texts(list));
}

}  // namespace
