#include "Kerberos.h"

#include <gssapi/gssapi_krb5.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace VESK::directory {

namespace {

constexpr const char* SERVICE = "ldap";
constexpr const char* HERE = "this machine";
constexpr std::int64_t CLOCKS_MAY_DIFFER = 300;  // seconds; what Kerberos servers let pass

using InitialCredentials = Krb5Owned<krb5_init_creds_context, krb5_init_creds_free>;
using TicketCredentials = Krb5Owned<krb5_tkt_creds_context, krb5_tkt_creds_free>;

// Structures that libkrb5 fills and empties.
template <typename Type, auto Release>
struct Krb5Contents {
  explicit Krb5Contents(krb5_context krb5) : context(krb5) {}
  ~Krb5Contents() { Release(context, &value); }
  Krb5Contents(const Krb5Contents&) = delete;
  Krb5Contents& operator=(const Krb5Contents&) = delete;
  krb5_context context;
  Type value{};
};
using Krb5Creds = Krb5Contents<krb5_creds, krb5_free_cred_contents>;
using Krb5Data = Krb5Contents<krb5_data, krb5_free_data_contents>;

// What a conversation came to. When it fails, libkrb5 has freed what it put into the structure and
// left the pointers there.
template <typename Context>
krb5_error_code take(krb5_error_code (*get)(krb5_context, Context, krb5_creds*), Context from,
                     Krb5Creds& ticket) {
  krb5_creds taken{};
  const krb5_error_code code = get(ticket.context, from, &taken);
  if (code == 0) ticket.value = taken;
  return code;
}

std::string_view textOf(const krb5_data& data) { return {data.data, data.length}; }

struct Known {
  krb5_error_code code;
  const char* reason;
  const char* hint;
};

constexpr const char* CHECK_PASSWORD = "check account and password";
constexpr const char* ASK_ADMINISTRATOR = "the administrator of the key server can change that";
constexpr const char* NAME_REALM = "name the realm and its key servers in krb5.conf, [realms]";

constexpr Known KNOWN[] = {
    {KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN, "unknown account", "check the account's name and realm"},
    {KRB5KDC_ERR_PREAUTH_FAILED, "wrong password", CHECK_PASSWORD},
    {KRB5KRB_AP_ERR_BAD_INTEGRITY, "wrong password", CHECK_PASSWORD},
    {KRB5KDC_ERR_KEY_EXP, "the password has expired", "set a new password for the account"},
    {KRB5KDC_ERR_NAME_EXP, "the account has expired", ASK_ADMINISTRATOR},
    {KRB5KDC_ERR_CLIENT_REVOKED, "the account is disabled or locked", ASK_ADMINISTRATOR},
    {KRB5KRB_AP_ERR_SKEW, "clock skew", SAME_TIME},
    {KRB5_KDCREP_SKEW, "clock skew", SAME_TIME},
    {KRB5KRB_AP_ERR_TKT_NYV, "clock skew", SAME_TIME},
    {KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN, "no such service principal",
     "connect to the host name that the directory server's keytab has, not to an address"},
    {KRB5_REALM_UNKNOWN, "unknown realm", NAME_REALM},
    {KRB5_REALM_CANT_RESOLVE, "unknown realm", NAME_REALM},
    {KRB5KDC_ERR_WRONG_REALM, "unknown realm", NAME_REALM},
    {KRB5_CONFIG_NODEFREALM, "no realm given",
     "give the account as NAME@REALM or set default_realm in krb5.conf"},
    {KRB5_PARSE_MALFORMED, "no Kerberos account", "give the account as NAME or NAME@REALM"},
    {KRB5_KDC_UNREACH, "KDC unreachable",
     "check the realm's key servers in krb5.conf and firewall"},
};

Known describe(krb5_error_code code) {
  const auto* found = std::find_if(std::begin(KNOWN), std::end(KNOWN),
                                   [code](const Known& row) { return row.code == code; });
  if (found != std::end(KNOWN)) return *found;
  return {code, "Kerberos error", "check krb5.conf and the key server's log"};
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

std::string krb5Message(krb5_context context, krb5_error_code code) {
  const auto release = [context](const char* text) { krb5_free_error_message(context, text); };
  const std::unique_ptr<const char, decltype(release)> text(krb5_get_error_message(context, code),
                                                            release);
  return text.get();
}

std::string principalOf(const std::string& account, bool activeDirectory) {
  std::string name = account.substr(account.find('\\') + 1);
  if (const auto at = name.rfind('@'); activeDirectory && at != std::string::npos) {
    std::transform(name.begin() + static_cast<std::ptrdiff_t>(at), name.end(),
                   name.begin() + static_cast<std::ptrdiff_t>(at), upper);
  }
  return name;
}

KerberosTicket::KerberosTicket(const std::string& server, Clock::time_point deadline)
    : host(server),
      context([] {
        krb5_context raw = nullptr;
        krb5_init_context(&raw);
        return raw;
      }()),
      exchange(context.get(), deadline),
      client(context.get()),
      logInCache(context.get()),
      serviceCache(context.get()) {}

KerberosTicket::~KerberosTicket() {
  OM_uint32 minor = 0;
  if (gssCredential != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &gssCredential);
}

bool KerberosTicket::obtain(const std::string& account, const std::string& password) {
  const std::string step = "Kerberos log-in of " + account;
  if (context == nullptr) {
    problem = {step, HERE, "krb5.conf cannot be read", "check /etc/krb5.conf"};
    return false;
  }
  if (const auto code = krb5_parse_name(context.get(), account.c_str(), client.out()); code != 0) {
    return refused(step, code);
  }
  if (const auto code = logIn(password); code != 0) return refused(step, code);
  if (const auto code = askForService(); code != 0) {
    return refused("Kerberos ticket for " + (SERVICE + ("/" + host)), code);
  }
  return importCredential();
}

krb5_error_code KerberosTicket::logIn(const std::string& password) {
  krb5_context krb5 = context.get();
  InitialCredentials conversation(krb5);
  Krb5Creds ticket(krb5);
  krb5_error_code code =
      krb5_init_creds_init(krb5, client.get(), nullptr, nullptr, 0, nullptr, conversation.out());
  if (code == 0) code = krb5_init_creds_set_password(krb5, conversation.get(), password.c_str());
  if (code == 0) {
    code = converse([&](krb5_data* in, krb5_data* out, krb5_data* realm, unsigned* flags) {
      return krb5_init_creds_step(krb5, conversation.get(), in, out, realm, flags);
    });
  }
  if (code == 0) code = take(krb5_init_creds_get_creds, conversation.get(), ticket);
  if (code == 0) code = krb5_cc_new_unique(krb5, "MEMORY", nullptr, logInCache.out());
  if (code == 0) code = krb5_cc_initialize(krb5, logInCache.get(), client.get());
  if (code == 0) code = krb5_cc_store_cred(krb5, logInCache.get(), &ticket.value);
  serverTime = ticket.value.times.authtime;
  return code;
}

// For the host as it was given: what DNS makes of it is nobody's promise.
krb5_error_code KerberosTicket::askForService() {
  krb5_context krb5 = context.get();
  std::string name = host;
  std::transform(name.begin(), name.end(), name.begin(), lower);
  Krb5Principal server(krb5);
  TicketCredentials conversation(krb5);
  Krb5Creds ticket(krb5);
  krb5_creds wanted{};
  wanted.client = client.get();
  krb5_error_code code =
      krb5_sname_to_principal(krb5, name.c_str(), SERVICE, KRB5_NT_UNKNOWN, server.out());
  wanted.server = server.get();
  if (code == 0) {
    code = krb5_tkt_creds_init(krb5, logInCache.get(), &wanted, 0, conversation.out());
  }
  if (code == 0) {
    code = converse([&](krb5_data* in, krb5_data* out, krb5_data* realm, unsigned* flags) {
      return krb5_tkt_creds_step(krb5, conversation.get(), in, out, realm, flags);
    });
  }
  if (code == 0) code = take(krb5_tkt_creds_get_creds, conversation.get(), ticket);
  return code == 0 ? keepForGss(ticket.value) : code;
}

// The GSS library looks for the name that krb5.conf lets it make of the host, maybe with the help
// of DNS, and nobody can tell it to take another. It finds the ticket under the name that DNS gives
// now, and no other that it could buy one with: it asks no key server itself. Where DNS gives
// another name a moment later, the bind fails.
krb5_error_code KerberosTicket::keepForGss(const krb5_creds& ticket) {
  krb5_context krb5 = context.get();
  Krb5Principal looked(krb5);
  krb5_creds alias = ticket;
  krb5_error_code code =
      krb5_sname_to_principal(krb5, host.c_str(), SERVICE, KRB5_NT_SRV_HST, looked.out());
  alias.server = looked.get();
  if (code == 0) code = krb5_cc_new_unique(krb5, "MEMORY", nullptr, serviceCache.out());
  if (code == 0) code = krb5_cc_initialize(krb5, serviceCache.get(), client.get());
  if (code == 0)
    code = krb5_cc_store_cred(krb5, serviceCache.get(), const_cast<krb5_creds*>(&ticket));
  if (code == 0) code = krb5_cc_store_cred(krb5, serviceCache.get(), &alias);
  return code;
}

bool KerberosTicket::importCredential() {
  OM_uint32 minor = 0;
  const OM_uint32 major =
      gss_krb5_import_cred(&minor, serviceCache.get(), nullptr, nullptr, &gssCredential);
  if (!GSS_ERROR(major)) return true;
  return refused("GSSAPI credential", static_cast<krb5_error_code>(minor));
}

// Lets libkrb5 say what to send, and to which realm, until it has what it wants.
krb5_error_code KerberosTicket::converse(const Step& step) {
  std::string answer;
  for (;;) {
    krb5_data in{};
    in.data = answer.data();
    in.length = static_cast<unsigned>(answer.size());
    Krb5Data request(context.get());
    Krb5Data realm(context.get());
    unsigned flags = 0;
    if (const auto code = step(&in, &request.value, &realm.value, &flags); code != 0) return code;
    if ((flags & KRB5_INIT_CREDS_STEP_FLAG_CONTINUE) == 0) return 0;
    const auto code = exchange.ask(std::string(textOf(realm.value)), textOf(request.value), answer);
    if (code != 0) return code;
  }
}

bool KerberosTicket::refused(const std::string& step, krb5_error_code code) {
  const Known known = describe(code);
  const std::string words =
      code == KRB5_KDC_UNREACH ? exchange.trouble() : krb5Message(context.get(), code);
  const std::string& asked = exchange.peer();
  problem = {step, asked.empty() ? HERE : asked, known.reason + (" [" + words + "]"), known.hint};
  return false;
}

bool KerberosTicket::clockIsWrong() const {
  // libkrb5's times are unsigned from 2038 on, whatever their type says.
  const std::int64_t there = static_cast<std::uint32_t>(serverTime);
  return std::abs(there - std::int64_t{std::time(nullptr)}) > CLOCKS_MAY_DIFFER;
}

}  // namespace VESK::directory
