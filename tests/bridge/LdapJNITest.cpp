#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"

#include <cstdlib>
#include <functional>

#include "JniCommon.h"
#include "JvmTest.h"
#include "Seams.h"

namespace {

using testing::ElementsAreArray;
using Texts = std::vector<std::u16string>;

#define LDAP(method) Java_com_brelvik_vesk_ui_modelobjects_jni_LdapJNI_##method

// The object arguments of all entry points; each takes some of them.
enum Slot { host, bindUser, bindPassword, baseDN, first, second, account, list, slotCount };
using Objects = std::array<jobject, slotCount>;

jstring string(jobject object) { return static_cast<jstring>(object); }
jbyteArray array(jobject object) { return static_cast<jbyteArray>(object); }

template <typename Method, typename... More>
jint bound(Method method, JNIEnv* env, const Objects& o, More... more) {
  return method(env, nullptr, 1, 0, string(o[host]), 389, string(o[bindUser]),
                string(o[bindPassword]), string(o[baseDN]), more...);
}

const Calls opened{"new 1 0", "connect ldap.test 389 cn=admin secret", "vendorName 1",
                   "script destroy", "script init /vesk/ldap/openldap/ldapscript.conf"};
const Calls closed{"disconnect", "delete connection"};

Calls joined(std::initializer_list<Calls> parts) {
  Calls all;
  for (const Calls& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

struct Entry {
  const char* name;
  std::vector<Slot> required;
  jint (*call)(JNIEnv*, const Objects&);
  Calls calls;      // when everything succeeds
  Texts collected;  // what the list then holds
};

const Entry entries[] = {
    {"authenticateUTF8",
     {host, first, second},
     [](JNIEnv* env, const Objects& o) {
       return LDAP(authenticateUTF8)(env, nullptr, 1, 0, string(o[host]), 389, array(o[first]),
                                     array(o[second]));
     },
     joined({{"new 1 0", "connect ldap.test 389", "authenticate first second"}, closed}),
     {}},
    {"directSearchLDAPUTF8",
     {host, bindUser, bindPassword, baseDN, first, list},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(directSearchLDAPUTF8), env, o, array(o[first]), array(o[second]), o[list]);
     },
     joined({{opened[0], opened[1], "log 3 baseDN=dc=test, searchStr=first, attrStr=second",
              "search dc=test 2 first second", "getAttribute second", "getAttribute second",
              "freeSearchResults"},
             closed}),
     {u"one", u"two", u"three"}},
    {"searchLDAPUTF8",
     {host, bindUser, bindPassword, baseDN, first, list},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(searchLDAPUTF8), env, o, array(o[first]), jboolean{JNI_FALSE}, o[list]);
     },
     joined({opened,
             {"new GroupDAO", "log 3 baseDN=dc=test, searchStr=first", "getAllGroups dc=test first",
              "delete GroupDAO", "log 3 size of groupList=2", "new UserDAO",
              "getAllUsers dc=test first", "delete UserDAO"},
             closed}),
     {u"ann", u"sales", u"sales", u"it"}},
    {"browseLDAP",
     {host, bindUser, bindPassword, baseDN, list},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(browseLDAP), env, o, jboolean{JNI_TRUE}, o[list]);
     },
     joined({opened,
             {"new GroupDAO", "log 3 baseDN=dc=test, searchStr=(null)",
              "getAllGroups dc=test (null)", "delete GroupDAO", "log 3 size of groupList=2"},
             closed}),
     {u"sales", u"it"}},
    {"isLDAPGroupContainAnotherUTF8",
     {host, bindUser, bindPassword, baseDN, first, second},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(isLDAPGroupContainAnotherUTF8), env, o, array(o[first]), array(o[second]));
     },
     joined({{"log 3 group is second"},
             opened,
             {"new GroupDAO", "getAllParentGroupsByGroupName dc=test first", "delete GroupDAO",
              "log 3 group[0] =other", "log 3 group[1] =SECOND"},
             closed}),
     {}},
    {"isAccountExist",
     {host, bindUser, bindPassword, baseDN, account},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(isAccountExist), env, o, string(o[account]));
     },
     joined({opened,
             {"new UserDAO", "loginName2UserName dc=test login", "isUserExist dc=test owner"},
             closed,
             {"delete UserDAO"}}),
     {}},
    {"getUserByMail",
     {host, bindUser, bindPassword, baseDN, first, list},
     [](JNIEnv* env, const Objects& o) {
       return bound(LDAP(getUserByMail), env, o, array(o[first]), jstring{nullptr}, o[list]);
     },
     joined({{"store (null)", "setting LDAP/mail_attr 0"},
             opened,
             {"log 3 baseDN=dc=test, searchStr=first, szMailDF=mail", "new UserDAO",
              "getUserOrGroupNameByEmail dc=test mail=first",
              "log 3 Found user 'owner' by email 'first' in LDAP server."},
             closed,
             {"delete UserDAO"}}),
     {u"owner"}},
    {"checkBaseDN",
     {host, bindUser, bindPassword, baseDN},
     [](JNIEnv* env, const Objects& o) { return bound(LDAP(checkBaseDN), env, o); },
     joined({opened, {"getEntry dc=test objectClass", "freeEntry"}, closed}),
     {}},
};

const Entry& entryOf(const std::string& name) {
  return *std::find_if(std::begin(entries), std::end(entries),
                       [&](const Entry& entry) { return entry.name == name; });
}

struct LdapJNITest : JvmTest {
  Objects objects{};

  // Everything in the directory is as the table of entry points expects it.
  void fill() {
    env->PopLocalFrame(nullptr);
    env->PushLocalFrame(64);
    product = {};
    product.name = "owner";
    product.users = {"ann", "sales"};
    product.groups = {"sales", "it"};
    product.parentsOfGroup = {"other", "SECOND", "last"};
    product.entries = {{"a", {{"second", {"one", "two"}}}},
                       {"b", {{"unwanted", {"four"}}}},
                       {"c", {{"second", {"three"}}}}};
    objects = {text(u"ldap.test"), text(u"cn=admin"), text(u"secret"), text(u"dc=test"),
               bytes("first"),     bytes("second"),   text(u"login"),  newList()};
  }
  jint call(const Entry& entry) {
    return bridge([&] { return entry.call(env, objects); });
  }
  jint call(const char* name) { return call(entryOf(name)); }
};

TEST_F(LdapJNITest, EverythingInOrder) {
  for (const Entry& entry : entries) {
    fill();
    EXPECT_EQ(0, call(entry)) << entry.name;
    EXPECT_THAT(product.calls, ElementsAreArray(entry.calls)) << entry.name;
    EXPECT_EQ(entry.collected, texts(objects[list])) << entry.name;
  }
}

TEST_F(LdapJNITest, EachNullArgumentIs500AndNothingIsDone) {
  for (const Entry& entry : entries) {
    for (const Slot slot : entry.required) {
      fill();
      objects[slot] = nullptr;
      EXPECT_EQ(500, call(entry)) << entry.name << ", argument " << slot;
      EXPECT_EQ(Calls{}, product.calls) << entry.name << ", argument " << slot;
    }
  }
}

TEST_F(LdapJNITest, NoConnectionObjectIs200AndNoConnectionIs201) {
  for (const Entry& entry : entries) {
    const auto made = std::find(entry.calls.begin(), entry.calls.end(), "new 1 0");
    Calls expected(entry.calls.begin(), made);
    fill();
    seams.nothrowNewFails = true;
    EXPECT_EQ(200, call(entry)) << entry.name;
    EXPECT_EQ(expected, product.calls) << entry.name;
    seams.nothrowNewFails = false;

    expected.insert(expected.end(), {made[0], made[1], "delete connection"});
    fill();
    product.answers["connect"] = 1;
    EXPECT_EQ(201, call(entry)) << entry.name;
    EXPECT_EQ(expected, product.calls) << entry.name;
  }
}

// Once, or from that call on: the product may fail again while everything is released.
TEST_F(LdapJNITest, ThrowingProductCallReleasesEverythingAndReachesTheCaller) {
  for (const Entry& entry : entries) {
    for (std::size_t step = 0; step < 2 * entry.calls.size(); ++step) {
      const std::string& failing = entry.calls[step / 2];
      if (failing.starts_with("delete")) continue;
      SCOPED_TRACE(std::string(entry.name) + ", " + failing);
      fill();
      product.throwAt = step / 2;
      product.throwsOn = step % 2 != 0;
      EXPECT_THROW(call(entry), ProductFailure);
      EXPECT_EQ(0, product.alive);
      EXPECT_THAT(product.calls, testing::Not(testing::Contains("delete connected")));
      // Only the connection's end comes after the list is filled.
      EXPECT_EQ(failing == "disconnect" ? entry.collected : Texts{}, texts(objects[list]));
    }
  }
}

struct Failure {
  const char* entry;
  std::function<void()> arrange;
  jint code;
  Calls tail;  // the last calls
};

TEST_F(LdapJNITest, FailuresOfTheWorkItself) {
  const auto answer = [](std::map<std::string, int> answers) {
    return [answers] { product.answers = answers; };
  };
  const Calls groupsFailed{"getLastError", "disconnect", "delete connection", "delete GroupDAO",
                           "log 3 get groups failed"};
  const Calls usersFailed{"getLastError", "disconnect", "delete connection", "delete UserDAO"};
  const std::string noParents = "log 3 get all parent by group return size =0";
  const Failure failures[] = {
      {"authenticateUTF8", answer({{"authenticate", 49}}), 203, {"delete connected"}},
      {"directSearchLDAPUTF8", answer({{"search", 1}, {"getLastError", 2}}), 206,
       joined({{"getLastError", "log 3 Failed with error code: 2"}, closed})},
      {"directSearchLDAPUTF8", [] { product.entries.clear(); }, 0,
       joined(
           {{"log 3 search() returns true but result has no size.", "freeSearchResults"}, closed})},
      {"searchLDAPUTF8", answer({{"getAllGroups", 1}, {"getLastError", 3}}), 207, groupsFailed},
      {"searchLDAPUTF8", answer({{"getAllUsers", 1}, {"getLastError", 2}}), 206, usersFailed},
      {"browseLDAP", answer({{"getAllGroups", 1}, {"getLastError", 1}}), 205, groupsFailed},
      {"isLDAPGroupContainAnotherUTF8", [] { product.parentsOfGroup = {"seconds"}; }, 204,
       joined({{"delete GroupDAO", "log 3 group[0] =seconds"}, closed})},
      {"isLDAPGroupContainAnotherUTF8",
       [] {
         product.parentsOfGroup.clear();
         product.parentsOfUser = {"second"};
       },
       0,
       joined({{noParents, "getAllParentGroupsByUserName dc=test first", "delete GroupDAO",
                "log 3 group[0] =second"},
               closed})},
      {"isLDAPGroupContainAnotherUTF8",  // a failed walk is not final
       answer({{"getAllParentGroupsByGroupName", 1}}), 0,
       joined({{"log 3 get all parent by group failed", "delete GroupDAO", "log 3 group[0] =other",
                "log 3 group[1] =SECOND"},
               closed})},
      {"isLDAPGroupContainAnotherUTF8", [] { product.parentsOfGroup.clear(); }, 204,
       joined({{noParents, "getAllParentGroupsByUserName dc=test first", "delete GroupDAO",
                "log 3 parent group size<=0"},
               closed})},
      {"isLDAPGroupContainAnotherUTF8",
       [] {
         product.parentsOfGroup.clear();
         product.answers = {{"getAllParentGroupsByUserName", 1},
                            {"getAllParentGroupsByGroupName", 1}};
       },
       204,
       joined(
           {{"log 3 get all parent by group failed", noParents,
             "getAllParentGroupsByUserName dc=test first", "log 3 get all parent by user failed"},
            closed,
            {"delete GroupDAO"}})},
      {"isAccountExist", answer({{"loginName2UserName", 1}}), 202,
       joined({{"loginName2UserName dc=test login"}, closed, {"delete UserDAO"}})},
      {"isAccountExist", answer({{"isUserExist", 1}}), 202,
       joined({{"isUserExist dc=test owner"}, closed, {"delete UserDAO"}})},
      {"checkBaseDN", answer({{"getEntry", 1}}), 208,
       joined({{"getEntry dc=test objectClass"}, closed})},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(std::string(failure.entry) + ", " + failure.tail.front());
    fill();
    failure.arrange();
    EXPECT_EQ(failure.code, call(failure.entry));
    ASSERT_GE(product.calls.size(), failure.tail.size());
    const auto tail = product.calls.end() - static_cast<long>(failure.tail.size());
    EXPECT_THAT(Calls(tail, product.calls.end()), ElementsAreArray(failure.tail));
    EXPECT_EQ(Texts{}, texts(objects[list]));
  }
}

TEST_F(LdapJNITest, LastErrorDecidesTheCodeOfAFailedQuery) {
  const std::pair<const char*, const char*> queries[] = {{"directSearchLDAPUTF8", "search"},
                                                         {"searchLDAPUTF8", "getAllGroups"},
                                                         {"searchLDAPUTF8", "getAllUsers"},
                                                         {"browseLDAP", "getAllGroups"}};
  for (const auto& [entry, query] : queries) {
    for (const auto& [lastError, code] :
         {std::pair{0, 205}, {1, 205}, {2, 206}, {3, 207}, {4, 205}}) {
      fill();
      product.answers = {{query, 1}, {"getLastError", lastError}};
      EXPECT_EQ(code, call(entry)) << entry << ", " << query << ", last error " << lastError;
    }
  }
}

// Only the look-up that finds an owner closes its connection; the others leave it open.
TEST_F(LdapJNITest, MailWithoutOwnerLeavesTheConnectionOpen) {
  const struct {
    int answer;
    jint code;
    const char* line;
  } rows[] = {
      {-2, 0, "log 3 Can not find user with email 'first' in LDAP server."},
      {-1, 205, "log 1 Failed to query user by email 'first' in LDAP server."},
  };
  for (const auto& row : rows) {
    fill();
    product.answers["getUserOrGroupNameByEmail"] = row.answer;
    EXPECT_EQ(row.code, call("getUserByMail"));
    EXPECT_THAT(Calls(product.calls.end() - 2, product.calls.end()),
                ElementsAreArray({row.line, "delete UserDAO"}));
    EXPECT_EQ(Texts{}, texts(objects[list]));
    EXPECT_EQ(1, product.alive);
    product.connection->disconnect();
    delete product.connection;
  }
}

TEST_F(LdapJNITest, MailAttributeComesFromTheSettings) {
  fill();
  product.settings["LDAP/mail_attr"] = "proxyAddresses";
  product.answers["getUserOrGroupNameByEmail"] = 7;  // found, all the same
  EXPECT_EQ(0, call("getUserByMail"));
  EXPECT_THAT(product.calls,
              testing::Contains("getUserOrGroupNameByEmail dc=test proxyAddresses=first"));
  fill();
  product.storeExists = false;
  EXPECT_EQ(0, call("getUserByMail"));
  EXPECT_THAT(product.calls, testing::Contains("getUserOrGroupNameByEmail dc=test mail=first"));
}

TEST_F(LdapJNITest, ByteTextsAreCutWithoutNotice) {
  const std::string full(600, 'x');
  const std::string cut(511, 'x');
  const auto asks = [&](const char* entry, const std::string& line) {
    fill();
    objects[first] = bytes(full + "first");
    objects[second] = bytes(full);
    EXPECT_EQ(0, call(entry));
    EXPECT_THAT(product.calls, testing::Contains(line));
  };
  // One byte less for the password than for the account, on purpose.
  asks("authenticateUTF8", "authenticate " + std::string(256, 'x') + " " + std::string(255, 'x'));
  asks("directSearchLDAPUTF8", "search dc=test 2 " + cut + " " + cut);
  asks("searchLDAPUTF8", "getAllGroups dc=test " + cut);
  asks("getUserByMail", "getUserOrGroupNameByEmail dc=test mail=" + cut);
  asks("isLDAPGroupContainAnotherUTF8", "log 3 group is " + cut);
  EXPECT_EQ(1U, product.calls.size());  // the same in their first 511 bytes
}

TEST_F(LdapJNITest, TheSameNameInOtherCaseIsAskedOfTheDirectory) {
  fill();
  objects[first] = bytes("Second");
  EXPECT_EQ(0, call("isLDAPGroupContainAnotherUTF8"));
  EXPECT_EQ(entryOf("isLDAPGroupContainAnotherUTF8").calls.size(), product.calls.size());
}

TEST_F(LdapJNITest, NullAttributeNameReadsAsEmpty) {
  fill();
  objects[second] = nullptr;
  EXPECT_EQ(0, call("directSearchLDAPUTF8"));
  EXPECT_THAT(product.calls, testing::Contains("search dc=test 2 first "));
}

TEST_F(LdapJNITest, GroupOnlySearchMakesNoUserDAO) {
  fill();
  EXPECT_EQ(0, bridge([&] {
              return bound(LDAP(searchLDAPUTF8), env, objects, array(objects[first]),
                           jboolean{JNI_TRUE}, objects[list]);
            }));
  EXPECT_THAT(product.calls, testing::Not(testing::Contains("new UserDAO")));
  EXPECT_EQ((Texts{u"sales", u"it"}), texts(objects[list]));
}

TEST_F(LdapJNITest, NoInstallRootNamesNoScript) {
  fill();
  unsetenv("VESK_HOME");
  EXPECT_EQ(0, call("checkBaseDN"));
  EXPECT_EQ("script init (null)/ldap/openldap/ldapscript.conf", product.calls[4]);
}

TEST_F(LdapJNITest, ListThatRefusesDoesNotFailTheOperation) {
  for (const Entry& entry : entries) {
    if (entry.collected.empty()) continue;
    fill();
    objects[list] = refusingList();
    EXPECT_EQ(0, call(entry)) << entry.name;
    EXPECT_TRUE(takeException()) << entry.name;
    EXPECT_THAT(product.calls, ElementsAreArray(entry.calls)) << entry.name;
  }
}

}  // namespace
