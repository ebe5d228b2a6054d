// PolicyJNI, SystemJNI, IPv6JNI, BackupJNI and DbMaintainJNI.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "IPv6Address.h"
#include "JvmTest.h"
#include "Seams.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_BackupJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_DbMaintainJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PolicyJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemJNI.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

struct HostJNITest : JvmTest {
  std::string canonical(std::u16string_view address, bool withMask) {
    jstring given = text(address);
    product.calls.clear();
    jstring answer = withMask ? PEER(IPv6JNI, formatIPv6WithMask)(env, nullptr, given)
                              : PEER(IPv6JNI, formatIPv6Addr)(env, nullptr, given);
    const char* utf = env->GetStringUTFChars(answer, nullptr);
    std::string copy = utf;
    env->ReleaseStringUTFChars(answer, utf);
    return copy;
  }
};

TEST_F(HostJNITest, PolicyStatusIsComparedAsTheShellGivesIt) {
  jstring a = text(u"1");
  jstring b = text(u"two words");
  const auto notify = [&] {
    product.calls.clear();
    errno = EAGAIN;
    return bridge([&] { return PEER(PolicyJNI, notifyUpdatePolicyNow)(env, nullptr, a, b, a); });
  };
  const std::string command = "/vesk/script/forceUpdate.sh 1 two words 1 & >/dev/null 2>&1";
  const std::tuple<int, jint, std::string> rows[] = {
      {0, 0, "3 send soap request suceess"},
      {-1, -1, "1 unable to exec " + command + " :Resource temporarily unavailable"},
      {1, -1, "1 wrong parameter"},
      {2, -1, "1 unable to create soap object"},
      {3, -1, "1 unable to send soap request"},
      {512, -1, "1 execute " + command + " failed,ret=512"},
  };
  for (const auto& [status, code, line] : rows) {
    seams.status = status;
    EXPECT_EQ(code, notify());
    EXPECT_EQ(
        (Calls{"log 3 begin to execute cmd [" + command + "]", "system " + command, "log " + line}),
        product.calls);
  }
  b = text(std::u16string(400, u'x'));
  notify();
  EXPECT_EQ(std::string("system ").size() + 255, product.calls.at(1).size());
  product.calls.clear();
  EXPECT_EQ(500, PEER(PolicyJNI, notifyUpdatePolicyNow)(env, nullptr, a, b, nullptr));
  EXPECT_EQ(500, PEER(PolicyJNI, notifyUpdatePolicyNow)(env, nullptr, nullptr, b, a));
  EXPECT_EQ(Calls{}, product.calls);
}

TEST_F(HostJNITest, Ipv6AddressesInCanonicalForm) {
  const std::tuple<const char16_t*, bool, std::string, int> rows[] = {
      {u"2001:0DB8:0000:0000:0000:0000:0000:0001", false, "2001:db8::1", 0},
      {u"::ffff:1.2.3.4", false, "::ffff:1.2.3.4", 0},
      {u"2001:db8::1/64", false, "", 51},
      {u"2001:db8::1", true, "2001:db8::1", 0},
      {u"2001:db8::1/64", true, "2001:db8::/64", 0},
      {u"2001:db8::ffff/120", true, "2001:db8::ff00/120", 0},
      {u"2001:db8:ffff::/35", true, "2001:db8:e000::/35", 0},
      {u"2001:db8::1/128", true, "2001:db8::1/128", 0},
      {u"fe80::1/0", true, "::/0", 0},
      {u"fe80::1/ +9x", true, "fe80::/9", 0},
      {u"fe80::1/junk", true, "::/0", 0},
      {u"fe80::1/64/65", true, "fe80::/64", 0},
      {u"2001:db8::1/129", true, "", 58},
      {u"2001:db8::1/-1", true, "", 58},
      {u"2001:db8::1/99999999999999999999", true, "", 58},
      {u"10.0.0.1", false, "", 70},
      {u"fe80::1%eth0", false, "", 70},
      {u"/64", true, "", 70},
  };
  for (const auto& [given, withMask, answer, tag] : rows) {
    const std::u16string wide = given;
    const std::string narrow(wide.begin(), wide.end());
    EXPECT_EQ(answer, canonical(given, withMask)) << narrow;
    const std::string name = withMask ? "formatIPv6WithMask" : "formatIPv6Addr";
    Calls expected{"log 3 IPv6JNI::" + name + " Enter",
                   "log 3 IPv6JNI::" + name + " ipv6Addr=" + narrow};
    if (tag != 0) {
      std::string left = narrow;
      if (tag == 70) left.resize(std::min(left.find('/'), left.size()));
      expected.push_back("log 3 [IPv6JNI:" + std::to_string(tag) + "] Invalid IP address" +
                         (tag == 58 ? " with mask" : "") + " in FormatIPv6Addr: " + left + ".");
      expected.push_back("log 3 IPv6JNI::" + name + " failed: " + narrow);
    }
    EXPECT_EQ(expected, product.calls) << narrow;
  }
  EXPECT_EQ("", canonical(u"", true));
  EXPECT_EQ(3U, product.calls.size());  // nothing is said of the empty text itself
  std::string split = "bad/64";
  EXPECT_FALSE(FormatIPv6Addr(split, true));
  EXPECT_EQ("bad", split);
}

TEST_F(HostJNITest, BackupAnswersTheExitCodeAndQuotesSingly) {
  jstring a = text(u"/tmp/a b");
  jstring b = text(u"full");
  seams.status = 768;
  EXPECT_EQ(3, PEER(BackupJNI, doExport)(env, nullptr, a));
  unsetenv("VESK_HOME");
  EXPECT_EQ(3, PEER(BackupJNI, doImport)(env, nullptr, a, b));
  seams.status = -1;
  EXPECT_EQ(255, PEER(BackupJNI, doExport)(env, nullptr, text(std::u16string(3000, u'x'))));
  EXPECT_EQ((Calls{"system /vesk/script/imp_exp.sh -e '/tmp/a b'",
                   "system /opt/brelvik/vesk/script/imp_exp.sh -i '/tmp/a b' 'full'"}),
            Calls(product.calls.begin(), product.calls.begin() + 2));
  EXPECT_EQ(std::string("system ").size() + 2046, product.calls.at(2).size());
  EXPECT_EQ(500, PEER(BackupJNI, doImport)(env, nullptr, a, nullptr));
  EXPECT_EQ(0, PEER(DbMaintainJNI, SaveSched)(env, nullptr));
  JniFault fault(env);
  fault->GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* { return nullptr; };
  EXPECT_EQ(255, PEER(BackupJNI, doExport)(env, nullptr, a));
  EXPECT_EQ(255, PEER(BackupJNI, doImport)(env, nullptr, a, b));
  EXPECT_EQ(3U, product.calls.size());
}

TEST_F(HostJNITest, Processes) {
  const jint self = PEER(SystemJNI, getPID)(env, nullptr);
  EXPECT_EQ(getpid(), self);
  EXPECT_EQ(0, PEER(SystemJNI, processRunning)(env, nullptr, self));
  EXPECT_EQ(-1, PEER(SystemJNI, processRunning)(env, nullptr, 0x7FFFFFFF));
}

}  // namespace
