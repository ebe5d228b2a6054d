// The product's directory library: connections, the vendor's script, and the user and group
// look-ups.
//
// Texts are NUL-terminated UTF-8; a supplementary character may arrive as the Java VM writes it
// (two three-byte surrogates) and is normalised before it reaches the server. Everything that waits
// ends within the time-outs below, but for the resolution of a host name, which takes as long as
// the machine's resolver is set to try. A failed operation leaves one line in the log and throws
// nothing; the connection is closed when its wire failed. A connection belongs to one thread at a
// time; different connections are independent.
//
// TLS is 1.2 or newer and checks certificate and host name; "localhost" stands for the machine's
// own name there. Nothing falls back to plain. References to other servers are skipped. Of an
// attribute that a server sends in ranges ("member;range=0-1499") all are read, and it is handed
// out whole under its plain name; a caller who asks for a range himself gets what the server says.
//
// Authentication type Kerberos binds by SASL/GSSAPI with a ticket that it gets for the account and
// password ("ann", "ann@REALM" or "DOMAIN\ann") and keeps to itself; the machine's ticket caches
// and keytabs have no part in it. The service is "ldap/" and the host as given, so give the name
// that the server's keytab has. Realms and their key servers are those of /etc/krb5.conf (or what
// KRB5_CONFIG names, and of DNS where it names none); the key servers are asked over TCP, within
// the time-outs. Unless krb5.conf sets dns_canonicalize_hostname to false or fallback, the GSS
// library asks DNS for the host's name, outside them. The server has to prove itself, and without
// TLS Kerberos seals what follows, or the bind fails.
//
// Settings read, section "LDAP": "security" (auto, none, starttls or ldaps; default auto, which
// means ldaps on ports 636 and 3269 and none elsewhere), "ca_file" (PEM file of the trusted
// certificate authorities; default the system's), "connect_timeout" (seconds for the
// connection and its TLS, default 5), "operation_timeout" (seconds for one whole call, default 30),
// "page_size" (entries, default 500; in look-ups, the vendor's script may override it).
#ifndef VESK_PRODUCT_DIRECTORY_H
#define VESK_PRODUCT_DIRECTORY_H

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VESK {

class BvLDAPAttribute {
 public:
  BvLDAPAttribute(std::string name, std::vector<std::string> values);
  const std::string& name() const { return attributeName; }
  int size() const;  // number of values
  // Both live as the attribute. A value as text: a SID as S-1-5-..., a GUID with dashes, any other
  // value that is not UTF-8 or has a NUL in it in base64. Null when there is no such value.
  const char* getValue(int index) const;
  // A value as the server sent it, no NUL behind it. Without data when there is no such value.
  std::string_view getBytes(int index) const;

 private:
  std::string attributeName;
  std::vector<std::string> attributeValues;
};

class BvLDAPEntry {
 public:
  BvLDAPEntry(std::string dn, std::vector<BvLDAPAttribute> attributes);
  const std::string& dn() const { return entryDn; }
  // 0 when the entry has the attribute (names compare without case): `*out` then points into the
  // entry. Non-zero otherwise, and `*out` is null.
  int getAttribute(const char* name, BvLDAPAttribute** out);

 private:
  std::string entryDn;
  std::vector<BvLDAPAttribute> entryAttributes;
};

class BvLDAPSearchResults {
 public:
  explicit BvLDAPSearchResults(std::vector<BvLDAPEntry> entries);
  int size() const;  // number of entries
  BvLDAPEntry* operator[](
      unsigned index);  // null when there is no such entry; lives as the results

 private:
  std::vector<BvLDAPEntry> resultEntries;
};

// Takes one entry of a search as it arrives; false ends the search early, which is not an error.
using BvLDAPEntryVisitor = std::function<bool(BvLDAPEntry& entry)>;

// A session with a directory server. The order of the virtual functions is fixed: the appliance's
// own library is called by it.
class BvLDAPAbstractConnection {
 public:
  enum LDAPVendor : int { GENERIC = 0, OPENLDAP = 1, ACTIVEDIRECTORY = 2, DS389 = 3 };
  enum AuthenType : int { SIMPLE = 0, KERBEROS = 1 };

  // Last-error codes.
  enum LastError : int { NO_ERROR = 0, OTHER_ERROR = 1, NO_SUCH_BASE = 2, LIMIT_EXCEEDED = 3 };

  // Binds with an account on a connected session; 0 when the server accepted it. An empty name or
  // password is refused without asking: many servers take such a bind as anonymous and answer with
  // success. Otherwise nobody stays bound as before: a failed simple bind leaves an anonymous
  // session, a failed Kerberos bind closes one that was bound or that the server had already been
  // asked on.
  virtual int authenticate(const char* user, const char* password) = 0;
  virtual int getLastError() = 0;
  // Reads one entry; 0 when it exists and may be read, and then `*out` is to be given to freeEntry.
  // `attributes` ends with a null.
  virtual int getEntry(const char* dn, const char** attributes, BvLDAPEntry** out) = 0;
  virtual void freeEntry(BvLDAPEntry* entry) = 0;
  // All entries that match `filter` (RFC 4515, used as it is). `scope`: 0 base, 1 one level, 2
  // subtree. 0 on success, and then `*out` is to be given to freeSearchResults.
  virtual int search(const char* baseDN, int scope, const char* filter, const char** attributes,
                     BvLDAPSearchResults** out) = 0;
  virtual void freeSearchResults(BvLDAPSearchResults* results) = 0;
  virtual void disconnect() = 0;

  // Not called by the bridge: for the data-access classes.
  // Like search, page by page, keeping no more than a page of entries at a time. 0 on success; the
  // visitor may have seen entries before a failure.
  virtual int visit(const char* baseDN, int scope, const char* filter, const char** attributes,
                    const BvLDAPEntryVisitor& visitor) = 0;

  virtual ~BvLDAPAbstractConnection() = default;

  // The vendor's lower-case word ("generic", "openldap", "activedirectory", "ds389"), which also
  // names its folder below "ldap"; "generic" for an unknown value. Static storage.
  static const char* getLdapVendorName(LDAPVendor vendor);
};

class BvLDAPConnection : public BvLDAPAbstractConnection {
 public:
  BvLDAPConnection(LDAPVendor vendor, AuthenType authType);
  ~BvLDAPConnection() override;  // closes what is still open
  BvLDAPConnection(const BvLDAPConnection&) = delete;
  BvLDAPConnection& operator=(const BvLDAPConnection&) = delete;

  // Both return 0 when the session is up. `host` is a name, an IPv4 or an IPv6 address, the latter
  // with or without brackets; `port` 1 to 65535. The first form does not bind: a server that
  // refuses anonymous access still connects, and the first bind decides. The second binds as
  // `bindUser` (a DN, or what the vendor takes as a login); both texts empty means an anonymous
  // session. An unknown authentication type fails.
  int connect(const char* host, int port);
  int connect(const char* host, int port, const char* bindUser, const char* bindPassword);

  int authenticate(const char* user, const char* password) override;
  int getLastError() override;
  int getEntry(const char* dn, const char** attributes, BvLDAPEntry** out) override;
  void freeEntry(BvLDAPEntry* entry) override;
  int search(const char* baseDN, int scope, const char* filter, const char** attributes,
             BvLDAPSearchResults** out) override;
  void freeSearchResults(BvLDAPSearchResults* results) override;
  void disconnect() override;
  int visit(const char* baseDN, int scope, const char* filter, const char** attributes,
            const BvLDAPEntryVisitor& visitor) override;

 private:
  class Session;  // the wire: handle, TLS, binds, time budget
  std::unique_ptr<Session> session;
};

// The vendor's script configuration: which filters, attributes and strategies fit its schema. One
// for the process, replaced as a whole, so a look-up that runs keeps the script it started with. A
// thread that loaded one itself keeps it for its own look-ups, whatever others load meanwhile.
// Without a script, the built-in generic one serves.
class BvLDAPScript {
 public:
  // Forgets the calling thread's script and the process's.
  static void destroy();
  // Loads the file at `path`; 0 on success. On failure the log names file and line, and the
  // built-in generic script serves.
  static int init(const char* path);
};

// The service principal ("HTTP/gate.example.com@EXAMPLE.COM") that a keytab file holds, cut at
// bufferSize - 1 bytes, and not within a character. When there are several, the newest entry
// counts. False, with a line in the log, when the file is missing, unreadable, damaged, larger
// than 1 MB, or has no service principal; `buffer` is then the empty text.
bool get_spn_from_keytab(const char* keytabPath, char* buffer, int bufferSize);

}  // namespace VESK

// Lists are deques: a vector that grows holds everything twice for a moment.

// One directory user. The first field is the name that lists show.
struct UserVO {
  std::string name;
  std::string displayName;
  std::string mail;
};

struct UserVOList {
  std::deque<UserVO> users;
  unsigned size() const { return static_cast<unsigned>(users.size()); }
  UserVO& operator[](unsigned index) { return users[index]; }
};

// One directory group. The first field is the name that lists show.
struct GroupRecord {
  std::string name;
  std::string dn;
};

struct GroupList {
  std::deque<GroupRecord> groups;
  unsigned size() const { return static_cast<unsigned>(groups.size()); }
  GroupRecord& operator[](unsigned index) { return groups[index]; }
};

// Base of the data-access classes; its destructor is the first of its virtual functions.
class BvVeskDAO {
 public:
  BvVeskDAO();
  virtual ~BvVeskDAO();
};

// All operations return 0 on success unless they say otherwise, and append to the given list, which
// stays as it was on failure; the connection's last error then tells more. A null or empty search
// text means all; in a search text `*` is a wildcard, everything else stands for itself. Lists fill
// the names (and, of groups, the DNs) and no other field.
class UserDAO : public BvVeskDAO {
 public:
  UserDAO();
  ~UserDAO() override;

  // The user whose login name, DN or principal is `loginName`; one that fits two users is refused.
  // `reserved` is always false.
  virtual int loginName2UserName(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                                 const char* loginName, std::string& userName, bool reserved);
  virtual int isUserExist(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                          const char* userName);
  virtual int getAllUsers(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                          const char* searchStr, UserVOList& out);
  // -2: no owner; -1: the query failed; else found, with the owner's name and whether it is a
  // group. A user goes before a group with the same address.
  virtual int getUserOrGroupNameByEmail(VESK::BvLDAPAbstractConnection* connection,
                                        const char* baseDN, const char* mailAttribute,
                                        const char* email, std::string& name, bool* isGroup);
};

// Nested groups: each group is listed once, and a cycle ends the walk as any known group does; the
// group that was asked about is not listed. A name that several groups or users have stands for all
// of them, one that none has gives an empty list and success. A user's primary group counts where
// the vendor's script tells how to find it.
class GroupDAO : public BvVeskDAO {
 public:
  GroupDAO();
  ~GroupDAO() override;

  virtual int getAllGroups(VESK::BvLDAPAbstractConnection* connection, const char* baseDN,
                           const char* searchStr, GroupList& out);
  virtual int getAllParentGroupsByGroupName(VESK::BvLDAPAbstractConnection* connection,
                                            const char* baseDN, const char* groupName,
                                            GroupList& out);
  virtual int getAllParentGroupsByUserName(VESK::BvLDAPAbstractConnection* connection,
                                           const char* baseDN, const char* userName,
                                           GroupList& out);
};

#endif
