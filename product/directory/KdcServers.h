// Where the key servers of a realm are.
#ifndef VESK_DIRECTORY_KDC_SERVERS_H
#define VESK_DIRECTORY_KDC_SERVERS_H

#include <krb5.h>

#include <string>
#include <vector>

#include "TimeBudget.h"
#include "Transport.h"

namespace VESK::directory {

struct KdcServer {
  std::string host;  // all that krb5.conf has where it cannot be used
  int port = 0;      // 0: cannot be used
  Addresses addresses{};
};
using KdcServers = std::vector<KdcServer>;

// Those that krb5.conf names for the realm, in its order. Where it names none, those that DNS has
// (SRV records of _kerberos._tcp) unless dns_lookup_kdc forbids to ask, the most wanted first.
KdcServers kdcServersOf(krb5_context context, const std::string& realm, Clock::time_point deadline);

}  // namespace VESK::directory

#endif
