// The wire of one connection: handle, TLS, binds, requests, and the report of what went wrong.
#ifndef VESK_DIRECTORY_SESSION_H
#define VESK_DIRECTORY_SESSION_H

#include <ldap.h>

#include <memory>
#include <string>

#include "Options.h"
#include "Results.h"
#include "TimeBudget.h"
#include "Transport.h"
#include "product/directory.h"

namespace VESK {

struct UnbindLdap {
  void operator()(LDAP* ld) const { ldap_unbind_ext_s(ld, nullptr, nullptr); }
};
using LdapHandle = std::unique_ptr<LDAP, UnbindLdap>;

struct FreeMessage {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};
using LdapMessage = std::unique_ptr<LDAPMessage, FreeMessage>;

// Every int below is an LDAP result code, 0 for success; a failure is in the log by then. A session
// whose wire failed is closed: libldap would open a new connection on its own, without the bind and
// without StartTLS.
class BvLDAPConnection::Session {
 public:
  Session(LDAPVendor ldapVendor, AuthenType authenType);
  ~Session();

  int open(const char* host, int port);
  int open(const char* host, int port, const char* user, const char* password);
  int bind(const char* user, const char* password);
  int read(const char* dn, const char** attributes, BvLDAPEntry** out);
  int visit(const char* baseDN, int scope, const char* filter, const char** attributes,
            const BvLDAPEntryVisitor& visitor);
  void close();

  int lastError() const { return error; }

 private:
  using Options = directory::Options;
  using TimeBudget = directory::TimeBudget;
  using Transport = directory::Transport;
  struct Search;

  int reach(const char* host, int port);
  bool acceptable(const TimeBudget& budget, const char* host, int port);
  int connect(const TimeBudget& budget, const std::string& host, int port);
  int makeHandle();
  int startTls(const TimeBudget& budget);
  int bindSimple(const TimeBudget& budget, const std::string& user, const std::string& password);
  int bindKerberos(const TimeBudget& budget, const std::string& user, const std::string& password);
  int bindSasl(const TimeBudget& budget, void* gssCredential);
  int failSasl(const TimeBudget& budget, int code, bool clockIsWrong);

  int run(const TimeBudget& budget, Search& search, const BvLDAPEntryVisitor& visitor);
  int request(Search& search, int& id);
  int readPage(const TimeBudget& budget, Search& search, int id, const BvLDAPEntryVisitor& visitor);
  int takeEntry(const TimeBudget& budget, Search& search, LDAPMessage* message,
                const BvLDAPEntryVisitor& visitor);
  int complete(const TimeBudget& budget, Search& search, const directory::IncomingEntry& entry,
               directory::PartialAttribute& whole);
  int finishPage(Search& search, LDAPMessage* result);
  int awaitMessage(const TimeBudget& budget, int id, LdapMessage& message);
  int awaitResult(const TimeBudget& budget, int id);
  int checkBase(const TimeBudget& budget, const Search& search);

  int handleCode() const;
  int fail(const TimeBudget& budget, const char* step, int code);
  int fail(const TimeBudget& budget, const char* step, const std::string& reason, const char* hint);
  int fail(const TimeBudget& budget, const char* step, const std::string& where,
           const std::string& reason, const char* hint);

  LDAPVendor vendor;
  AuthenType authType;
  Options options;
  std::string serverHost;  // without brackets
  std::string peer;        // for messages
  std::string provenBase;  // gave an entry in this session
  bool bound = false;      // by Kerberos, as somebody
  int error = NO_ERROR;
  std::unique_ptr<Transport> transport;
  LdapHandle handle;  // declared after the transport that it uses
};

}  // namespace VESK

#endif
