// The Kerberos side of a bind: from account and password to a ticket for the directory service.
#ifndef VESK_DIRECTORY_KERBEROS_H
#define VESK_DIRECTORY_KERBEROS_H

#include <gssapi/gssapi.h>
#include <krb5.h>

#include <functional>
#include <memory>
#include <string>

#include "KdcExchange.h"
#include "TimeBudget.h"

namespace VESK::directory {

struct FreeKrb5Context {
  void operator()(krb5_context context) const { krb5_free_context(context); }
};
using Krb5Context = std::unique_ptr<_krb5_context, FreeKrb5Context>;

// Something of libkrb5's that is released with its context.
template <typename Handle, auto Release>
class Krb5Owned {
 public:
  explicit Krb5Owned(krb5_context krb5) : context(krb5) {}
  ~Krb5Owned() {
    if (handle != nullptr) Release(context, handle);
  }
  Krb5Owned(const Krb5Owned&) = delete;
  Krb5Owned& operator=(const Krb5Owned&) = delete;
  Handle get() const { return handle; }
  Handle* out() { return &handle; }

 private:
  krb5_context context;
  Handle handle = nullptr;
};

using Krb5Principal = Krb5Owned<krb5_principal, krb5_free_principal>;
using Krb5PrivateCache = Krb5Owned<krb5_ccache, krb5_cc_destroy>;

// libkrb5's words for a code.
std::string krb5Message(krb5_context context, krb5_error_code code);

// The hint for clocks that are too far apart.
constexpr const char* SAME_TIME = "give this machine and the servers the same time, as from NTP";

struct KerberosFailure {
  std::string step;
  std::string peer;  // the key server, or this machine
  std::string reason;
  const char* hint;
};

// The ticket of one account for one server, in a cache that nobody else sees and that goes with
// this object. No environment, default cache or setting of the process or the thread has a part in
// it but krb5.conf.
class KerberosTicket {
 public:
  KerberosTicket(const std::string& server, Clock::time_point deadline);
  ~KerberosTicket();
  KerberosTicket(const KerberosTicket&) = delete;
  KerberosTicket& operator=(const KerberosTicket&) = delete;

  // True when the credential is there; else failure() tells.
  bool obtain(const std::string& account, const std::string& password);

  gss_cred_id_t credential() const { return gssCredential; }
  const KerberosFailure& failure() const { return problem; }
  // True when this machine's clock and the key server's are too far apart.
  bool clockIsWrong() const;

 private:
  using Step = std::function<krb5_error_code(krb5_data* in, krb5_data* out, krb5_data* realm,
                                             unsigned* flags)>;

  krb5_error_code logIn(const std::string& password);
  krb5_error_code askForService();
  krb5_error_code keepForGss(const krb5_creds& ticket);
  bool importCredential();
  krb5_error_code converse(const Step& step);
  bool refused(const std::string& step, krb5_error_code code);

  std::string host;
  Krb5Context context;
  KdcExchange exchange;
  Krb5Principal client;
  Krb5PrivateCache logInCache;
  Krb5PrivateCache serviceCache;
  gss_cred_id_t gssCredential = GSS_C_NO_CREDENTIAL;
  krb5_timestamp serverTime = 0;
  KerberosFailure problem{};
};

// The account as libkrb5 takes it: "DOMAIN\ann" is ann; Active Directory's realms are in upper
// case, however its user principal names are written.
std::string principalOf(const std::string& account, bool activeDirectory);

}  // namespace VESK::directory

#endif
