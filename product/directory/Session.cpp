#include "Session.h"

#include <openldap.h>

#include <cstring>
#include <mutex>
#include <utility>

#include "Failure.h"
#include "Text.h"
#include "product/log.h"

namespace VESK {

using namespace directory;

namespace {

// A message that claims to be larger is taken for garbage, before memory is spent on it.
constexpr ber_len_t MAX_MESSAGE = 64 * 1024 * 1024;

std::string uriOf(const char* scheme, const std::string& host, int port) {
  std::string name;
  for (const char c : host) name += c == '%' ? std::string("%25") : std::string(1, c);
  if (name.find(':') != std::string::npos) name = "[" + name + "]";
  return std::string(scheme) + "://" + name + ":" + std::to_string(port);
}

std::string withoutBrackets(const char* host) {
  const std::string text = host;
  const bool bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
  return bracketed ? text.substr(1, text.size() - 2) : text;
}

// libldap reads its process-wide defaults at its first use, and not under a lock.
void initialiseOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    LDAP* first = nullptr;
    if (ldap_create(&first) == LDAP_SUCCESS) LdapHandle(first).reset();
  });
}

void setNumber(LDAP* handle, int option, int value) { ldap_set_option(handle, option, &value); }

// The protocol that the handshake ended with, as "TLS1.2"; empty when libldap cannot tell.
std::string tlsVersion(LDAP* handle) {
  char* raw = nullptr;
  if (ldap_get_option(handle, LDAP_OPT_X_TLS_VERSION, &raw) != LDAP_OPT_SUCCESS) return {};
  std::string copy = raw == nullptr ? "" : raw;
  ldap_memfree(raw);
  return copy;
}

// As realUtf8 reads it, without a copy.
bool isEmpty(const char* text) {
  return text == nullptr || *text == '\0' || std::strncmp(text, "\xC0\x80", 2) == 0;
}

bool isNew(const std::string& version) {
  return version.ends_with("1.2") || version.ends_with("1.3");
}

}  // namespace

BvLDAPConnection::Session::Session(LDAPVendor ldapVendor, AuthenType authenType)
    : vendor(ldapVendor), authType(authenType) {}

BvLDAPConnection::Session::~Session() = default;

void BvLDAPConnection::Session::close() {
  handle.reset();
  transport.reset();
  provenBase.clear();
  bound = false;
}

int BvLDAPConnection::Session::open(const char* host, int port) {
  options = loadOptions(port);
  return reach(host, port);
}

int BvLDAPConnection::Session::open(const char* host, int port, const char* user,
                                    const char* password) {
  options = loadOptions(port);
  const TimeBudget whole(options.operationTimeout);
  if (const int code = reach(host, port); code != 0) return code;
  const bool anonymous = isEmpty(user) && isEmpty(password);
  const int code = anonymous ? LDAP_SUCCESS : bind(user, password);
  if (code != 0) close();
  return code;
}

// Up to a session that may be bound; whatever gets in the way leaves it closed.
int BvLDAPConnection::Session::reach(const char* host, int port) {
  error = NO_ERROR;
  close();
  const TimeBudget budget(options.connectTimeout);
  if (!acceptable(budget, host, port)) return LDAP_PARAM_ERROR;
  serverHost = withoutBrackets(host);
  int code = connect(budget, serverHost, port);
  if (code == LDAP_SUCCESS && options.security != Security::NONE) code = startTls(budget);
  if (code != LDAP_SUCCESS) close();
  return code;
}

bool BvLDAPConnection::Session::acceptable(const TimeBudget& budget, const char* host, int port) {
  const std::string name = host == nullptr ? "" : withoutBrackets(host);
  peer = uriOf(options.security == Security::LDAPS ? "ldaps" : "ldap", name, port);
  if (name.empty() || port < 1 || port > 65535) {
    fail(budget, "connect", "no such address", "give a host and a port from 1 to 65535");
  } else if (authType != SIMPLE && authType != KERBEROS) {
    fail(budget, "connect", "unknown authentication type " + std::to_string(authType),
         "use 0 (simple) or 1 (Kerberos)");
  } else if (options.security == Security::UNKNOWN) {
    fail(budget, "connect", "unknown security \"" + options.securityWord + "\"",
         "set security in section LDAP to auto, none, starttls or ldaps");
  } else {
    return true;
  }
  return false;
}

int BvLDAPConnection::Session::connect(const TimeBudget& budget, const std::string& host,
                                       int port) {
  transport = std::make_unique<Transport>();
  const Transport::Failure failure = transport->connect(host, port, budget.deadline());
  if (!failure.reason.empty()) {
    return fail(budget, failure.step, failure.reason, "check host, port and firewall");
  }
  transport->endAt(budget.deadline());
  if (const int code = makeHandle(); code != 0) return fail(budget, "connect", code);
  return LDAP_SUCCESS;
}

// Sets every option that matters but those of TLS, which startTls sets: the defaults come from the
// machine's ldap.conf and environment.
int BvLDAPConnection::Session::makeHandle() {
  initialiseOnce();
  LDAP* raw = nullptr;
  const int code = ldap_init_fd(transport->descriptor(), LDAP_PROTO_EXT, peer.c_str(), &raw);
  handle.reset(raw);
  if (code != LDAP_SUCCESS) return code;
  setNumber(raw, LDAP_OPT_PROTOCOL_VERSION, LDAP_VERSION3);
  setNumber(raw, LDAP_OPT_DEREF, LDAP_DEREF_NEVER);
  setNumber(raw, LDAP_OPT_SIZELIMIT, LDAP_NO_LIMIT);
  setNumber(raw, LDAP_OPT_TIMELIMIT, LDAP_NO_LIMIT);
  ldap_set_option(raw, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  ldap_set_option(raw, LDAP_OPT_RESTART, LDAP_OPT_ON);
  Sockbuf* buffer = nullptr;
  ber_len_t limit = MAX_MESSAGE;
  const bool attached = ldap_get_option(raw, LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS &&
                        transport->attach(buffer) &&
                        ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_MAX_INCOMING, &limit) == 1;
  return attached ? LDAP_SUCCESS : LDAP_LOCAL_ERROR;
}

int BvLDAPConnection::Session::startTls(const TimeBudget& budget) {
  LDAP* ld = handle.get();
  const timeval left = budget.left();
  ldap_set_option(ld, LDAP_OPT_TIMEOUT, &left);
  ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &left);
  setNumber(ld, LDAP_OPT_X_TLS_REQUIRE_CERT, LDAP_OPT_X_TLS_DEMAND);
  setNumber(ld, LDAP_OPT_X_TLS_REQUIRE_SAN, LDAP_OPT_X_TLS_TRY);
  ldap_set_option(ld, LDAP_OPT_X_TLS_CACERTDIR, nullptr);
  ldap_set_option(ld, LDAP_OPT_X_TLS_CACERTFILE, options.caFile.c_str());
  setNumber(ld, LDAP_OPT_X_TLS_PROTOCOL_MIN, LDAP_OPT_X_TLS_PROTOCOL_TLS1_2);
  const int client = 0;
  if (ldap_set_option(ld, LDAP_OPT_X_TLS_NEWCTX, &client) != LDAP_OPT_SUCCESS) {
    return fail(budget, "TLS", "cannot load the trusted certificates from " + options.caFile,
                "set ca_file in section LDAP to a readable PEM file");
  }
  const int code = options.security == Security::STARTTLS ? ldap_start_tls_s(ld, nullptr, nullptr)
                                                          : ldap_install_tls(ld);
  if (code != LDAP_SUCCESS) return fail(budget, "TLS", code);
  // On GnuTLS libldap takes the least version and does nothing with it; the list of ciphers that
  // would say the same leaks with each connection. Nothing but the handshake has been sent yet.
  if (const std::string version = tlsVersion(ld); !isNew(version)) {
    return fail(budget, "TLS", "the server speaks " + version, "let it speak TLS 1.2 or newer");
  }
  return LDAP_SUCCESS;
}

int BvLDAPConnection::Session::bind(const char* user, const char* password) {
  error = NO_ERROR;
  const TimeBudget budget(options.operationTimeout);
  if (handle == nullptr) return fail(budget, "bind", LDAP_SERVER_DOWN);
  transport->endAt(budget.deadline());
  const std::string name = realUtf8(user);
  std::string secret = realUtf8(password);
  const Wiped wiped{secret};
  if (name.empty() || secret.empty()) {
    fail(budget, "bind", "empty name or password, not sent", "give the account and its password");
    return LDAP_INAPPROPRIATE_AUTH;
  }
  return authType == KERBEROS ? bindKerberos(budget, name, secret)
                              : bindSimple(budget, name, secret);
}

int BvLDAPConnection::Session::bindSimple(const TimeBudget& budget, const std::string& user,
                                          const std::string& password) {
  berval credentials{password.size(), const_cast<char*>(password.data())};
  int id = 0;
  int code = ldap_sasl_bind(handle.get(), user.c_str(), LDAP_SASL_SIMPLE, &credentials, nullptr,
                            nullptr, &id);
  if (code == LDAP_SUCCESS) code = awaitResult(budget, id);
  return code == LDAP_SUCCESS ? code : fail(budget, "bind", code);
}

int BvLDAPConnection::Session::awaitMessage(const TimeBudget& budget, int id,
                                            LdapMessage& message) {
  timeval left = budget.left();
  // A server whose answer goes on and on always has a message ready.
  if (left.tv_sec == 0 && left.tv_usec == 0) return LDAP_TIMEOUT;
  LDAPMessage* raw = nullptr;
  const int type = ldap_result(handle.get(), id, LDAP_MSG_ONE, &left, &raw);
  message.reset(raw);
  if (type > 0) return LDAP_SUCCESS;
  if (type == 0) return LDAP_TIMEOUT;
  // A server that says why it hangs up leaves its own code here, but the wire is gone all the same.
  const int code = handleCode();
  return code < 0 ? code : LDAP_SERVER_DOWN;
}

int BvLDAPConnection::Session::awaitResult(const TimeBudget& budget, int id) {
  LdapMessage message;
  if (const int code = awaitMessage(budget, id, message); code != LDAP_SUCCESS) return code;
  int result = LDAP_SUCCESS;
  const int parsed = ldap_parse_result(handle.get(), message.get(), &result, nullptr, nullptr,
                                       nullptr, nullptr, 0);
  return parsed == LDAP_SUCCESS ? result : parsed;
}

int BvLDAPConnection::Session::handleCode() const {
  int code = LDAP_OTHER;
  ldap_get_option(handle.get(), LDAP_OPT_RESULT_CODE, &code);
  return code;
}

int BvLDAPConnection::Session::fail(const TimeBudget& budget, const char* step, int code) {
  const bool timedOut = code == LDAP_TIMEOUT || (transport != nullptr && transport->timedOut());
  if (timedOut) code = LDAP_TIMEOUT;
  logFailure({step, peer, budget.elapsed(), code, diagnosticOf(handle.get())});
  error = lastErrorOf(code);
  if (isWireFailure(code)) close();
  return code;
}

int BvLDAPConnection::Session::fail(const TimeBudget& budget, const char* step,
                                    const std::string& reason, const char* hint) {
  return fail(budget, step, peer, reason, hint);
}

int BvLDAPConnection::Session::fail(const TimeBudget& budget, const char* step,
                                    const std::string& where, const std::string& reason,
                                    const char* hint) {
  Log::LogByLevel(1, "directory: %s failed at %s after %lld ms: %s; hint: %s", step, where.c_str(),
                  static_cast<long long>(budget.elapsed().count()), reason.c_str(), hint);
  error = OTHER_ERROR;
  return LDAP_LOCAL_ERROR;
}

}  // namespace VESK
