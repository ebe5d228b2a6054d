#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstring>
#include <ctime>

#include "Answered.h"
#include "Base64Url.h"
#include "Claims.h"
#include "PublicKey.h"
#include "Session.h"
#include "product/log.h"
#include "product/signon.h"
#include "shared/Boundary.h"

using namespace VESK::signon;

namespace {

constexpr int ANSWER_LIFETIME = 300;
constexpr const char* ANSWER_VERSION = "VESK1";

bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

constexpr Verdict MISSING{SSO_PKI_WRONG_ARGS, "an argument is missing"};

const char* hintOf(const Verdict& verdict) {
  if (verdict.reason == MISSING.reason) return "check the session first; none was accepted yet";
  switch (verdict.code) {
    case SSO_PKI_EXPIRED:
      return "sign on again; if that is no help, compare the clocks of console and appliance";
    case SSO_PKI_WRONG_DESTINATION:
      return "compare audience in section signon with the name that the console has for us";
    case SSO_PKI_INVALID_SOURCE:
    case SSO_PKI_WRONG_ARGS:
      return "fetch the public key of the console's once more";
    case SSO_PKI_WRONG_GUID:
      return "an ordinary answer if several consoles are registered";
    case SSO_PKI_DECRYPT_FAIL:
      return "what was handed over is no session, or of another kind of key";
    default:
      return "sign on again; compare the clocks, and look at data/signon";
  }
}

// Another console's GUID is no failure: one session is asked about for each GUID that is known.
int report(const char* step, const Verdict& verdict, const char* guid, const char* keyFile) {
  // Nothing stays in the list of OpenSSL, which the thread's other users read as well.
  const std::string diagnostic = cryptoDiagnostic();
  if (verdict.code == SSO_PKI_SUCCESS) return verdict.code;
  const int level = verdict.code == SSO_PKI_WRONG_GUID ? VESK::LOG_DIAGNOSTIC : VESK::LOG_NORMAL;
  VESK::Log::LogByLevel(level,
                        "signon: %s refused for console %.80s: %s (%d), key %s [%s]; hint: %s",
                        step, guid == nullptr ? "" : guid, verdict.reason, verdict.code, keyFile,
                        diagnostic.c_str(), hintOf(verdict));
  return verdict.code;
}

bool isSame(const std::string& left, const char* right) {
  const std::size_t length = std::strlen(right);
  return left.size() == length && CRYPTO_memcmp(left.data(), right, length) == 0;
}

Verdict checkSignature(const Session& session, const char* keyFile) {
  const char* reason = "";
  const PublicKey key = readPublicKey(keyFile, reason);
  if (!key) return {SSO_PKI_WRONG_ARGS, reason};
  if (!fits(key, session))
    return {SSO_PKI_DECRYPT_FAIL, "the algorithm is for another kind of key"};
  if (!isSignedBy(key, session)) return {SSO_PKI_INVALID_SOURCE, "the signature is wrong"};
  return {};
}

Answered recordOf(const Session& session) {
  return {session.issuer, idOf(session), endOf(session, ANSWER_LIFETIME)};
}

// In this order: what costs least first, nothing said of a session that is not the console's, and
// its age last of all.
Verdict check(const Session& session, const char* guid, const char* keyFile, int lifetime) {
  if (session.verdict.code != 0) return session.verdict;
  if (!isSame(session.issuer, guid)) return {SSO_PKI_WRONG_GUID, "of another console"};
  if (const Verdict verdict = checkSignature(session, keyFile); verdict.code != 0) return verdict;
  const std::int64_t now = std::time(nullptr);
  if (const Verdict verdict = checkClaims(session, now); verdict.code != 0) return verdict;
  if (const Verdict verdict = recordOf(session).look(); verdict.code != 0) return verdict;
  if (now >= endOf(session, lifetime)) return {SSO_PKI_EXPIRED, "expired"};
  return {};
}

// VESK1.JTI.TIME.MAC, at most 190 characters.
std::string answerTo(const Session& session) {
  const std::string time = std::to_string(static_cast<std::int64_t>(std::time(nullptr)));
  const std::string text = std::string(ANSWER_VERSION) + "\n" + session.issuer + "\n" +
                           idOf(session) + "\n" + ownAudience() + "\n" + time;
  char mac[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (HMAC(EVP_sha256(), session.signature.data(), static_cast<int>(session.signature.size()),
           reinterpret_cast<const unsigned char*>(text.data()), text.size(),
           reinterpret_cast<unsigned char*>(mac), &length) == nullptr) {
    return {};
  }
  return std::string(ANSWER_VERSION) + "." + idOf(session) + "." + time + "." +
         toBase64Url({mac, length});
}

Verdict answer(const char* guid, const char* session, const char* keyFile, char* response) {
  if (isEmpty(guid) || isEmpty(session) || isEmpty(keyFile)) {
    return MISSING;
  }
  const Session& parts = takeApart(session);
  if (const Verdict verdict = check(parts, guid, keyFile, ANSWER_LIFETIME); verdict.code != 0) {
    return verdict;
  }
  const std::string text = answerTo(parts);
  if (text.empty() || text.size() >= SSO_PKI_RESPONSE_SIZE) {
    return {SSO_PKI_WRONG_SESSION, "no answer could be made"};
  }
  const Verdict taken = recordOf(parts).take();
  if (taken.code == 0) std::memcpy(response, text.c_str(), text.size() + 1);
  return taken;
}

}  // namespace

int En_SSO_PKI_IsSessionExpired(const char* guid, const char* session, const char* publicKeyFile,
                                int lifetime) try {
  Verdict verdict = MISSING;
  if (!isEmpty(guid) && !isEmpty(session) && !isEmpty(publicKeyFile) && lifetime > 0) {
    verdict = check(takeApart(session), guid, publicKeyFile, lifetime);
  }
  return report("session", verdict, guid, publicKeyFile);
}
VESK_AT_BOUNDARY("signon", SSO_PKI_WRONG_SESSION)

int En_SSO_PKI_CreateSessionResponse(const char* guid, const char* session,
                                     const char* publicKeyFile, char* response) try {
  if (response == nullptr) {
    return report("answer", {SSO_PKI_WRONG_ARGS, "no place for it"}, guid, publicKeyFile);
  }
  response[0] = '\0';
  return report("answer", answer(guid, session, publicKeyFile, response), guid, publicKeyFile);
}
VESK_AT_BOUNDARY("signon", SSO_PKI_WRONG_SESSION)
