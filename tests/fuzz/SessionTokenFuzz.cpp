// Sessions of the central console: one that is accepted was signed, is in time and for this
// appliance.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Fuzz.h"
#include "SigningKey.h"
#include "product/settings.h"
#include "product/signon.h"
#include "signon/Base64Url.h"
#include "signon/Session.h"

namespace {

using Json = nlohmann::json;

constexpr const char* guid = "console-1";
constexpr const char* audience = "gate.example.com";
constexpr int lifetime = 300;
constexpr const char* skews[] = {"", "60", "3600", "3601", "soon"};

struct World {
  World() {
    ::setenv("VESK_HOME", fuzz::scratchFolder().c_str(), 1);
    const fuzz::MemoryFile file(std::string("[signon]\naudience = ") + audience + "\n");
    settings = VESK::GlobalSettingOnMem::Instance(file.path().c_str(), true, nullptr, nullptr,
                                                  nullptr, nullptr, true);
  }
  VESK::GlobalSettingOnMem* settings = nullptr;
  fuzz::SigningKey rsa{fuzz::SigningKey::RSA};
  fuzz::SigningKey p256{fuzz::SigningKey::P256};
};

World& world() {
  static World made;
  return made;
}

// An input holds "@" for the time, which it cannot know.
std::string withTime(std::string text) {
  const std::string now = std::to_string(std::time(nullptr));
  for (std::size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at)) {
    text.replace(at, 1, now);
  }
  return text;
}

std::string sign(const std::string& text, int how) {
  using fuzz::SigningKey;
  if (how == 1) return world().p256.sign(text);
  return world().rsa.sign(text, how == 2 ? SigningKey::PKCS1 : SigningKey::PSS);
}

// What only an accepted session has.
void expectAcceptable(const std::string& claimsText, int skew) {
  const Json claims = Json::parse(claimsText, nullptr, false);
  FUZZ_EXPECT(claims.is_object() && claims["iss"] == guid && claims["sub"].is_string());
  const Json& forWhom = claims["aud"];
  FUZZ_EXPECT(forWhom == audience ||
              (forWhom.is_array() && std::count(forWhom.begin(), forWhom.end(), audience) > 0));
  const std::int64_t now = std::time(nullptr);
  FUZZ_EXPECT(claims["iat"].get<std::int64_t>() > now - lifetime - 2);
  FUZZ_EXPECT(claims["iat"].get<std::int64_t>() <= now + skew);
  if (claims.contains("exp")) FUZZ_EXPECT(claims["exp"].get<std::int64_t>() >= now - 2);
  if (claims.contains("nbf")) FUZZ_EXPECT(claims["nbf"].get<std::int64_t>() <= now + skew);
  const auto id = claims["jti"].get<std::string>();
  FUZZ_EXPECT(id.size() >= 16 && id.size() <= 128);
}

// A session is answered once.
void expectOneAnswer(const std::string& token, const std::string& keyFile) {
  fuzz::GuardedBuffer response(SSO_PKI_RESPONSE_SIZE);
  FUZZ_EXPECT(
      En_SSO_PKI_CreateSessionResponse(guid, token.c_str(), keyFile.c_str(), response.data()) == 0);
  const std::string_view text = response.text();
  FUZZ_EXPECT(text.starts_with("VESK1.") && std::count(text.begin(), text.end(), '.') == 3);
  fuzz::GuardedBuffer second(SSO_PKI_RESPONSE_SIZE);
  FUZZ_EXPECT(En_SSO_PKI_CreateSessionResponse(guid, token.c_str(), keyFile.c_str(),
                                               second.data()) == SSO_PKI_WRONG_SESSION);
  FUZZ_EXPECT(second.text().empty());
  std::filesystem::remove_all(fuzz::scratchFolder() + "/data");
}

int check(const std::string& token, const std::string& keyFile) {
  return En_SSO_PKI_IsSessionExpired(guid, token.c_str(), keyFile.c_str(), lifetime);
}

// These codes say that the signature was good.
void expectRefused(int code) {
  FUZZ_EXPECT(code != SSO_PKI_SUCCESS && code != SSO_PKI_EXPIRED &&
              code != SSO_PKI_WRONG_DESTINATION);
}

void checkUnsigned(fuzz::Input& input) {
  const std::string token = input.text();
  expectRefused(check(token, world().p256.publicFile()));
  expectRefused(check(token, world().rsa.publicFile()));
  const auto bytes = VESK::signon::fromBase64Url(token);
  if (bytes) FUZZ_EXPECT(VESK::signon::toBase64Url(*bytes) == token);
}

void checkSigned(fuzz::Input& input, int how, int skew) {
  const std::size_t place = input.byte() * 256U + input.byte();
  const std::uint8_t flip = input.byte();
  const std::string header = input.text();
  const std::string claims = withTime(input.text());
  const std::string text =
      VESK::signon::toBase64Url(header) + '.' + VESK::signon::toBase64Url(claims);
  std::string token = text + '.' + VESK::signon::toBase64Url(sign(text, how));
  const std::string& keyFile = (how == 1 ? world().p256 : world().rsa).publicFile();
  const int code = check(token, keyFile);
  if (code == 0) {
    expectAcceptable(claims, skew);
    expectOneAnswer(token, keyFile);
  }
  // A key of somebody else's, and a session that was changed on its way.
  const fuzz::MemoryFile other(input.rest());
  expectRefused(check(token, other.path()));
  token[place % token.size()] = static_cast<char>(token[place % token.size()] ^ flip);
  if (flip != 0) expectRefused(check(token, keyFile));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const int how = input.byte() % 4;
  const char* skew = skews[input.byte() % std::size(skews)];
  world().settings->_replace_create_item_on_mem("signon", "clock_skew", skew);
  const int seconds = std::string(skew) == "3600" ? 3600 : 60;
  how == 0 ? checkUnsigned(input) : checkSigned(input, how, seconds);
  return 0;
}
