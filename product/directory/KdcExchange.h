// Questions to the key servers (KDCs) of a realm. libkrb5 waits about twenty seconds for a silent
// one and knows no time-out; here all waits end at the deadline.
#ifndef VESK_DIRECTORY_KDC_EXCHANGE_H
#define VESK_DIRECTORY_KDC_EXCHANGE_H

#include <krb5.h>

#include <map>
#include <string>
#include <string_view>

#include "KdcServers.h"
#include "TimeBudget.h"

namespace VESK::directory {

class KdcExchange {
 public:
  KdcExchange(krb5_context krb5, Clock::time_point deadline) : context(krb5), ends(deadline) {}

  // 0 and the answer; KRB5_REALM_UNKNOWN when no key server of the realm is known; KRB5_KDC_UNREACH
  // when none answered, and then `trouble` says why. The servers are tried in turn and share the
  // time; one that answers with something else, or that it is out of service, counts as silent.
  krb5_error_code ask(const std::string& realm, std::string_view request, std::string& answer);

  const std::string& peer() const { return asked; }  // "KDC host:port", the last that was asked
  const std::string& trouble() const { return reason; }

 private:
  bool askOne(KdcServer& server, int sharers, std::string_view request, std::string& answer);
  std::string converse(Transport& transport, std::string_view request, std::string& answer);

  krb5_context context;
  Clock::time_point ends;
  std::map<std::string, KdcServers> known;
  std::string asked;
  std::string reason;
};

}  // namespace VESK::directory

#endif
