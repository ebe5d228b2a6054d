#include "product/directory.h"

#include <algorithm>
#include <utility>

#include "Filter.h"
#include "Lookup.h"
#include "Text.h"
#include "product/log.h"
#include "shared/Boundary.h"

using namespace VESK::directory;

namespace {

constexpr int FAILED = -1;
constexpr int NO_OWNER = -2;

// What stands behind the last backslash of DOMAIN\user, where the vendor logs in like that.
std::string withoutDomain(const Script& script, const std::string& loginName) {
  const std::size_t slash = loginName.rfind('\\');
  if (!script.loginStripDomain || slash == std::string::npos) return loginName;
  return loginName.substr(slash + 1);
}

int namesOfLogin(Lookup& lookup, const std::string& loginName, Names& names) {
  const Script& script = lookup.script();
  const Names attributes = {script.userNameAttr};
  const auto collect = [&](VESK::BvLDAPEntry& entry) {
    if (std::string name = firstValue(entry, script.userNameAttr); !name.empty()) {
      names.push_back(std::move(name));
    }
    return names.size() < 2;  // two are too many already
  };
  if (!comparableDn(loginName).empty()) {
    const int code = lookup.findDn(loginName, script.userFilter, attributes, collect);
    if (code == 0 && !names.empty()) return 0;
  }
  const std::string login = escapeValue(withoutDomain(script, loginName));
  return lookup.find(both(script.userFilter, anyOf(script.userLoginAttrs, login)), attributes,
                     collect);
}

// Where addresses carry their protocol, both spellings are asked for.
std::string ownerFilter(const Script& script, const std::string& attribute,
                        const std::string& email) {
  const std::string address = escapeValue(email);
  std::string mail = item(attribute, address);
  if (containsName(script.smtpPrefixAttrs, attribute)) {
    mail = "(|" + mail + item(attribute, "smtp:" + address) + ")";
  }
  return both("(|" + script.userFilter + script.groupFilter + ")", mail);
}

// The first user and the first group with an address; the user goes before the group.
struct Owners {
  std::string user;
  std::string group;

  bool add(const Script& script, VESK::BvLDAPEntry& entry) {
    const Names classes = allValues(entry, "objectClass");
    const bool isGroup = std::any_of(classes.begin(), classes.end(), [&](const std::string& name) {
      return containsName(script.groupClasses, name);
    });
    std::string& slot = isGroup ? group : user;
    if (slot.empty())
      slot = firstValue(entry, isGroup ? script.groupNameAttr : script.userNameAttr);
    return true;
  }
};

}  // namespace

BvVeskDAO::BvVeskDAO() = default;
BvVeskDAO::~BvVeskDAO() = default;

UserDAO::UserDAO() = default;
UserDAO::~UserDAO() = default;

int UserDAO::loginName2UserName(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                                const char* loginName, std::string& userName, bool) try {
  Lookup lookup(connection, baseDN);
  const std::string login = realUtf8(loginName);
  Names names;
  if (!lookup.possible() || login.empty()) return FAILED;
  if (namesOfLogin(lookup, login, names) != 0 || names.empty()) return FAILED;
  if (names.size() > 1) {
    VESK::Log::LogByLevel(1, "directory: login name \"%s\" fits \"%s\" and \"%s\"; hint: %s",
                          login.c_str(), names[0].c_str(), names[1].c_str(),
                          "narrow user_login_attrs or user_filter in the vendor's script");
    return FAILED;
  }
  userName = std::move(names.front());
  return 0;
}
VESK_AT_BOUNDARY("directory", -1)

int UserDAO::isUserExist(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                         const char* userName) try {
  Lookup lookup(connection, baseDN);
  if (!lookup.possible() || userName == nullptr) return FAILED;
  const Script& script = lookup.script();
  const std::string named = item(script.userNameAttr, escapeValue(realUtf8(userName)));
  bool found = false;
  const int code = lookup.find(both(script.userFilter, named), {},
                               [&](VESK::BvLDAPEntry&) { return found = true; });
  return code == 0 && found ? 0 : FAILED;
}
VESK_AT_BOUNDARY("directory", -1)

int UserDAO::getAllUsers(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                         const char* searchStr, UserVOList& out) try {
  Lookup lookup(connection, baseDN);
  if (!lookup.possible()) return FAILED;
  const Script& script = lookup.script();
  const std::string filter = searchFilter(script.userFilter, script.userSearchAttrs, searchStr);
  std::deque<UserVO> users;
  const int code = lookup.find(filter, {script.userNameAttr}, [&](VESK::BvLDAPEntry& entry) {
    if (std::string name = firstValue(entry, script.userNameAttr); !name.empty()) {
      users.push_back({std::move(name), {}, {}});
    }
    return true;
  });
  if (code == 0) moveInto(out.users, users);
  return code;
}
VESK_AT_BOUNDARY("directory", -1)

int UserDAO::getUserOrGroupNameByEmail(VESK::BvLDAPAbstractConnection* connection,
                                       const char* baseDN, const char* mailAttribute,
                                       const char* email, std::string& name, bool* isGroup) try {
  Lookup lookup(connection, baseDN);
  const Script& script = lookup.script();
  const std::string attribute = realUtf8(mailAttribute);
  const std::string address = realUtf8(email);
  if (!lookup.possible()) return FAILED;
  if (!isAttributeName(attribute)) {
    VESK::Log::LogByLevel(1, "directory: \"%s\" is no attribute name; hint: check mail_attr",
                          attribute.c_str());
    return FAILED;
  }
  if (address.empty()) return NO_OWNER;
  Owners owners;
  const Names attributes = {script.userNameAttr, script.groupNameAttr, "objectClass"};
  const int code = lookup.find(ownerFilter(script, attribute, address), attributes,
                               [&](VESK::BvLDAPEntry& entry) { return owners.add(script, entry); });
  if (code != 0) return FAILED;
  const bool groupOwns = owners.user.empty();
  std::string& owner = groupOwns ? owners.group : owners.user;
  if (owner.empty()) return NO_OWNER;
  if (isGroup != nullptr) *isGroup = groupOwns;
  name = std::move(owner);
  return 0;
}
VESK_AT_BOUNDARY("directory", -1)
