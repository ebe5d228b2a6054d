// The product's client of the reputation service, as far as its server is checked.
//
// The wide texts hold one byte of the caller's text in each character: values outside ASCII are
// refused by quorSetServerConfigEx. Every function returns 0 on success, else a code of
// quorResult; a failure leaves one line in the log, without the password. The set functions set the
// process's one configuration; a check uses the records that it is given, and for a null record the
// one that was set. All may be called by several threads at once. Nothing here throws.
#ifndef VESK_PRODUCT_REPUTATION_H
#define VESK_PRODUCT_REPUTATION_H

#include <cstdint>
#include <cwchar>

enum quorResult : int {
  QUOR_OK = 0,
  QUOR_BAD_CONFIG = 1,       // an address, port or text that cannot be used, a null record
  QUOR_NOT_RESOLVED = 2,     // the name of the server or the proxy
  QUOR_CONNECT_REFUSED = 3,  // or unreachable
  QUOR_PROXY_REFUSED = 4,    // the proxy wants another user or password (407) or refuses
  QUOR_TLS_FAILED = 5,       // certificate of a wrong host or authority, or no TLS at all
  QUOR_TIMEOUT = 6,          // no answer within the limit
  QUOR_BAD_ANSWER = 7,       // an HTTP status other than 200, or not the service's answer
  QUOR_NO_RESOURCES = 8,
};

// Which defaults; only the one kind is known.
inline constexpr int QUOR_CONFIG_SERVER = 1;

struct quorServerConfig {
  // Host, host:port or an https:// or http:// URL; https without a scheme. "/status" is asked.
  wchar_t serverAddr[1024];
  bool useProxy;
  wchar_t proxyServer[1024];  // host or [IPv6 address]
  int proxyPort;
  wchar_t proxyUser[64];  // empty: the proxy is asked without one
  wchar_t proxyPassword[64];
};

struct quorSSLOptions {
  std::int32_t verifyPeer;       // 1: the certificate must be of a trusted authority
  std::int32_t verifyHost;       // 1: and be the host's
  std::int32_t requireStapling;  // 1: and the server must staple a proof that it is not revoked
  char caFile[4096];             // PEM file of the trusted authorities; empty: the system's
};
static_assert(sizeof(quorSSLOptions) == 4108);

// Fill a record with the defaults: all zero but proxyPort, 8080; all three checks on and caFile as
// set in section "reputation", "ca_file".
int quorLoadDefaultServerConfigEx(int kind, quorServerConfig* config);
int quorLoadDefaultSSLOptionEx(int kind, quorSSLOptions* options);

int quorSetServerConfigEx(quorServerConfig* config);
int quorSetSSLOptionsEx(quorSSLOptions* options);

// Asks the server for its status. `limit` is the whole check's time in milliseconds, at least 1,
// and becomes what is left of it. `errorCode` is 0, the HTTP status, or the component's own error
// number (libcurl's), whichever says more; `totalTime` the seconds taken.
int quorChkServerStatusEx(quorServerConfig* config, quorSSLOptions* options, int* limit,
                          int* errorCode, double* totalTime);

#endif
