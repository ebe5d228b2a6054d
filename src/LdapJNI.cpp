#include <gssapi/gssapi.h>
#include <strings.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "DirectorySession.h"
#include "JniCommon.h"
#include "Settings.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"
#include "product/directory.h"
#include "product/log.h"
#include "product/notify.h"

// The name type of Kerberos services, taken when the library is loaded. Nothing here reads it: the
// connection class does the GSS-API work itself.
[[gnu::used]] static gss_OID C_NT_HOSTBASED_SERVICE = GSS_C_NT_HOSTBASED_SERVICE;

namespace {

using VESK::BvLDAPAbstractConnection;
using VESK::Log;

using SearchText = JniByteText<511>;

// The codes of the directory family do not tell a list that refuses an element: the call is done.
void append(JNIEnv* env, std::vector<std::string>& names, jobject list) {
  static_cast<void>(formJArrListStr(env, names, list));
}

std::vector<std::string> attributeValues(VESK::BvLDAPSearchResults& results, const char* name) {
  std::vector<std::string> values;
  for (int i = 0; i < results.size(); ++i) {
    VESK::BvLDAPAttribute* attribute = nullptr;
    if (results[static_cast<unsigned>(i)]->getAttribute(name, &attribute) != 0) continue;
    for (int j = 0; j < attribute->size(); ++j) values.emplace_back(attribute->getValue(j));
  }
  return values;
}

// Runs only while an exception is on its way to the caller; a second one would end the VM.
struct FreeSearchResults {
  BvLDAPAbstractConnection* connection;
  void operator()(VESK::BvLDAPSearchResults* results) const {
    try {
      connection->freeSearchResults(results);
    } catch (...) {
    }
  }
};
using SearchResults = std::unique_ptr<VESK::BvLDAPSearchResults, FreeSearchResults>;

// Users, unless only groups are asked for, and then groups, all by name; a null search text means
// all.
jint listNames(JNIEnv* env, DirectorySession& session, const char* baseDN, const char* searchStr,
               bool groupOnly, jobject resultList) {
  auto groupDao = std::make_unique<GroupDAO>();
  Log::LogByLevel(3, "baseDN=%s, searchStr=%s", baseDN, searchStr);
  GroupList groupList;
  if (groupDao->getAllGroups(session.get(), baseDN, searchStr, groupList) != 0) {
    const jint code = session.closeAfterFailedQuery();
    groupDao.reset();
    Log::LogByLevel(3, "get groups failed");
    return code;
  }
  groupDao.reset();
  Log::LogByLevel(3, "size of groupList=%d", static_cast<int>(groupList.size()));
  std::vector<std::string> names;
  if (!groupOnly) {
    auto userDao = std::make_unique<UserDAO>();
    UserVOList userList;
    if (userDao->getAllUsers(session.get(), baseDN, searchStr, userList) != 0) {
      return session.closeAfterFailedQuery();
    }
    userDao.reset();
    names.reserve(userList.size() + groupList.size());
    for (unsigned i = 0; i < userList.size(); ++i) names.push_back(std::move(userList[i].name));
  }
  for (unsigned i = 0; i < groupList.size(); ++i) names.push_back(std::move(groupList[i].name));
  append(env, names, resultList);
  session.close();
  return result::success;
}

// Groups first: a name that is both a group's and a user's is taken for the group.
jint parentGroups(DirectorySession& session, const char* baseDN, const char* member,
                  GroupList& list) {
  auto groupDao = std::make_unique<GroupDAO>();
  if (groupDao->getAllParentGroupsByGroupName(session.get(), baseDN, member, list) != 0) {
    Log::LogByLevel(3, "get all parent by group failed");
  }
  if (list.size() > 0) return result::success;
  Log::LogByLevel(3, "get all parent by group return size =0");
  if (groupDao->getAllParentGroupsByUserName(session.get(), baseDN, member, list) == 0) {
    return result::success;
  }
  Log::LogByLevel(3, "get all parent by user failed");
  session.close();
  return result::notAMember;
}

// Without regard to case, unlike the short cut that spares the directory: directories do not
// distinguish case in names, and only the same bytes are surely the same name.
jint findGroup(GroupList& list, const char* group) {
  if (list.size() == 0) Log::LogByLevel(3, "parent group size<=0");
  for (unsigned i = 0; i < list.size(); ++i) {
    Log::LogByLevel(3, "group[%d] =%s", static_cast<int>(i), list[i].name.c_str());
    if (strcasecmp(list[i].name.c_str(), group) == 0) return result::success;
  }
  return result::notAMember;
}

// Outside the common scheme: nobody can be told.
constexpr jint noAdministrator = -1;
constexpr const char* NOTIFICATION = "General-Notification";

struct SyncFailText {
  std::string subject;
  std::string body;
};

// The locale that the environment of the process names, without its encoding. The one lock of the
// library: setlocale frees the name that it gave to the call before.
std::optional<std::string> localeName() {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  const char* name = std::setlocale(LC_CTYPE, "");
  if (name == nullptr) return {};
  return std::string(name, std::strcspn(name, "."));
}

// In the administrator's language.
SyncFailText syncFailText() {
  const std::optional<std::string> locale = localeName();
  VESK::BvResbundle bundle;
  bundle._init(VESK::BvResbundle::GetResourceFileName(), "LDAPCacheServer",
               locale ? locale->c_str() : nullptr);
  return {bundle.getString("SYNC_FAIL_NOTIFY_TITLE", "LDAP Cache Server Synchronization Failed"),
          bundle.getString("SYNC_FAIL_NOTIFY_CONTENT",
                           "Schedule synchronization for LDAP Cache Server failed, please check "
                           "your LDAP settings and connections.")};
}

// Two failures within one second give the same names.
struct SyncFailFiles {
  char control[128] = {};
  char data[128] = {};

  SyncFailFiles() {
    const int now = static_cast<int>(std::time(nullptr));
    std::snprintf(control, sizeof control, "ldapcachesync_%d.AF", now);
    std::snprintf(data, sizeof data, "ldapcachesync_%d.DF", now);
  }
};

// A mail that could not be written is only logged.
void writeSyncFailMail(VESK::GlobalSetting* settings, const std::string& administrator) try {
  std::string addresses = administrator;
  std::vector<std::string> recipients;
  checkToAddress(addresses, recipients);
  const std::string sender = settingText(settings, NOTIFICATION, "MailFrom");
  const std::string charset = settingText(settings, NOTIFICATION, "PreferredCharset", "us-ascii");
  const std::string queue = settingText(settings, "general", "queue_notify", "/tmp/queue/notify");
  const SyncFailFiles files;
  const char* home = std::getenv("VESK_HOME");
  const SyncFailText text = syncFailText();
  const int failed = NotifyMailCompose(home, queue.c_str(), files.control, files.data,
                                       charset.c_str(), sender.c_str(), sender.c_str(), recipients,
                                       text.subject.c_str(), text.body.c_str());
  Log::LogByLevel(4, "Notify ldap cache sync fail with %s %s %s %s %s %s %s\n", home, queue.c_str(),
                  files.control, files.data, charset.c_str(), sender.c_str(), sender.c_str());
  if (failed != 0) {
    Log::LogByLevel(1, "[ERROR]Could not construct the notification mail. (%d)", failed);
  }
} catch (const std::bad_alloc&) {
  logNoMemory("notifyLdapCacheSyncFail");
}

}  // namespace

VESK_JNI(jint, LdapJNI, authenticateUTF8)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jbyteArray user,
 jbyteArray password) try {
  if (anyNull<jobject>(host, user, password)) return result::nullArgument;
  const VeskJniString hostText(env, host);
  const JniByteText<256> userText(env, user);
  const JniByteText<255> passwordText(env, password);  // one less than the account, on purpose
  DirectorySession session;
  const jint code = session.openAnonymously(
      static_cast<BvLDAPAbstractConnection::LDAPVendor>(vendor),
      static_cast<BvLDAPAbstractConnection::AuthenType>(authType), hostText.str, port);
  if (code != result::success) return code;
  if (session->authenticate(userText.c_str(), passwordText.c_str()) != 0) {
    session.deleteWithoutDisconnect();
    return result::bindRefused;
  }
  session.close();
  return result::success;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

// attrStr is not among the arguments that give 500; a null one reads as the empty name.
VESK_JNI(jint, LdapJNI, directSearchLDAPUTF8)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jbyteArray searchStr, jbyteArray attrStr,
 jobject resultList) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, searchStr, resultList)) {
    return result::nullArgument;
  }
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  const SearchText filter(env, searchStr);
  const SearchText attribute(env, attrStr);
  DirectorySession session;
  if (const jint code = session.open(to); code != result::success) return code;
  Log::LogByLevel(3, "baseDN=%s, searchStr=%s, attrStr=%s", to.baseDN(), filter.c_str(),
                  attribute.c_str());
  const char* attributes[] = {attribute.c_str(), nullptr};
  VESK::BvLDAPSearchResults* found = nullptr;
  // The filter is sent as it stands: the administrator writes a whole filter here, not a value.
  if (session->search(to.baseDN(), 2, filter.c_str(), attributes, &found) != 0) {
    const int lastError = session->getLastError();
    Log::LogByLevel(3, "Failed with error code: %d", lastError);
    session.close();
    return queryFailure(lastError);
  }
  SearchResults results(found, FreeSearchResults{session.get()});
  if (results->size() < 1) Log::LogByLevel(3, "search() returns true but result has no size.");
  std::vector<std::string> values = attributeValues(*results, attribute.c_str());
  session->freeSearchResults(results.release());
  append(env, values, resultList);
  session.close();
  return result::success;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

VESK_JNI(jint, LdapJNI, searchLDAPUTF8)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jbyteArray searchStr, jboolean groupOnly,
 jobject resultList) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, searchStr, resultList)) {
    return result::nullArgument;
  }
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  const SearchText text(env, searchStr);
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  return listNames(env, session, to.baseDN(), text.c_str(), groupOnly, resultList);
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

VESK_JNI(jint, LdapJNI, browseLDAP)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jboolean groupOnly, jobject resultList) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, resultList)) {
    return result::nullArgument;
  }
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  return listNames(env, session, to.baseDN(), nullptr, groupOnly, resultList);
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

VESK_JNI(jint, LdapJNI, isLDAPGroupContainAnotherUTF8)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jbyteArray member, jbyteArray group) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, member, group)) {
    return result::nullArgument;
  }
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  const SearchText memberName(env, member);
  const SearchText groupName(env, group);
  Log::LogByLevel(3, "group is %s", groupName.c_str());
  if (std::strcmp(memberName.c_str(), groupName.c_str()) == 0) return result::success;
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  GroupList list;
  const jint read = parentGroups(session, to.baseDN(), memberName.c_str(), list);
  if (read != result::success) return read;
  const jint code = findGroup(list, groupName.c_str());
  session.close();
  return code;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

VESK_JNI(jint, LdapJNI, isAccountExist)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jstring account) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, account)) return result::nullArgument;
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  const VeskJniString loginName(env, account);
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  UserDAO userDao;
  std::string userName;
  const bool exists =
      userDao.loginName2UserName(session.get(), to.baseDN(), loginName.str, userName, false) == 0 &&
      userDao.isUserExist(session.get(), to.baseDN(), userName.c_str()) == 0;
  session.close();
  return exists ? result::success : result::accountNotFound;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

// The argument before resultList is never read.
VESK_JNI(jint, LdapJNI, getUserByMail)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN, jbyteArray email, jstring, jobject resultList) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN, email, resultList)) {
    return result::nullArgument;
  }
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  const std::string mailAttribute = settingText(loadedSettings(), "LDAP", "mail_attr", "mail");
  const SearchText address(env, email);
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  Log::LogByLevel(3, "baseDN=%s, searchStr=%s, szMailDF=%s", to.baseDN(), address.c_str(),
                  mailAttribute.c_str());
  UserDAO userDao;
  std::string name;
  bool isGroup = false;
  const int owner = userDao.getUserOrGroupNameByEmail(
      session.get(), to.baseDN(), mailAttribute.c_str(), address.c_str(), name, &isGroup);
  if (owner == -2) {
    Log::LogByLevel(3, "Can not find user with email '%s' in LDAP server.", address.c_str());
    session.leaveOpen();  // kept until the process ends, on purpose
    return result::success;
  }
  if (owner == -1) {
    Log::LogByLevel(1, "Failed to query user by email '%s' in LDAP server.", address.c_str());
    session.leaveOpen();  // kept until the process ends, on purpose
    return result::queryFailed;
  }
  Log::LogByLevel(3, "Found user '%s' by email '%s' in LDAP server.", name.c_str(),
                  address.c_str());
  std::vector<std::string> names{name};
  append(env, names, resultList);
  session.close();
  return result::success;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

// A base DN whose object classes may not be read exists all the same.
VESK_JNI(jint, LdapJNI, checkBaseDN)
(JNIEnv* env, jobject, jint vendor, jint authType, jstring host, jint port, jstring bindUser,
 jstring bindPassword, jstring baseDN) try {
  if (anyNull<jobject>(host, bindUser, bindPassword, baseDN)) return result::nullArgument;
  const DirectoryArguments to(env, vendor, authType, host, port, bindUser, bindPassword, baseDN);
  DirectorySession session;
  if (const jint code = session.openWithScript(to); code != result::success) return code;
  const char* attributes[] = {"objectClass", nullptr};
  VESK::BvLDAPEntry* entry = nullptr;
  const bool exists = session->getEntry(to.baseDN(), attributes, &entry) == 0;
  if (exists) session->freeEntry(entry);
  session.close();
  return exists ? result::success : result::baseNotFound;
}
VESK_ON_NO_MEMORY(result::connectionNotCreated)

VESK_JNI(jint, LdapJNI, notifyLdapCacheSyncFail)(JNIEnv*, jobject) try {
  VESK::GlobalSetting* settings = loadedSettings();
  const std::string administrator = settingText(settings, NOTIFICATION, "Administrator");
  if (administrator.empty()) {
    Log::LogByLevel(1, "Fail to retrieve administrator info for LdapCacheSync notification");
    return noAdministrator;
  }
  writeSyncFailMail(settings, administrator);
  return result::success;
}
VESK_ON_NO_MEMORY(noAdministrator)
