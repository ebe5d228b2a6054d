#include "Config.h"

#include <curl/curl.h>

#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace VESK::reputation {

namespace {

struct FreeUrl {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using Url = std::unique_ptr<CURLU, FreeUrl>;

// The text in an array of `Size` characters; false when it does not end there or is not printable
// ASCII. A control character could end the line of a request.
template <std::size_t Size>
bool narrow(const wchar_t (&wide)[Size], std::string& text) {
  for (const wchar_t character : wide) {
    if (character == 0) return true;
    if (character < L' ' || character > L'~') return false;
    text += static_cast<char>(character);
  }
  return false;
}

// An address that finds no memory is not one that is wrong.
bool fine(CURLUcode code) {
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK;
}

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (!fine(curl_url_get(url, which, &text, flags))) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

// Host, host:port or a URL that has nothing else.
Url parsed(const std::string& address, const char* fallbackScheme) {
  const std::string text =
      address.find("://") == std::string::npos ? fallbackScheme + address : address;
  Url url(curl_url());
  if (!url) throw std::bad_alloc();
  if (address.find(' ') != std::string::npos ||
      !fine(curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_DISALLOW_USER))) {
    return nullptr;
  }
  const std::string scheme = part(url.get(), CURLUPART_SCHEME);
  const bool bare = part(url.get(), CURLUPART_PATH) == "/" &&
                    part(url.get(), CURLUPART_QUERY).empty() &&
                    part(url.get(), CURLUPART_FRAGMENT).empty();
  return bare && (scheme == "https" || scheme == "http") &&
                 part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT) != "0"
             ? std::move(url)
             : nullptr;
}

const char* readServer(const quorServerConfig& config, Target& target) {
  std::string address;
  if (!narrow(config.serverAddr, address)) return "the server's address is no printable ASCII";
  if (address.empty()) return "there is no server address";
  const Url url = parsed(address, "https://");
  if (!url || !fine(curl_url_set(url.get(), CURLUPART_PATH, "/status", 0))) {
    return "the server's address is none";
  }
  target.url = part(url.get(), CURLUPART_URL);
  target.server =
      part(url.get(), CURLUPART_HOST) + ":" + part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  return target.url.empty() ? "the server's address is none" : nullptr;
}

const char* readProxy(const quorServerConfig& config, Target& target) {
  std::string host;
  if (!narrow(config.proxyServer, host)) return "the proxy's name is no printable ASCII";
  if (!narrow(config.proxyUser, target.proxyUser) ||
      !narrow(config.proxyPassword, target.proxyPassword)) {
    return "user or password of the proxy are no printable ASCII";
  }
  // Both go as "user:password".
  if (target.proxyUser.find(':') != std::string::npos) return "a colon in the proxy's user";
  if (config.proxyPort < 1 || config.proxyPort > 65535) return "the proxy's port is none";
  const std::string address = host + ":" + std::to_string(config.proxyPort);
  if (host.empty() || host.find('/') != std::string::npos || !parsed(address, "http://")) {
    return "the proxy's name is none";
  }
  target.proxy = "http://" + address;
  return nullptr;
}

bool isSwitch(std::int32_t value) { return value == 0 || value == 1; }

}  // namespace

const char* read(const quorServerConfig& config, Target& target) {
  const char* fault = readServer(config, target);
  if (fault == nullptr && config.useProxy) fault = readProxy(config, target);
  return fault;
}

const char* check(const quorSSLOptions& options) {
  if (!isSwitch(options.verifyPeer) || !isSwitch(options.verifyHost) ||
      !isSwitch(options.requireStapling)) {
    return "a TLS option is neither 0 nor 1";
  }
  if (std::memchr(options.caFile, '\0', sizeof options.caFile) == nullptr) {
    return "the name of the CA file does not end";
  }
  return nullptr;
}

}  // namespace VESK::reputation
