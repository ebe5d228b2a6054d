// Binds by SASL/GSSAPI with the ticket that an account's password gives.
#include <sasl/sasl.h>

#include "Failure.h"
#include "Kerberos.h"
#include "Session.h"

namespace VESK {

using namespace directory;

namespace {

struct Credential {
  gss_cred_id_t handle;
  bool given = false;
};

// Cyrus SASL asks who to act for before it looks for credentials, and this is the first moment at
// which libldap takes one. Without it the process's default cache would serve: somebody else.
int giveCredential(LDAP* handle, unsigned, void* credential, void* prompts) {
  auto& own = *static_cast<Credential*>(credential);
  for (auto* prompt = static_cast<sasl_interact_t*>(prompts); prompt->id != SASL_CB_LIST_END;
       ++prompt) {
    prompt->result = "";
    prompt->len = 0;
  }
  own.given = ldap_set_option(handle, LDAP_OPT_X_SASL_GSS_CREDS, own.handle) == LDAP_OPT_SUCCESS;
  return own.given ? LDAP_SUCCESS : LDAP_LOCAL_ERROR;
}

// An Active Directory refuses Kerberos layers inside TLS, and wants the two tied together there.
void setSecurity(LDAP* handle) {
  const bool tls = ldap_tls_inplace(handle) != 0;
  const int binding = tls ? LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT : LDAP_OPT_X_SASL_CBINDING_NONE;
  ldap_set_option(handle, LDAP_OPT_X_SASL_CBINDING, &binding);
  ldap_set_option(handle, LDAP_OPT_X_SASL_SECPROPS,
                  tls ? "noanonymous,noplain,minssf=0,maxssf=0"
                      : "noanonymous,noplain,minssf=1,maxssf=256,maxbufsize=65536");
  ldap_set_option(handle, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
}

// Cyrus SASL knows who the account is from the moment the server's own proof was good.
bool serverIsProven(LDAP* handle) {
  char* account = nullptr;
  ldap_get_option(handle, LDAP_OPT_X_SASL_USERNAME, &account);
  const bool proven = account != nullptr;
  ldap_memfree(account);
  return proven;
}

// What follows a bind is sealed by TLS or by a layer of Kerberos's own.
bool isSealed(LDAP* handle) {
  ber_len_t strength = 0;
  ldap_get_option(handle, LDAP_OPT_X_SASL_SSF, &strength);
  return strength > 0 || ldap_tls_inplace(handle) != 0;
}

// The wire is sound; the libraries on this side could not go on.
bool isLocal(int code) {
  return code == LDAP_LOCAL_ERROR || code == LDAP_AUTH_UNKNOWN || code == LDAP_PARAM_ERROR ||
         code == LDAP_NOT_SUPPORTED || code == LDAP_USER_CANCELLED;
}

}  // namespace

int BvLDAPConnection::Session::bindKerberos(const TimeBudget& budget, const std::string& user,
                                            const std::string& password) {
  KerberosTicket ticket(serverHost, budget.deadline());
  if (!ticket.obtain(principalOf(user, vendor == ACTIVEDIRECTORY), password)) {
    const KerberosFailure& failure = ticket.failure();
    if (bound) close();  // or it would go on as somebody else
    return fail(budget, failure.step.c_str(), failure.peer, failure.reason, failure.hint);
  }
  int code = bindSasl(budget, ticket.credential());
  // libldap takes a server's word that the bind succeeded, however early it comes.
  bound = code == LDAP_SUCCESS && serverIsProven(handle.get()) && isSealed(handle.get());
  if (bound) return code;
  code = failSasl(budget, code, ticket.clockIsWrong());
  close();  // what the server makes of half a negotiation is its own affair
  return code;
}

int BvLDAPConnection::Session::failSasl(const TimeBudget& budget, int code, bool clockIsWrong) {
  constexpr const char* STEP = "SASL bind";
  const std::string words = " [" + diagnosticOf(handle.get()) + "]";
  if (transport->timedOut() || (isWireFailure(code) && !isLocal(code))) {
    return fail(budget, STEP, code);
  }
  if (code == LDAP_SUCCESS) {
    return fail(budget, STEP, "the server did not prove itself",
                "check that this is the directory server and not somebody who answers for it");
  }
  if (code == LDAP_NOT_SUPPORTED) {
    return fail(budget, STEP, "the SASL library did not take the account's ticket" + words,
                "install the GSSAPI module of Cyrus SASL that fits it");
  }
  if (code == LDAP_AUTH_UNKNOWN && serverIsProven(handle.get())) {
    return fail(budget, STEP, "the server does not seal the connection" + words,
                "let the server offer Kerberos layers, or set security in section LDAP to ldaps");
  }
  if (code == LDAP_AUTH_UNKNOWN) {
    return fail(budget, STEP, "no GSSAPI mechanism on this machine" + words,
                "install the GSSAPI module of Cyrus SASL");
  }
  if (code == LDAP_AUTH_METHOD_NOT_SUPPORTED) {
    return fail(budget, STEP, "the server has no GSSAPI mechanism" + words,
                "let the server offer GSSAPI");
  }
  if (clockIsWrong) return fail(budget, STEP, "clock skew" + words, SAME_TIME);
  if (words.find(krb5Message(nullptr, KRB5_CC_NOTFOUND)) != std::string::npos) {
    return fail(budget, STEP, "DNS gives the server one name and then another" + words,
                "set dns_canonicalize_hostname = false in krb5.conf, [libdefaults]");
  }
  return code > 0 ? fail(budget, STEP, code)
                  : fail(budget, STEP, "GSSAPI failed" + words,
                         "check the server's keytab, and krb5.conf on both machines");
}

int BvLDAPConnection::Session::bindSasl(const TimeBudget& budget, void* gssCredential) {
  Credential credential{static_cast<gss_cred_id_t>(gssCredential)};
  LdapMessage answer;
  const char* mechanism = nullptr;
  setSecurity(handle.get());
  for (;;) {
    int id = 0;
    const int code = ldap_sasl_interactive_bind(handle.get(), nullptr, "GSSAPI", nullptr, nullptr,
                                                LDAP_SASL_QUIET, giveCredential, &credential,
                                                answer.get(), &mechanism, &id);
    if (code == LDAP_SUCCESS && !credential.given) return LDAP_NOT_SUPPORTED;
    if (code != LDAP_SASL_BIND_IN_PROGRESS) return code;
    if (const int waited = awaitMessage(budget, id, answer); waited != LDAP_SUCCESS) return waited;
  }
}

}  // namespace VESK
