#include "Request.h"

#include <curl/curl.h>

#include <iterator>
#include <map>
#include <memory>

#include "shared/JsonEvents.h"
#include "shared/Transfer.h"

namespace VESK::reputation {

namespace {

constexpr std::size_t LONGEST_ANSWER = 4096;

// The number that says so, and the one that some proxies use for a wrong password. The
// service itself asks for none.
bool wantsPassword(long status) { return status == 407 || status == 401; }

struct Cleanup {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Handle = std::unique_ptr<CURL, Cleanup>;

// Ends the transfer by taking less than it was given.
std::size_t take(char* data, std::size_t size, std::size_t count, void* answer) {
  std::string& text = *static_cast<std::string*>(answer);
  if (text.size() + size * count > LONGEST_ANSWER) return 0;
  text.append(data, size * count);
  return size * count;
}

// Sets options until one is refused.
class Options {
 public:
  explicit Options(CURL* handle) : curl(handle) {}

  template <typename Value>
  void set(CURLoption option, Value value) {
    if (fine) fine = curl_easy_setopt(curl, option, value) == CURLE_OK;
  }

  bool fine = true;

 private:
  CURL* curl;
};

void setTransfer(Options& options, const Target& target, int milliseconds, std::string& answer) {
  options.set(CURLOPT_NOSIGNAL, 1L);
  // A name server that does not answer is not waited for beyond the limit.
  options.set(CURLOPT_QUICK_EXIT, 1L);
  options.set(CURLOPT_URL, target.url.c_str());
  options.set(CURLOPT_PROTOCOLS_STR, "http,https");
  options.set(CURLOPT_TIMEOUT_MS, static_cast<long>(milliseconds));
  options.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(milliseconds));
  options.set(CURLOPT_USERAGENT, "VESK reputation client");
  options.set(CURLOPT_WRITEFUNCTION, take);
  options.set(CURLOPT_WRITEDATA, static_cast<void*>(&answer));
}

void setTls(Options& options, const quorSSLOptions& tls) {
  // libcurl frees a session's place twice when it finds no memory to keep it; a check is one
  // request.
  options.set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  options.set(CURLOPT_SSL_VERIFYPEER, static_cast<long>(tls.verifyPeer));
  options.set(CURLOPT_SSL_VERIFYHOST, tls.verifyHost == 1 ? 2L : 0L);
  options.set(CURLOPT_SSL_VERIFYSTATUS, static_cast<long>(tls.requireStapling));
  if (tls.caFile[0] == '\0') return;
  options.set(CURLOPT_CAINFO, tls.caFile);
  options.set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));  // no other authority
}

// Empty texts keep the environment's proxy and exceptions out.
void setProxy(Options& options, const Target& target) {
  options.set(CURLOPT_PROXY, target.proxy.c_str());
  options.set(CURLOPT_NOPROXY, "");
  if (target.proxyUser.empty()) return;
  options.set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
  options.set(CURLOPT_PROXYUSERNAME, target.proxyUser.c_str());
  options.set(CURLOPT_PROXYPASSWORD, target.proxyPassword.c_str());
}

Outcome failure(quorResult result, long code, const char* step, const std::string& reason,
                const char* hint) {
  return {result, static_cast<int>(code), step, reason, "", hint};
}

// The texts of an object; of equal names the last counts. What nests is passed over.
class Texts : public JsonEvents {
 public:
  std::map<std::string, std::string> byName;

  bool string(std::string& value) override {
    if (depth == 1) byName[name] = value;
    return true;
  }
  bool key(std::string& given) override {
    if (depth == 1) name = given;
    return true;
  }
  bool start_object(std::size_t) override { return other() && ++depth > 0; }
  bool end_object() override { return --depth >= 0; }
  bool start_array(std::size_t) override { return depth > 0 && other() && ++depth > 0; }
  bool end_array() override { return --depth >= 0; }

 private:
  bool other() override {
    if (depth == 1) byName.erase(name);
    return true;
  }

  std::string name;
  int depth = 0;
};

Outcome judgeAnswer(const std::string& answer) {
  constexpr const char* HINT = "is that address a reputation server?";
  Texts texts;
  if (!nlohmann::json::sax_parse(answer, &texts) || texts.byName["service"] != "reputation") {
    return failure(QUOR_BAD_ANSWER, 200, "answer", "not the service's", HINT);
  }
  if (const std::string& status = texts.byName["status"]; status != "ok") {
    return failure(QUOR_BAD_ANSWER, 200, "answer", "status \"" + status + "\"",
                   "the service says that it is out of order: ask whoever runs it");
  }
  return {QUOR_OK};
}

Outcome proxyRefused(long status) {
  if (wantsPassword(status)) {
    return failure(QUOR_PROXY_REFUSED, status, "proxy", "user or password refused",
                   "check user and password of the proxy");
  }
  return failure(QUOR_PROXY_REFUSED, status, "proxy", "refused to connect to the server",
                 "allow this host, the server and its port in the proxy");
}

Outcome judgeStatus(const Target& target, long status, const std::string& answer) {
  if (status == 200) return judgeAnswer(answer);
  if (wantsPassword(status) && !target.proxy.empty()) return proxyRefused(status);
  return failure(QUOR_BAD_ANSWER, status, "answer", "HTTP status " + std::to_string(status),
                 "the service's own log says more; with a proxy it may be the proxy's answer");
}

// The proxy's own answer to CONNECT, when it was not yes.
Outcome judgeTunnel(long status) {
  if (status < 500) return proxyRefused(status);
  return failure(QUOR_CONNECT_REFUSED, status, "connect",
                 "the proxy did not reach the server (HTTP status " + std::to_string(status) + ")",
                 "check the server's name and port, and from the proxy whether it is up");
}

Outcome judgeTls(CURL* curl, CURLcode code) {
  constexpr long UNSPECIFIED = 1;
  long verified = 0;
  curl_easy_getinfo(curl, CURLINFO_SSL_VERIFYRESULT, &verified);
  if (code != CURLE_PEER_FAILED_VERIFICATION) {
    return failure(QUOR_TLS_FAILED, code, "TLS", "no secure connection",
                   "does the server speak TLS at that port?");
  }
  // Until the chain was looked at, it is "unspecified"; the name comes first.
  if (verified != 0 && verified != UNSPECIFIED) {
    return failure(QUOR_TLS_FAILED, code, "TLS", "the certificate is not trusted",
                   "name the authority's PEM file as ca_file in section reputation of vesk.ini");
  }
  return failure(QUOR_TLS_FAILED, code, "TLS", "the certificate is another host's",
                 "use the name that the certificate has");
}

struct Known {
  CURLcode code;
  quorResult result;
  const char* step;
  const char* reason;
  const char* hint;
};

constexpr Known KNOWN[] = {
    {CURLE_COULDNT_RESOLVE_HOST, QUOR_NOT_RESOLVED, "resolve", "unknown name of the server",
     "check the name, and the appliance's name servers"},
    {CURLE_COULDNT_RESOLVE_PROXY, QUOR_NOT_RESOLVED, "resolve", "unknown name of the proxy",
     "check the name, and the appliance's name servers"},
    {CURLE_COULDNT_CONNECT, QUOR_CONNECT_REFUSED, "connect", "refused or unreachable",
     "check address and port, and whether a firewall is between"},
    {CURLE_OPERATION_TIMEDOUT, QUOR_TIMEOUT, "wait", "no answer within the limit",
     "check whether the server is up, and whether a proxy is needed"},
    {CURLE_PROXY, QUOR_PROXY_REFUSED, "proxy", "refused", "check the proxy's settings"},
    {CURLE_SSL_CACERT_BADFILE, QUOR_BAD_CONFIG, "TLS", "the CA file cannot be read",
     "check ca_file in section reputation of vesk.ini"},
    {CURLE_URL_MALFORMAT, QUOR_BAD_CONFIG, "configuration", "the server's address is none",
     "write host, host:port or https://host:port"},
    {CURLE_OUT_OF_MEMORY, QUOR_NO_RESOURCES, "start", "out of memory", "try again"},
    {CURLE_FAILED_INIT, QUOR_NO_RESOURCES, "start", "out of resources", "try again"},
    {CURLE_SSL_CIPHER, QUOR_TLS_FAILED, "TLS", "no cipher in common", "the server is too old"},
    {CURLE_SSL_INVALIDCERTSTATUS, QUOR_TLS_FAILED, "TLS", "no proof that it is not revoked",
     "the server must staple one"},
};

Outcome judgeFailure(CURL* curl, CURLcode code) {
  long tunnel = 0;
  curl_easy_getinfo(curl, CURLINFO_HTTP_CONNECTCODE, &tunnel);
  if (tunnel >= 300) return judgeTunnel(tunnel);
  for (const Known& known : KNOWN) {
    if (known.code == code) {
      return failure(known.result, code, known.step, known.reason, known.hint);
    }
  }
  if (code == CURLE_SSL_CONNECT_ERROR || code == CURLE_PEER_FAILED_VERIFICATION) {
    return judgeTls(curl, code);
  }
  return failure(QUOR_BAD_ANSWER, code, "answer", "no whole answer of HTTP",
                 "is that address a reputation server?");
}

}  // namespace

Outcome askStatus(const Target& target, const quorSSLOptions& tls, int milliseconds) {
  startCurlWithTls();
  std::string answer;
  answer.reserve(LONGEST_ANSWER);  // so that nothing throws through the component
  char words[CURL_ERROR_SIZE] = {};
  const Handle curl(curl_easy_init());
  Options options(curl.get());
  setTransfer(options, target, milliseconds, answer);
  setTls(options, tls);
  setProxy(options, target);
  options.set(CURLOPT_ERRORBUFFER, words);
  if (!curl || !options.fine) return failure(QUOR_NO_RESOURCES, 0, "start", "no handle", "");
  const CURLcode code = curl_easy_perform(curl.get());
  long status = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  Outcome outcome =
      code == CURLE_OK ? judgeStatus(target, status, answer) : judgeFailure(curl.get(), code);
  outcome.diagnostic = words;
  return outcome;
}

}  // namespace VESK::reputation
