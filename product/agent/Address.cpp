#include "Address.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "Text.h"

namespace VESK::agent {

namespace {

struct FreeUrl {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using UrlHandle = std::unique_ptr<CURLU, FreeUrl>;

std::string part(const UrlHandle& url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

CURLUcode parse(const UrlHandle& url, const std::string& text) {
  if (!url) return CURLUE_OUT_OF_MEMORY;
  // curl guesses the scheme of a text without one from the host's name.
  const bool complete = text.find("://") != std::string::npos;
  const std::string whole = complete ? text : "http://" + text;
  const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, whole.c_str(), CURLU_DISALLOW_USER);
  if (code != CURLUE_OK) return code;
  if (part(url, CURLUPART_SCHEME) != "http") return CURLUE_UNSUPPORTED_SCHEME;
  std::string host = part(url, CURLUPART_HOST);
  std::transform(host.begin(), host.end(), host.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (part(url, CURLUPART_PATH) == "/") curl_url_set(url.get(), CURLUPART_PATH, "/agent", 0);
  return curl_url_set(url.get(), CURLUPART_HOST, host.c_str(), 0);
}

}  // namespace

Address addressOf(const char* given) {
  const std::string text = given == nullptr ? "" : given;
  const UrlHandle url(curl_url());
  const CURLUcode code = parse(url, text);
  if (code == CURLUE_OK) {
    return {
        part(url, CURLUPART_HOST) + ":" + part(url, CURLUPART_PORT), part(url, CURLUPART_URL), {}};
  }
  // What is in front of an @ may be a password.
  const std::string shown = oneLine(std::string_view(text).substr(text.rfind('@') + 1));
  return {shown.empty() ? "(no address)" : shown,
          "",
          {"not the address of an agent", hint::ADDRESS, curl_url_strerror(code)}};
}

}  // namespace VESK::agent
