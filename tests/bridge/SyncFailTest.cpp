// LdapJNI.notifyLdapCacheSyncFail
#include <clocale>
#include <cstdlib>

#include "JvmTest.h"
#include "Seams.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"

namespace {

struct SyncFailTest : JvmTest {
  void SetUp() override {
    JvmTest::SetUp();
    product.settings = {{"General-Notification/Administrator", "ann;bob"},
                        {"General-Notification/MailFrom", "vesk@test"}};
    seams.now = 1792577700;
    seams.locale = "de_DE.UTF-8";
  }
  jint notify() {
    product.calls.clear();
    return bridge([] {
      return Java_com_brelvik_vesk_ui_modelobjects_jni_LdapJNI_notifyLdapCacheSyncFail(env,
                                                                                       nullptr);
    });
  }
};

const std::string setlocaleCall = "setlocale " + std::to_string(LC_CTYPE) + " ''";
const std::string files = "ldapcachesync_1792577700.AF|ldapcachesync_1792577700.DF";
const std::string englishText =
    "LDAP Cache Server Synchronization Failed|Schedule synchronization for LDAP Cache Server "
    "failed, please check your LDAP settings and connections.";

TEST_F(SyncFailTest, EverythingInOrder) {
  EXPECT_EQ(0, notify());
  const Calls expected{
      "store (null)",
      "setting General-Notification/Administrator 0",
      "checkToAddress ann;bob",
      "setting General-Notification/MailFrom 0",
      "setting General-Notification/PreferredCharset 0",
      "setting general/queue_notify 0",
      "time",
      setlocaleCall,
      "bundle resources LDAPCacheServer de_DE",
      "text SYNC_FAIL_NOTIFY_TITLE",
      "text SYNC_FAIL_NOTIFY_CONTENT",
      "delete bundle",
      "compose /vesk|/tmp/queue/notify|" + files +
          "|us-ascii|vesk@test|vesk@test|<first of ann;bob><second>|" + englishText,
      "log 4 Notify ldap cache sync fail with /vesk /tmp/queue/notify ldapcachesync_1792577700.AF "
      "ldapcachesync_1792577700.DF us-ascii vesk@test vesk@test\n",
  };
  EXPECT_EQ(expected, product.calls);
}

TEST_F(SyncFailTest, SettingsTranslationAndAnotherRoot) {
  product.settings["General-Notification/MailFrom"] = "";
  product.settings["General-Notification/PreferredCharset"] = "utf-8";
  product.settings["general/queue_notify"] = "/queue";
  product.answers["text"] = 1;
  unsetenv("VESK_HOME");
  EXPECT_EQ(0, notify());
  EXPECT_EQ(
      "compose (null)|/queue|" + files +
          "|utf-8|||<first of ann;bob><second>|SYNC_FAIL_NOTIFY_TITLE|SYNC_FAIL_NOTIFY_CONTENT",
      product.calls.at(12));
}

TEST_F(SyncFailTest, LocaleIsCutAtItsFirstDotAndMayBeMissing) {
  const std::pair<const char*, const char*> rows[] = {
      {nullptr, "(null)"}, {"C", "C"}, {"ja_JP.eucJP.x", "ja_JP"}, {".UTF-8", ""}};
  for (const auto& [locale, opened] : rows) {
    seams.locale = locale;
    EXPECT_EQ(0, notify());
    EXPECT_THAT(product.calls,
                testing::Contains(std::string("bundle resources LDAPCacheServer ") + opened));
  }
}

TEST_F(SyncFailTest, NoAdministratorIsMinusOneAndAFailedMailIsOnlyLogged) {
  product.answers["compose"] = 4;
  EXPECT_EQ(0, notify());
  EXPECT_EQ("log 1 [ERROR]Could not construct the notification mail. (4)", product.calls.back());
  product.settings.clear();
  EXPECT_EQ(-1, notify());
  EXPECT_EQ((Calls{"store (null)", "setting General-Notification/Administrator 0",
                   "log 1 Fail to retrieve administrator info for LdapCacheSync notification"}),
            product.calls);
  product.storeExists = false;
  EXPECT_EQ(-1, notify());
}

TEST_F(SyncFailTest, AnyProductCallMayThrow) {
  for (const std::size_t step : {0, 1, 2, 3, 4, 5, 8, 9, 10, 12, 13}) {  // 6 and 7 are the system's
    product.throwAt = step;
    EXPECT_THROW(notify(), ProductFailure) << step;
  }
}

}  // namespace
