#include "Session.h"

#include <strings.h>

#include <cstring>

#include "Base64Url.h"
#include "product/signon.h"

namespace VESK::signon {

namespace {

constexpr std::size_t LONGEST = 8 * 1024;

// Keys that come with the session, or rules for reading it that are not ours.
constexpr const char* FORBIDDEN[] = {"crit", "b64", "zip", "enc", "jwk", "jku", "x5u", "x5c"};
constexpr const char* ALGORITHMS[] = {"RS256", "PS256", "ES256"};

Verdict readHeader(const std::string& json, std::string& algorithm) {
  Members header;
  if (!readMembers(json, header)) return {SSO_PKI_DECRYPT_FAIL, "the header is no JSON object"};
  if (header.isTwice) return {SSO_PKI_DECRYPT_FAIL, "the header says something twice"};
  for (const char* name : FORBIDDEN) {
    if (header.byName.count(name) != 0) {
      return {SSO_PKI_DECRYPT_FAIL, "the header names a key or an extension"};
    }
  }
  const Member* type = header.find("typ", Member::TEXT);
  if (header.byName.count("typ") != 0 &&
      (type == nullptr || ::strcasecmp(type->text.c_str(), "JWT") != 0)) {
    return {SSO_PKI_DECRYPT_FAIL, "the header's type is not JWT"};
  }
  const Member* named = header.find("alg", Member::TEXT);
  for (const char* known : ALGORITHMS) {
    if (named != nullptr && named->text == known) algorithm = known;
  }
  if (algorithm.empty()) return {SSO_PKI_DECRYPT_FAIL, "no allowed algorithm"};
  return {};
}

Verdict readClaims(const std::string& json, Session& session) {
  if (!readMembers(json, session.claims)) {
    return {SSO_PKI_DECRYPT_FAIL, "the claims are no JSON object"};
  }
  if (session.claims.isTwice) return {SSO_PKI_WRONG_SESSION, "a claim stands there twice"};
  const Member* issuer = session.claims.find("iss", Member::TEXT);
  if (issuer == nullptr) return {SSO_PKI_WRONG_SESSION, "no issuer"};
  session.issuer = issuer->text;
  return {};
}

Verdict read(Session& session) {
  const std::string_view text = session.text;
  if (text.size() > LONGEST) return {SSO_PKI_DECRYPT_FAIL, "longer than 8 KiB"};
  const std::size_t first = text.find('.');
  const std::size_t second = first == std::string_view::npos ? first : text.find('.', first + 1);
  if (second == std::string_view::npos) return {SSO_PKI_DECRYPT_FAIL, "not three parts"};
  const auto header = fromBase64Url(text.substr(0, first));
  const auto claims = fromBase64Url(text.substr(first + 1, second - first - 1));
  auto signature = fromBase64Url(text.substr(second + 1));
  if (!header || !claims || !signature || signature->empty()) {
    return {SSO_PKI_DECRYPT_FAIL, "a part is empty or not in base64url"};
  }
  session.signedLength = second;
  session.signature = std::move(*signature);
  const Verdict verdict = readHeader(*header, session.algorithm);
  return verdict.code != 0 ? verdict : readClaims(*claims, session);
}

}  // namespace

const Session& takeApart(const char* text) {
  thread_local Session last;
  // Of a hostile text only as much as shows that it is too long.
  const std::string_view given(text, ::strnlen(text, LONGEST + 1));
  if (given.empty() || last.text != given) {
    last = {};
    last.text = given;
    last.verdict = read(last);
  }
  return last;
}

}  // namespace VESK::signon
