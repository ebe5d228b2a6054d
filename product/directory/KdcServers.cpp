#include "KdcServers.h"

#include <arpa/nameser.h>
#include <netinet/in.h>
#include <profile.h>
#include <resolv.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

namespace VESK::directory {

namespace {

constexpr int KERBEROS_PORT = 88;
constexpr long PATIENCE = 3;  // seconds for one name server

struct ReleaseProfile {
  void operator()(_profile_t* profile) const { profile_release(profile); }
};
using Profile = std::unique_ptr<_profile_t, ReleaseProfile>;

struct FreeValues {
  void operator()(char** values) const { profile_free_list(values); }
};

Profile profileOf(krb5_context context) {
  profile_t raw = nullptr;
  return Profile(krb5_get_profile(context, &raw) == 0 ? raw : nullptr);
}

// 0 for what is no port.
int portOf(std::string_view text) {
  int port = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, port);
  return read.ec == std::errc() && read.ptr == end && port > 0 && port <= 65535 ? port : 0;
}

// "host", "host:port", "[address]:port", or a bare IPv6 address. The URL of a proxy is none of
// them.
KdcServer serverOf(const std::string& text) {
  if (text.find("://") != std::string::npos) return {text};
  std::string host = text;
  int port = KERBEROS_PORT;
  const auto colon = host.rfind(':');
  const bool bracketed = host.starts_with('[');
  const bool hasPort =
      colon != std::string::npos && (bracketed ? host[colon - 1] == ']' : host.find(':') == colon);
  if (hasPort) {
    port = portOf(std::string_view(host).substr(colon + 1));
    if (port == 0) return {text};
    host.resize(colon);
  }
  if (bracketed && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return {host, port};
}

KdcServers configured(_profile_t* profile, const std::string& realm) {
  const char* path[] = {"realms", realm.c_str(), "kdc", nullptr};
  char** raw = nullptr;
  if (profile_get_values(profile, path, &raw) != 0) return {};
  const std::unique_ptr<char*, FreeValues> values(raw);
  KdcServers servers;
  for (char** value = raw; *value != nullptr; ++value) servers.push_back(serverOf(*value));
  return servers;
}

bool mayAskDns(_profile_t* profile) {
  int allowed = 1;
  profile_get_boolean(profile, "libdefaults", "dns_lookup_kdc", nullptr, 1, &allowed);
  return allowed != 0;
}

// A resolver of the call's own: each of the machine's name servers is asked once. An answer that is
// cut short is used as it is: the resolver would ask for the rest over TCP, and wait for ever.
class Resolver {
 public:
  explicit Resolver(Clock::time_point deadline) : ready(res_ninit(&state) == 0) {
    using std::chrono::seconds;
    const auto left =
        static_cast<long>(std::chrono::duration_cast<seconds>(remaining(deadline)).count());
    state.options |= RES_IGNTC | RES_USE_EDNS0;
    state.retry = 1;
    state.retrans =
        static_cast<int>(std::clamp<long>(left / std::max(1, state.nscount), 1, PATIENCE));
  }
  ~Resolver() {
    if (ready) res_nclose(&state);
  }
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  // Length of the answer, or -1.
  int services(const std::string& name, unsigned char* answer, int size) {
    return ready ? res_nquery(&state, name.c_str(), ns_c_in, ns_t_srv, answer, size) : -1;
  }

 private:
  struct __res_state state {};
  bool ready;
};

struct Service {
  unsigned priority = 0;
  KdcServer server;
};

// False for a record that is none, or says that there is no such service (the name ".").
bool readService(const ns_msg& message, const ns_rr& record, Service& service) {
  constexpr int FIXED = 6;  // priority, weight, port
  char host[NS_MAXDNAME];
  const unsigned char* data = ns_rr_rdata(record);
  if (ns_rr_type(record) != ns_t_srv || ns_rr_rdlen(record) <= FIXED) return false;
  if (ns_name_uncompress(ns_msg_base(message), ns_msg_end(message), data + FIXED, host,
                         sizeof host) < 0) {
    return false;
  }
  service.priority = ns_get16(data);
  service.server = {host, static_cast<int>(ns_get16(data + 4))};
  return host != std::string_view(".") && service.server.port != 0;
}

KdcServers published(const std::string& realm, Clock::time_point deadline) {
  if (remaining(deadline) == Millis(0)) return {};
  std::array<unsigned char, NS_MAXMSG> answer;
  ns_msg message;
  Resolver resolver(deadline);
  const int length = resolver.services("_kerberos._tcp." + realm + ".", answer.data(),
                                       static_cast<int>(answer.size()));
  if (length <= 0 || ns_initparse(answer.data(), std::min<int>(length, NS_MAXMSG), &message) != 0)
    return {};
  std::vector<Service> found;
  for (int i = 0; i < ns_msg_count(message, ns_s_an); ++i) {
    ns_rr record;
    Service service;
    if (ns_parserr(&message, ns_s_an, i, &record) == 0 && readService(message, record, service)) {
      found.push_back(std::move(service));
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Service& a, const Service& b) { return a.priority < b.priority; });
  KdcServers servers;
  for (Service& service : found) servers.push_back(std::move(service.server));
  return servers;
}

}  // namespace

KdcServers kdcServersOf(krb5_context context, const std::string& realm,
                        Clock::time_point deadline) {
  const Profile profile = profileOf(context);
  if (profile == nullptr) return {};
  KdcServers servers = configured(profile.get(), realm);
  if (servers.empty() && mayAskDns(profile.get())) return published(realm, deadline);
  return servers;
}

}  // namespace VESK::directory
