#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"

#include <cstdlib>
#include <sstream>

#include "JniCommon.h"
#include "JvmTest.h"
#include "Seams.h"

namespace {

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

// Calls in a table stand in one text, with "; " between them.
Calls calls(const std::string& text) {
  Calls all;
  std::istringstream in(text);
  for (std::string call; std::getline(in >> std::ws, call, ';');) all.push_back(call);
  return all;
}

const std::string connected = "new 1 0; connect ldap.test 389 cn=admin secret; ";
const std::string opened = connected +
                           "vendorName 1; script destroy; "
                           "script init /vesk/ldap/openldap/ldapscript.conf; ";
const std::string closed = "disconnect; delete connection; ";

struct Entry {
  const char* name;
  jint (*call)(JNIEnv*, const Objects&);
  std::vector<Slot> required;
  std::string calls;  // when everything succeeds
  Texts collected;    // what the list then holds
};

#define CALL(...) [](JNIEnv* env, const Objects& o) { return __VA_ARGS__; }

const Entry entries[] = {
    {"authenticateUTF8",
     CALL(LDAP(authenticateUTF8)(env, nullptr, 1, 0, string(o[host]), 389, array(o[first]),
                                 array(o[second]))),
     {host, first, second},
     "new 1 0; connect ldap.test 389; authenticate first second; " + closed,
     {}},
    {"directSearchLDAPUTF8",
     CALL(bound(LDAP(directSearchLDAPUTF8), env, o, array(o[first]), array(o[second]), o[list])),
     {host, bindUser, bindPassword, baseDN, first, list},
     connected +
         "log 3 baseDN=dc=test, searchStr=first, attrStr=second; "
         "search dc=test 2 first second; getAttribute second; getAttribute second; "
         "freeSearchResults; " +
         closed,
     {u"one", u"two", u"three"}},
    {"searchLDAPUTF8",
     CALL(bound(LDAP(searchLDAPUTF8), env, o, array(o[first]), jboolean{JNI_FALSE}, o[list])),
     {host, bindUser, bindPassword, baseDN, first, list},
     opened +
         "new GroupDAO; log 3 baseDN=dc=test, searchStr=first; getAllGroups dc=test first; "
         "delete GroupDAO; log 3 size of groupList=2; new UserDAO; "
         "getAllUsers dc=test first; delete UserDAO; " +
         closed,
     {u"ann", u"sales", u"sales", u"it"}},
    {"browseLDAP",
     CALL(bound(LDAP(browseLDAP), env, o, jboolean{JNI_TRUE}, o[list])),
     {host, bindUser, bindPassword, baseDN, list},
     opened +
         "new GroupDAO; log 3 baseDN=dc=test, searchStr=(null); getAllGroups dc=test (null); "
         "delete GroupDAO; log 3 size of groupList=2; " +
         closed,
     {u"sales", u"it"}},
    {"isLDAPGroupContainAnotherUTF8",
     CALL(bound(LDAP(isLDAPGroupContainAnotherUTF8), env, o, array(o[first]), array(o[second]))),
     {host, bindUser, bindPassword, baseDN, first, second},
     "log 3 group is second; " + opened +
         "new GroupDAO; getAllParentGroupsByGroupName dc=test first; delete GroupDAO; "
         "log 3 group[0] =other; log 3 group[1] =SECOND; " +
         closed,
     {}},
    {"isAccountExist",
     CALL(bound(LDAP(isAccountExist), env, o, string(o[account]))),
     {host, bindUser, bindPassword, baseDN, account},
     opened + "new UserDAO; loginName2UserName dc=test login; isUserExist dc=test owner; " +
         closed + "delete UserDAO",
     {}},
    {"getUserByMail",
     CALL(bound(LDAP(getUserByMail), env, o, array(o[first]), jstring{nullptr}, o[list])),
     {host, bindUser, bindPassword, baseDN, first, list},
     "store (null); setting LDAP/mail_attr 0; " + opened +
         "log 3 baseDN=dc=test, searchStr=first, szMailDF=mail; new UserDAO; "
         "getUserOrGroupNameByEmail dc=test mail=first; "
         "log 3 Found user 'owner' by email 'first' in LDAP server.; " +
         closed + "delete UserDAO",
     {u"owner"}},
    {"checkBaseDN",
     CALL(bound(LDAP(checkBaseDN), env, o)),
     {host, bindUser, bindPassword, baseDN},
     opened + "getEntry dc=test objectClass; freeEntry; " + closed,
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
  Calls lastCalls(std::size_t count) {
    return {product.calls.end() - static_cast<long>(std::min(count, product.calls.size())),
            product.calls.end()};
  }
};

TEST_F(LdapJNITest, EverythingInOrder) {
  for (const Entry& entry : entries) {
    fill();
    EXPECT_EQ(0, call(entry)) << entry.name;
    EXPECT_EQ(calls(entry.calls), product.calls) << entry.name;
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
    const std::size_t made = entry.calls.find("new 1 0");
    const std::string before = entry.calls.substr(0, made);
    fill();
    seams.nothrowNewFails = true;
    EXPECT_EQ(200, call(entry)) << entry.name;
    EXPECT_EQ(calls(before), product.calls) << entry.name;
    seams.nothrowNewFails = false;

    fill();
    product.answers["connect"] = 1;
    EXPECT_EQ(201, call(entry)) << entry.name;
    const std::size_t tried = entry.calls.find("; ", entry.calls.find("connect")) + 2;
    EXPECT_EQ(calls(entry.calls.substr(0, tried) + "delete connection"), product.calls);
  }
}

// Once, or from that call on: the product may fail again while everything is released.
TEST_F(LdapJNITest, ThrowingProductCallReleasesEverythingAndReachesTheCaller) {
  for (const Entry& entry : entries) {
    const Calls steps = calls(entry.calls);
    for (std::size_t step = 0; step < 2 * steps.size(); ++step) {
      const std::string& failing = steps[step / 2];
      if (failing.starts_with("delete")) continue;
      SCOPED_TRACE(std::string(entry.name) + ", " + failing);
      fill();
      product.throwAt = step / 2;
      product.throwsOn = step % 2 != 0;
      EXPECT_THROW(call(entry), ProductFailure);
      EXPECT_EQ(0, product.alive);
      EXPECT_THAT(product.calls, testing::Not(testing::Contains("delete connected")));
      EXPECT_GE(1, std::count(product.calls.begin(), product.calls.end(), "disconnect"));
      // Only the connection's end comes after the list is filled.
      EXPECT_EQ(failing == "disconnect" ? entry.collected : Texts{}, texts(objects[list]));
    }
  }
}

struct Failure {
  const char* entry;
  std::map<std::string, int> answers;
  jint code;
  std::string tail;  // the last calls
  std::vector<std::string> parentsOfGroup = {}, parentsOfUser = {};
};

TEST_F(LdapJNITest, FailuresOfTheWorkItself) {
  const char* member = "isLDAPGroupContainAnotherUTF8";
  const std::string groupsFailed =
      "getLastError; " + closed + "delete GroupDAO; log 3 get groups failed";
  const std::string noParents =
      "log 3 get all parent by group return size =0; getAllParentGroupsByUserName dc=test first; ";
  const Failure failures[] = {
      {"authenticateUTF8", {{"authenticate", 49}}, 203, "delete connected"},
      {"directSearchLDAPUTF8",
       {{"search", 1}, {"getLastError", 2}},
       206,
       "getLastError; log 3 Failed with error code: 2; " + closed},
      {"searchLDAPUTF8", {{"getAllGroups", 1}, {"getLastError", 3}}, 207, groupsFailed},
      {"searchLDAPUTF8",
       {{"getAllUsers", 1}, {"getLastError", 2}},
       206,
       "getLastError; " + closed + "delete UserDAO"},
      {"browseLDAP", {{"getAllGroups", 1}, {"getLastError", 1}}, 205, groupsFailed},
      {member, {}, 204, "delete GroupDAO; log 3 group[0] =seconds; " + closed, {"seconds"}},
      {member,
       {},
       0,
       noParents + "delete GroupDAO; log 3 group[0] =second; " + closed,
       {},
       {"second"}},
      {member, {}, 204, noParents + "delete GroupDAO; log 3 parent group size<=0; " + closed},
      {member,
       {{"getAllParentGroupsByGroupName", 1}},
       0,  // not final
       "log 3 get all parent by group failed; delete GroupDAO; log 3 group[0] =second; " + closed,
       {"second"}},
      {member,
       {{"getAllParentGroupsByGroupName", 1}, {"getAllParentGroupsByUserName", 1}},
       204,
       "log 3 get all parent by group failed; " + noParents +
           "log 3 get all parent by user failed; " + closed + "delete GroupDAO"},
      {"isAccountExist",
       {{"loginName2UserName", 1}},
       202,
       "loginName2UserName dc=test login; " + closed + "delete UserDAO"},
      {"isAccountExist",
       {{"isUserExist", 1}},
       202,
       "isUserExist dc=test owner; " + closed + "delete UserDAO"},
      {"checkBaseDN", {{"getEntry", 1}}, 208, "getEntry dc=test objectClass; " + closed},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(std::string(failure.entry) + ", " + failure.tail);
    fill();
    product.answers = failure.answers;
    product.parentsOfGroup = failure.parentsOfGroup;
    product.parentsOfUser = failure.parentsOfUser;
    EXPECT_EQ(failure.code, call(failure.entry));
    EXPECT_EQ(calls(failure.tail), lastCalls(calls(failure.tail).size()));
    EXPECT_EQ(Texts{}, texts(objects[list]));
  }
}

TEST_F(LdapJNITest, DirectSearchThatFindsNothingIsLogged) {
  fill();
  product.entries.clear();
  EXPECT_EQ(0, call("directSearchLDAPUTF8"));
  EXPECT_EQ(
      calls("log 3 search() returns true but result has no size.; freeSearchResults; " + closed),
      lastCalls(4));
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
    EXPECT_EQ((Calls{row.line, "delete UserDAO"}), lastCalls(2));
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
  EXPECT_THAT(product.calls, testing::Contains("getAllParentGroupsByGroupName dc=test Second"));
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
    EXPECT_EQ(calls(entry.calls), product.calls) << entry.name;
  }
}

}  // namespace
