#include "Claims.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <limits>

#include "product/log.h"
#include "product/settings.h"
#include "product/signon.h"

namespace VESK::signon {

namespace {

constexpr std::int64_t DEFAULT_SKEW = 60;
constexpr std::int64_t LARGEST_SKEW = 3600;
constexpr std::size_t SHORTEST_ID = 16;
constexpr std::size_t LONGEST_ID = 128;
constexpr std::size_t LONGEST_SUBJECT = 256;

std::string setting(const char* key) {
  std::string value;
  GlobalSettingOnMem* store =
      GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  if (store != nullptr) store->getValue(key, value, "signon", 0);
  return value;
}

// It becomes part of the answer.
bool isId(const std::string& text) {
  const auto isPlain = [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return text.size() >= SHORTEST_ID && text.size() <= LONGEST_ID &&
         std::all_of(text.begin(), text.end(), isPlain);
}

Verdict checkForm(const Members& claims) {
  const Member* id = claims.find("jti", Member::TEXT);
  const Member* subject = claims.find("sub", Member::TEXT);
  if (id == nullptr || !isId(id->text)) return {SSO_PKI_WRONG_SESSION, "no usable jti"};
  if (subject == nullptr || subject->text.empty() || subject->text.size() > LONGEST_SUBJECT) {
    return {SSO_PKI_WRONG_SESSION, "no usable sub"};
  }
  const Member* issued = claims.find("iat", Member::INTEGER);
  if (issued == nullptr || issued->integer <= 0) {
    return {SSO_PKI_WRONG_SESSION, "iat is no whole number above 0"};
  }
  if (!claims.find("aud", Member::TEXT) && !claims.find("aud", Member::TEXTS)) {
    return {SSO_PKI_WRONG_SESSION, "aud is neither a text nor a list of texts"};
  }
  for (const char* name : {"exp", "nbf"}) {
    if (claims.byName.count(name) != 0 && claims.find(name, Member::INTEGER) == nullptr) {
      return {SSO_PKI_WRONG_SESSION, "exp or nbf is no whole number"};
    }
  }
  return {};
}

bool isForUs(const Members& claims) {
  const std::string own = ownAudience();
  if (const Member* one = claims.find("aud", Member::TEXT)) return one->text == own;
  const std::vector<std::string>& all = claims.find("aud", Member::TEXTS)->texts;
  return std::find(all.begin(), all.end(), own) != all.end();
}

}  // namespace

std::string ownAudience() {
  std::string name = setting("audience");
  if (!name.empty()) return name;
  char host[HOST_NAME_MAX + 1] = {};
  ::gethostname(host, HOST_NAME_MAX);
  return host;
}

std::int64_t clockSkew() {
  const std::string text = setting("clock_skew");
  std::int64_t seconds = DEFAULT_SKEW;
  if (text.empty()) return seconds;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, seconds);
  if (parsed.ec == std::errc() && parsed.ptr == end && seconds >= 0 && seconds <= LARGEST_SKEW) {
    return seconds;
  }
  Log::LogByLevel(LOG_NORMAL, "signon: clock_skew is no number from 0 to 3600: %s; 60 is used",
                  text.c_str());
  return DEFAULT_SKEW;
}

Verdict checkClaims(const Session& session, std::int64_t now) {
  const Verdict form = checkForm(session.claims);
  if (form.code != 0) return form;
  if (!isForUs(session.claims)) return {SSO_PKI_WRONG_DESTINATION, "for another appliance"};
  const std::int64_t latest = now + clockSkew();
  const Member* notBefore = session.claims.find("nbf", Member::INTEGER);
  if (session.claims.find("iat", Member::INTEGER)->integer > latest ||
      (notBefore != nullptr && notBefore->integer > latest)) {
    return {SSO_PKI_WRONG_SESSION, "issued in the future"};
  }
  return {};
}

const std::string& idOf(const Session& session) {
  return session.claims.find("jti", Member::TEXT)->text;
}

std::int64_t endOf(const Session& session, int lifetime) {
  const std::int64_t end = session.claims.find("iat", Member::INTEGER)->integer + lifetime;
  const Member* expiry = session.claims.find("exp", Member::INTEGER);
  return expiry != nullptr ? std::min(end, expiry->integer) : end;
}

}  // namespace VESK::signon
