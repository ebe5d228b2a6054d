// Double of the directory library. A connection that is deleted while it is up says so in the
// journal.
#include "product/directory.h"

#include <cstdio>
#include <utility>

#include "doubles/Product.h"

namespace VESK {

BvLDAPAttribute::BvLDAPAttribute(std::string name, std::vector<std::string> values)
    : attributeName(std::move(name)), attributeValues(std::move(values)) {}
int BvLDAPAttribute::size() const { return static_cast<int>(attributeValues.size()); }
const char* BvLDAPAttribute::getValue(int index) const {
  return attributeValues[static_cast<std::size_t>(index)].c_str();
}

BvLDAPEntry::BvLDAPEntry(std::string dn, std::vector<BvLDAPAttribute> attributes)
    : entryDn(std::move(dn)), entryAttributes(std::move(attributes)) {}
int BvLDAPEntry::getAttribute(const char* name, BvLDAPAttribute** out) {
  for (BvLDAPAttribute& attribute : entryAttributes) {
    if (attribute.name() != name) continue;
    *out = &attribute;
    return ask("getAttribute %s", name);
  }
  return 1;
}

BvLDAPSearchResults::BvLDAPSearchResults(std::vector<BvLDAPEntry> entries)
    : resultEntries(std::move(entries)) {}
int BvLDAPSearchResults::size() const { return static_cast<int>(resultEntries.size()); }
BvLDAPEntry* BvLDAPSearchResults::operator[](unsigned index) { return &resultEntries[index]; }

const char* BvLDAPAbstractConnection::getLdapVendorName(LDAPVendor vendor) {
  ask("vendorName %d", vendor);
  return "openldap";
}

class BvLDAPConnection::Session {
 public:
  bool up = false;
  int come(int answer) {
    up = answer == 0;
    return answer;
  }
};

BvLDAPConnection::BvLDAPConnection(LDAPVendor vendor, AuthenType authType)
    : session(std::make_unique<Session>()) {
  ask("new %d %d", vendor, authType);
  product.connection = this;
  ++product.alive;
}
BvLDAPConnection::~BvLDAPConnection() {
  product.calls.emplace_back(session->up ? "delete connected" : "delete connection");
  --product.alive;
}
int BvLDAPConnection::connect(const char* host, int port) {
  return session->come(ask("connect %s %d", host, port));
}
int BvLDAPConnection::connect(const char* host, int port, const char* user, const char* password) {
  return session->come(ask("connect %s %d %s %s", host, port, user, password));
}
int BvLDAPConnection::authenticate(const char* user, const char* password) {
  return ask("authenticate %s %s", user, password);
}
int BvLDAPConnection::getLastError() { return ask("getLastError"); }
int BvLDAPConnection::getEntry(const char* dn, const char** attributes, BvLDAPEntry** out) {
  const int answer = ask("getEntry %s %s%s", dn, attributes[0], attributes[1] ? " more" : "");
  if (answer != 0) return answer;
  *out = new BvLDAPEntry(dn, {});
  ++product.alive;
  return 0;
}
void BvLDAPConnection::freeEntry(BvLDAPEntry* entry) {
  delete entry;
  --product.alive;
  ask("freeEntry");
}
int BvLDAPConnection::search(const char* baseDN, int scope, const char* filter,
                             const char** attributes, BvLDAPSearchResults** out) {
  const int answer = ask("search %s %d %s %s%s", baseDN, scope, filter, attributes[0],
                         attributes[1] ? " more" : "");
  if (answer != 0) return answer;
  *out = new BvLDAPSearchResults(product.entries);
  ++product.alive;
  return 0;
}
void BvLDAPConnection::freeSearchResults(BvLDAPSearchResults* results) {
  delete results;
  --product.alive;
  ask("freeSearchResults");
}
void BvLDAPConnection::disconnect() {
  session->up = false;
  ask("disconnect");
}
int BvLDAPConnection::visit(const char*, int, const char*, const char**,
                            const BvLDAPEntryVisitor&) {
  return ask("visit");
}

void BvLDAPScript::destroy() { ask("script destroy"); }
int BvLDAPScript::init(const char* path) { return ask("script init %s", path); }

bool get_spn_from_keytab(const char* keytabPath, char* buffer, int bufferSize) {
  ask("keytab %s %d", keytabPath, bufferSize);
  std::snprintf(buffer, static_cast<std::size_t>(bufferSize), "%s", product.name.c_str());
  return !product.name.empty();
}

}  // namespace VESK

namespace {

using Connection = VESK::BvLDAPAbstractConnection;

int askDao(const char* method, Connection* connection, const char* baseDN, const char* text) {
  const char* remark = connection == product.connection ? "" : " on a wrong connection";
  return ask("%s %s %s%s", method, baseDN, text, remark);
}

int fillGroups(int answer, const std::vector<std::string>& names, GroupList& out) {
  for (const std::string& name : names) out.groups.push_back({name, {}});
  return answer;
}

}  // namespace

BvVeskDAO::BvVeskDAO() { ++product.alive; }
BvVeskDAO::~BvVeskDAO() { --product.alive; }

UserDAO::UserDAO() { ask("new UserDAO"); }
UserDAO::~UserDAO() { product.calls.emplace_back("delete UserDAO"); }
int UserDAO::loginName2UserName(Connection* connection, const char* baseDN, const char* loginName,
                                std::string& userName, bool reserved) {
  userName = product.name;
  const char* call = reserved ? "loginName2UserName reserved" : "loginName2UserName";
  return askDao(call, connection, baseDN, loginName);
}
int UserDAO::isUserExist(Connection* connection, const char* baseDN, const char* userName) {
  return askDao("isUserExist", connection, baseDN, userName);
}
int UserDAO::getAllUsers(Connection* connection, const char* baseDN, const char* searchStr,
                         UserVOList& out) {
  for (const std::string& name : product.users) out.users.push_back({name, "shown", "mail"});
  return askDao("getAllUsers", connection, baseDN, searchStr);
}
int UserDAO::getUserOrGroupNameByEmail(Connection* connection, const char* baseDN,
                                       const char* mailAttribute, const char* email,
                                       std::string& name, bool* isGroup) {
  name = product.name;
  *isGroup = true;
  const std::string look = std::string(mailAttribute) + "=" + email;
  return askDao("getUserOrGroupNameByEmail", connection, baseDN, look.c_str());
}

GroupDAO::GroupDAO() { ask("new GroupDAO"); }
GroupDAO::~GroupDAO() { product.calls.emplace_back("delete GroupDAO"); }
int GroupDAO::getAllGroups(Connection* connection, const char* baseDN, const char* searchStr,
                           GroupList& out) {
  return fillGroups(askDao("getAllGroups", connection, baseDN, searchStr), product.groups, out);
}
int GroupDAO::getAllParentGroupsByGroupName(Connection* connection, const char* baseDN,
                                            const char* groupName, GroupList& out) {
  return fillGroups(askDao("getAllParentGroupsByGroupName", connection, baseDN, groupName),
                    product.parentsOfGroup, out);
}
int GroupDAO::getAllParentGroupsByUserName(Connection* connection, const char* baseDN,
                                           const char* userName, GroupList& out) {
  return fillGroups(askDao("getAllParentGroupsByUserName", connection, baseDN, userName),
                    product.parentsOfUser, out);
}
