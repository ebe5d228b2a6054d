// Sessions good and hostile, and that each is answered once.
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <ctime>
#include <map>
#include <thread>

#include "Console.h"
#include "product/signon.h"
#include "support/Home.h"
#include "support/Server.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* GUID = "6b1f3a52-0c7e-4a8e-9a53-1d2f50c1a2b3";

std::string now(int later = 0) { return std::to_string(std::time(nullptr) + later); }

std::string quoted(const std::string& text) { return '"' + text + '"'; }

// Good claims with some of them replaced; an empty value leaves the claim out.
std::string claims(std::map<std::string, std::string> changed = {}) {
  static int count = 0;
  std::map<std::string, std::string> all = {
      {"iss", quoted(GUID)},
      {"aud", quoted("gw1")},
      {"iat", now()},
      {"jti", quoted("session-number-" + std::to_string(++count))},
      {"sub", quoted("ann")}};
  for (auto& [name, value] : changed) all[name] = value;
  std::string text;
  for (const auto& [name, value] : all) {
    if (!value.empty()) text += (text.empty() ? "{" : ",") + quoted(name) + ":" + value;
  }
  return text + "}";
}

class SignonTest : public testing::Test {
 protected:
  SignonTest() {
    Home::set("signon", "audience", "gw1");
    Home::set("signon", "clock_skew", "");
    std::filesystem::remove_all(folder);
    home.newLog();
  }

  static int check(const std::string& session, const std::string& keyFile = rsaFile,
                   const char* guid = GUID, int lifetime = 300) {
    return En_SSO_PKI_IsSessionExpired(guid, session.c_str(), keyFile.c_str(), lifetime);
  }
  static int answer(const std::string& session, std::string& response,
                    const std::string& keyFile = rsaFile) {
    char buffer[SSO_PKI_RESPONSE_SIZE];
    std::memset(buffer, 'x', sizeof buffer);
    const int code =
        En_SSO_PKI_CreateSessionResponse(GUID, session.c_str(), keyFile.c_str(), buffer);
    response = std::string(buffer, ::strnlen(buffer, sizeof buffer));
    return code;
  }

  inline static Home& home = Home::instance();
  inline static const Key rsa{std::size_t{2048}}, ec{"P-256"};
  inline static const std::string rsaFile = home.dir.write("config/rsa.pem", rsa.publicPem());
  inline static const std::string ecFile = home.dir.write("config/ec.pem", ec.publicPem());
  const std::string folder = home.dir.path("data/signon");
};

TEST_F(SignonTest, GoodSessionsOfAllAlgorithms) {
  EXPECT_EQ(0, check(rsa.session("RS256", claims())));
  EXPECT_EQ(0, check(rsa.session("PS256", claims())));
  EXPECT_EQ(0, check(ec.session("ES256", claims()), ecFile));
  EXPECT_EQ(0, check(rsa.session("RS256", R"({"typ":"jwt","kid":"7","alg":"RS256"})",
                                 claims({{"aud", R"(["gw0","gw1"])"}, {"x", "[[[1]]]"}}))));
  EXPECT_EQ(0, check(rsa.session("RS256", claims({{"iat", now(50)}, {"exp", now(20)}}))));
  Home::set("signon", "audience", "");
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  EXPECT_EQ(0, check(rsa.session("RS256", claims({{"aud", quoted(host)}}))));
  EXPECT_EQ("", home.newLog());
}

TEST_F(SignonTest, HostileHeadersAndKeys) {
  const Key other(std::size_t{2048});
  const auto headed = [](const char* header, const char* algorithm = "RS256") {
    return rsa.session(algorithm, header, claims());
  };
  const struct {
    std::string session;
    std::string keyFile;
    int code;
  } table[] = {
      {other.session("RS256", claims()), rsaFile, -3},
      {rsa.session("PS256", R"({"alg":"RS256"})", claims()), rsaFile, -3},
      {rsa.session("RS256", R"({"alg":"PS256"})", claims()), rsaFile, -3},
      {headed(R"({"alg":"none"})"), rsaFile, -4},
      {base64Url(R"({"alg":"none"})") + "." + base64Url(claims()) + ".", rsaFile, -4},
      {headed(R"({"alg":"HS256"})", "HS256"), rsaFile, -4},
      {headed(R"({"alg":"rs256"})"), rsaFile, -4},
      {headed(R"({"alg":["RS256"]})"), rsaFile, -4},
      {headed(R"({"typ":"JWT"})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","alg":"RS256"})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","typ":"JWE"})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","crit":["exp"]})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","jwk":{"kty":"RSA"}})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","jku":"https://example.com/"})"), rsaFile, -4},
      {headed(R"({"alg":"RS256","x5c":["MIIB"]})"), rsaFile, -4},
      {rsa.session("RS256", claims()), ecFile, -4},
      {ec.session("ES256", claims()), rsaFile, -4},
      {rsa.session("RS256", claims()), home.dir.write("none.pem", "no key"), -7},
      {rsa.session("RS256", claims()), home.dir.path("missing.pem"), -7},
      {rsa.session("RS256", claims()), home.dir.path(""), -7},
      {rsa.session("RS256", claims()),
       home.dir.write("weak.pem", Key(std::size_t{1024}).publicPem()), -7},
      {ec.session("ES256", claims()), home.dir.write("p384.pem", Key("P-384").publicPem()), -7},
  };
  for (const auto& row : table) {
    EXPECT_EQ(row.code, check(row.session, row.keyFile)) << row.session;
    const std::string log = home.newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << log;
  }
  EXPECT_EQ(0, chmod(rsaFile.c_str(), 0666));
  EXPECT_EQ(-7, check(rsa.session("RS256", claims())));
  EXPECT_EQ(0, chmod(rsaFile.c_str(), 0644));
}

TEST_F(SignonTest, HostileClaims) {
  const struct {
    std::map<std::string, std::string> changed;
    int code;
  } table[] = {
      {{{"iss", ""}}, -5},
      {{{"iss", "7"}}, -5},
      {{{"iss", quoted("another")}}, -6},
      {{{"iss", quoted(std::string(GUID) + "\\u0000")}}, -6},
      {{{"aud", quoted("gw2")}}, -2},
      {{{"aud", "[]"}}, -2},
      {{{"aud", ""}}, -5},
      {{{"aud", R"(["gw1",7])"}}, -5},
      {{{"aud", R"({"gw1":1})"}}, -5},
      {{{"iat", now(120)}}, -5},
      {{{"nbf", now(120)}}, -5},
      {{{"iat", now() + ".0"}}, -5},
      {{{"iat", quoted(now())}}, -5},
      {{{"iat", "-1"}}, -5},
      {{{"iat", "9223372036854775807"}}, -5},
      {{{"iat", "18446744073709551615"}}, -5},
      {{{"iat", "1e400"}}, -4},
      {{{"exp", "null"}}, -5},
      {{{"jti", quoted("short")}}, -5},
      {{{"jti", quoted(std::string(129, 'j'))}}, -5},
      {{{"jti", quoted("with/a.path/in/it")}}, -5},
      {{{"sub", ""}}, -5},
      {{{"iss", quoted(GUID) + ",\"iss\":" + quoted("another")}}, -5},
      {{{"sub", quoted("a") + ",\"sub\":" + quoted("b")}}, -5},
      {{{"x", "[[[[[1]]]]]"}}, -4},
      {{{"x", std::string(2000, '[')}}, -4},
      {{{"sub", quoted("\xff")}}, -4},
      {{{"iat", now(-280)}}, 0},
      {{{"iat", now(-301)}}, -1},
      {{{"exp", now(-1)}}, -1},
      {{{"iat", now(-301)}, {"aud", quoted("gw2")}}, -2},
  };
  for (const auto& row : table) {
    const std::string text = claims(row.changed);
    EXPECT_EQ(row.code, check(rsa.session("RS256", text))) << text;
  }
  Home::set("signon", "clock_skew", "600");
  EXPECT_EQ(0, check(rsa.session("RS256", claims({{"iat", now(500)}}))));
}

TEST_F(SignonTest, TextsThatAreNoSession) {
  const std::string good = rsa.session("RS256", claims());
  const std::string goodEc = ec.session("ES256", claims());
  const std::size_t dot = good.find('.'), last = good.rfind('.');
  // Two of six bits say nothing behind 256 bytes.
  std::string junkBits = good;
  ++junkBits.back();
  const std::string table[] = {
      "x",
      "..",
      good.substr(0, last),
      good + ".x",
      good + "=",
      good + "\n",
      " " + good,
      good.substr(0, dot) + "+" + good.substr(dot),
      good.substr(0, dot + 1) + "A" + good.substr(dot + 1),
      good.substr(0, last + 1),
      junkBits,
      good + std::string(8192, 'A'),
      std::string(1 << 20, '.'),
      base64Url("[]") + good.substr(dot),
      base64Url("\xef\xbb\xbf{\"alg\":\"RS256\"}") + good.substr(dot),
      base64Url("{\"alg\":\"RS256\"} {}") + good.substr(dot),
      base64Url("{\"alg\":\"RS256\"") + good.substr(dot),
      "\xed\xa0\xbd\xed\xb8\x80",
  };
  for (const std::string& text : table) EXPECT_EQ(-4, check(text)) << text.substr(0, 300);
  EXPECT_EQ(-3, check(goodEc.substr(0, goodEc.size() - 2), ecFile));
  EXPECT_EQ(-3, check(goodEc + "AAAA", ecFile));
  EXPECT_EQ(-3, check(goodEc.substr(0, goodEc.rfind('.') + 1) + std::string(86, 'A'), ecFile));
  EXPECT_EQ(0, check(good));
}

TEST_F(SignonTest, ArgumentsAndOrder) {
  const std::string good = rsa.session("RS256", claims());
  EXPECT_EQ(-7, En_SSO_PKI_IsSessionExpired(nullptr, good.c_str(), rsaFile.c_str(), 300));
  EXPECT_THAT(home.newLog(), HasSubstr("check the session first"));
  EXPECT_EQ(-7, En_SSO_PKI_IsSessionExpired(GUID, nullptr, rsaFile.c_str(), 300));
  EXPECT_EQ(-7, En_SSO_PKI_IsSessionExpired(GUID, good.c_str(), nullptr, 300));
  EXPECT_EQ(-7, check("", rsaFile));
  EXPECT_EQ(-7, check(good, rsaFile, ""));
  EXPECT_EQ(-7, check(good, rsaFile, GUID, 0));
  EXPECT_EQ(-7, En_SSO_PKI_CreateSessionResponse(GUID, good.c_str(), rsaFile.c_str(), nullptr));
  home.newLog();
  // Told before key and signature are looked at, and not loudly.
  EXPECT_EQ(-6, check(good, home.dir.path("missing.pem"), "another"));
  EXPECT_EQ(-6, check(good.substr(0, good.size() - 2), rsaFile, "another"));
  EXPECT_THAT(home.newLog(), testing::AllOf(HasSubstr("L3"), testing::Not(HasSubstr("L1"))));
}

TEST_F(SignonTest, AnswersOnceAmongThreadsAndProcesses) {
  const std::string session = rsa.session("RS256", claims());
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    std::atomic<int> given = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&] {
        std::string response;
        const int code = answer(session, response);
        given += code == 0 ? 1 : code == -5 && response.empty() ? 0 : 100;
      });
    }
    for (std::thread& thread : threads) thread.join();
    _exit(given);
  }
  int given = 0;
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    given += WEXITSTATUS(status);
  }
  EXPECT_EQ(1, given);
  EXPECT_EQ(-5, check(session));
  std::string response;
  EXPECT_EQ(-5, answer(session, response));
  EXPECT_EQ("", response);
  struct stat status {};
  stat(folder.c_str(), &status);
  EXPECT_EQ(0700u, status.st_mode & 0777);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    stat(entry.path().c_str(), &status);
    EXPECT_EQ(0600u, status.st_mode & 0777) << entry.path();
  }
}

TEST_F(SignonTest, WhatCannotBeKeptIsNotAnswered) {
  std::string response;
  const std::string old = rsa.session("RS256", claims({{"iat", now(-301)}}));
  EXPECT_EQ(-1, answer(old, response));
  EXPECT_EQ("", response);
  const std::string session = rsa.session("RS256", claims());
  const std::string place = home.dir.write("data/signon", "a file");
  EXPECT_EQ(-5, answer(session, response));
  EXPECT_EQ("", response);
  std::filesystem::remove(place);
  // Those long expired make room; those that count do not.
  const auto fill = [&](int age) {
    std::filesystem::create_directories(folder);
    for (int i = 0; i < 1000; ++i) {
      close(open((folder + "/" + now(age) + "." + std::to_string(i)).c_str(), O_CREAT, 0600));
    }
  };
  fill(-3000);
  EXPECT_EQ(-5, answer(session, response));
  EXPECT_THAT(home.newLog(), HasSubstr("full"));
  std::filesystem::remove_all(folder);
  fill(-4000);
  EXPECT_EQ(0, answer(session, response));
  EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(folder),
                             std::filesystem::directory_iterator()));
  const int lock = open((folder + "/.lock").c_str(), O_RDWR);
  flock(lock, LOCK_EX);
  EXPECT_EQ(-5, answer(rsa.session("RS256", claims()), response));
  EXPECT_THAT(home.newLog(), HasSubstr("cannot be locked"));
  close(lock);
}

TEST_F(SignonTest, TheToolsSessionsAreAnsweredAndItKnowsTheAnswers) {
  for (const char* algorithm : {"RS256", "PS256", "ES256"}) {
    const std::string keys = home.dir.path(std::string("keys-") + algorithm);
    const std::string file = home.dir.path(std::string("session-") + algorithm);
    const Server::Words make = {
        "make-signon-session", "--guid",     GUID, "--alg", algorithm, "--key",
        keys + "/private.pem", "--audience", "gw1"};
    const auto tool = [&](Server::Words words) { return Server::run(words, home.dir.path("out")); };
    ASSERT_EQ(0, tool({"make-signon-session", "--key-pair", keys, "--alg", algorithm}));
    ASSERT_EQ(0, Server::run(make, file));
    std::string session = home.dir.read(std::string("session-") + algorithm);
    session.pop_back();
    std::string response;
    ASSERT_EQ(0, answer(session, response, keys + "/SSO_PKI_PublicKey.pem")) << session;
    EXPECT_THAT(response, MatchesRegex("VESK1\\.[A-Za-z0-9_-]+\\.[0-9]+\\.[A-Za-z0-9_-]+"));
    const auto knows = [&](const std::string& text) {
      return tool({"make-signon-session", "--check-answer", text, "--session", file}) == 0;
    };
    EXPECT_TRUE(knows(response)) << home.dir.read("out");
    response[response.size() - 5] ^= 1;
    EXPECT_FALSE(knows(response));
    EXPECT_FALSE(knows("VESK1"));
  }
}

}  // namespace
