#include "product/reputation.h"

#include <gmock/gmock.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <chrono>
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>

#include "support/Home.h"
#include "support/Network.h"
#include "support/Server.h"
#include "support/TcpProxy.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* PASSWORD = "proxy-secret-7";

// As the console does it: each byte becomes a character, with its sign.
template <std::size_t Size>
void widen(const std::string& text, wchar_t (&wide)[Size]) {
  std::wmemset(wide, 0, Size);
  for (std::size_t i = 0; i < text.size() && i < Size; ++i) wide[i] = static_cast<wchar_t>(text[i]);
}

std::string at(int port, const std::string& host = "localhost") {
  return host + ":" + std::to_string(port);
}

// A status server, a proxy, and one that wants a password.
struct Servers {
  Servers() {
    std::vector<std::string> words = {"private-reputation",
                                      "--dir",
                                      dir.path("server"),
                                      "--program",
                                      VESK_BINARY_DIR "/bin/reputation-server",
                                      std::to_string(http),
                                      std::to_string(otherHost) + "=other-host",
                                      std::to_string(otherCa) + "=other-ca",
                                      std::to_string(https) + "=good"};
    up = server.start(words, https, dir.path("server.log")) &&
         proxy.start({"private-proxy", "--dir", dir.path("proxy"), "--port", std::to_string(open)},
                     open, dir.path("proxy.out")) &&
         guarded.start({"private-proxy", "--dir", dir.path("guarded"), "--port",
                        std::to_string(closed), "--user", "console"},
                       closed, dir.path("guarded.out"),
                       dir.write("password", std::string(PASSWORD) + "\n"));
  }

  void answer(const std::string& text) const { dir.write("server/answer", text); }

  TempDir dir;
  const int http = freePort();
  const int https = freePort();
  const int otherHost = freePort();
  const int otherCa = freePort();
  const int open = freePort();
  const int closed = freePort();
  Server server;
  Server proxy;
  Server guarded;
  bool up = false;
};

class ReputationTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { servers = std::make_unique<Servers>(); }
  static void TearDownTestSuite() { servers.reset(); }

  ReputationTest() {
    Home::set("reputation", "ca_file", servers->dir.path("server/tls/ca.pem"));
    EXPECT_EQ(0, quorLoadDefaultServerConfigEx(1, &config));
    EXPECT_EQ(0, quorLoadDefaultSSLOptionEx(1, &tls));
    tls.requireStapling = 0;
    servers->answer(OK);
    home.newLog();
  }

  void SetUp() override { ASSERT_TRUE(servers->up); }

  void useProxy(int port, const std::string& user = "", const std::string& password = "",
                const std::string& host = "127.0.0.1") {
    config.useProxy = true;
    widen(host, config.proxyServer);
    config.proxyPort = port;
    widen(user, config.proxyUser);
    widen(password, config.proxyPassword);
  }

  int check(const std::string& address, int milliseconds = 4000) {
    widen(address, config.serverAddr);
    limit = milliseconds;
    return quorChkServerStatusEx(&config, &tls, &limit, &errorCode, &totalTime);
  }

  // A failure leaves one line, without the password.
  void expectFailure(int result, int code, const std::string& address, const char* words,
                     int milliseconds = 4000) {
    EXPECT_EQ(result, check(address, milliseconds)) << address;
    EXPECT_EQ(code, errorCode) << address;
    const std::string log = home.newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << address << "\n" << log;
    EXPECT_THAT(log, AllOf(HasSubstr(words), HasSubstr("hint: "), Not(HasSubstr(PASSWORD))));
  }

  static constexpr const char* OK = "200 0\n{\"service\": \"reputation\", \"status\": \"ok\"}";
  inline static std::unique_ptr<Servers> servers;
  Home& home = Home::instance();
  quorServerConfig config;
  quorSSLOptions tls;
  int limit = 0;
  int errorCode = 0;
  double totalTime = 0;
};

TEST_F(ReputationTest, ServerThatAnswers) {
  std::vector<std::string> addresses = {
      at(servers->https), "https://" + at(servers->https), "HTTPS://" + at(servers->https) + "/",
      at(servers->https, "127.0.0.1"), "http://" + at(servers->http)};
  if (hasIpv6Loopback()) {
    addresses.push_back(at(servers->https, "[::1]"));
    addresses.push_back("http://" + at(servers->http, "[::1]"));
  }
  for (const std::string& address : addresses) {
    EXPECT_EQ(0, check(address)) << address;
    EXPECT_EQ(0, errorCode);
    EXPECT_GT(totalTime, 0);
    EXPECT_LE(limit, 4000 - static_cast<int>(totalTime * 1000));
    EXPECT_GT(limit, 0);
  }
  EXPECT_EQ("", home.newLog());
}

// It is so when memory ended while it was seeded.
TEST_F(ReputationTest, RandomNumbersAreSeededAgain) {
  ASSERT_EQ(1, EVP_RAND_uninstantiate(RAND_get0_primary(nullptr)));
  ASSERT_EQ(0, RAND_status());
  EXPECT_EQ(0, check(at(servers->https))) << home.newLog();
}

TEST_F(ReputationTest, ThroughAProxy) {
  std::vector<std::string> hosts = {"127.0.0.1", "localhost"};
  if (hasIpv6Loopback()) hosts.push_back("[::1]");
  for (const std::string& host : hosts) {
    useProxy(servers->open, "", "", host);
    EXPECT_EQ(0, check(at(servers->https))) << host;
    EXPECT_EQ(0, check("http://" + at(servers->http))) << host;
    useProxy(servers->closed, "console", PASSWORD, host);
    EXPECT_EQ(0, check(at(servers->https))) << host;
    EXPECT_EQ(0, check("http://" + at(servers->http))) << host;
  }
  EXPECT_EQ("", home.newLog()) << servers->dir.read("proxy/proxy.log");
  EXPECT_THAT(servers->dir.read("proxy/proxy.log"),
              AllOf(HasSubstr("CONNECT " + at(servers->https)), HasSubstr("GET http://localhost")));
  // Proxy settings do not count when the proxy is off, and the environment's never does.
  config.useProxy = false;
  setenv("https_proxy", ("http://" + at(freePort())).c_str(), 1);
  EXPECT_EQ(0, check(at(servers->https)));
  setenv("no_proxy", "localhost", 1);
  useProxy(freePort());
  EXPECT_EQ(QUOR_CONNECT_REFUSED, check(at(servers->https)));
  unsetenv("https_proxy");
  unsetenv("no_proxy");
}

TEST_F(ReputationTest, ProxyThatRefuses) {
  for (const std::string& address : {at(servers->https), "http://" + at(servers->http)}) {
    useProxy(servers->closed);
    expectFailure(QUOR_PROXY_REFUSED, 407, address, "user or password refused");
    useProxy(servers->closed, "console", std::string(PASSWORD) + "x");
    expectFailure(QUOR_PROXY_REFUSED, 401, address, "user or password refused");
    useProxy(freePort());
    expectFailure(QUOR_CONNECT_REFUSED, 7, address, "refused or unreachable");
    useProxy(servers->open, "", "", "proxy.invalid");
    expectFailure(QUOR_NOT_RESOLVED, 5, address, "unknown name of the proxy");
  }
  useProxy(servers->open);
  expectFailure(QUOR_CONNECT_REFUSED, 500, at(freePort()), "did not reach the server");
  expectFailure(QUOR_TLS_FAILED, 60, at(servers->otherHost), "another host's");
}

TEST_F(ReputationTest, ServerThatCannotBeReached) {
  expectFailure(QUOR_NOT_RESOLVED, 6, "reputation.invalid", "unknown name of the server");
  expectFailure(QUOR_CONNECT_REFUSED, 7, at(freePort()), "refused or unreachable");
  expectFailure(QUOR_TLS_FAILED, 60, at(servers->otherHost), "another host's");
  expectFailure(QUOR_TLS_FAILED, 60, at(servers->otherCa), "not trusted");
  expectFailure(QUOR_TLS_FAILED, 35, at(servers->http), "no secure connection");
  expectFailure(QUOR_BAD_ANSWER, 52, "http://" + at(servers->https), "no whole answer");
  tls.verifyHost = 0;
  EXPECT_EQ(0, check(at(servers->otherHost)));
  tls.verifyPeer = 0;
  EXPECT_EQ(0, check(at(servers->otherCa)));
  tls.verifyPeer = tls.verifyHost = tls.requireStapling = 1;
  expectFailure(QUOR_TLS_FAILED, 91, at(servers->https), "no proof that it is not revoked");
  std::strcpy(tls.caFile, "/nonexistent.pem");
  expectFailure(QUOR_BAD_CONFIG, 77, at(servers->https), "CA file");
}

TEST_F(ReputationTest, AnswersThatAreNone) {
  const std::string address = "http://" + at(servers->http);
  const struct {
    std::string answer;
    int code;
    const char* words;
  } table[] = {
      {"503 0\n{\"service\":\"reputation\",\"status\":\"ok\"}", 503, "HTTP status 503"},
      {"204 0\n", 204, "HTTP status 204"},
      {"302 0\n", 302, "HTTP status 302"},
      {"407 0\n", 407, "HTTP status 407"},
      {"200 0\n", 200, "not the service's"},
      {"200 0\n<html>", 200, "not the service's"},
      {"200 0\n[[[]]]", 200, "not the service's"},
      {"200 0\n{\"service\":{},\"status\":\"ok\"}", 200, "not the service's"},
      {"200 0\n{\"service\":\"mail\",\"status\":\"ok\"}", 200, "not the service's"},
      {"200 0\n{\"a\":{\"service\":\"reputation\",\"status\":\"ok\"}}", 200, "not the service's"},
      {"200 0\n{\"service\":\"reputation\",\"service\":1,\"status\":\"ok\"}", 200,
       "not the service's"},
      {"200 0\n{\"service\":\"reputation\",\"status\":\"down\\n\"}", 200, "status \"down\\n\""},
      {"200 0\n{\"service\":\"reputation\"}", 200, "status \"\""},
      {"200 0\n" + std::string(5000, ' ') + "{}", 23, "no whole answer"},
  };
  for (const auto& row : table) {
    servers->answer(row.answer);
    expectFailure(QUOR_BAD_ANSWER, row.code, address, row.words);
  }
}

TEST_F(ReputationTest, LimitHoldsWhereverTheServerStops) {
  const Socket silent = listenOnLoopback(5);
  const TcpProxy stops(servers->https, {.bytes = 100, .end = TcpProxy::STALLS});
  const TcpProxy breaks(servers->https, {.bytes = 100, .end = TcpProxy::CLOSES});
  const TcpProxy drips(servers->http, {.piece = 1, .pause = std::chrono::milliseconds(50)});
  servers->answer("200 3000\n{}");
  for (const std::string& address :
       {at(portOf(silent)), "http://" + at(portOf(silent)), at(stops.port()),
        "http://" + at(drips.port()), at(servers->https)}) {
    const auto begin = std::chrono::steady_clock::now();
    expectFailure(QUOR_TIMEOUT, 28, address, "no answer within the limit", 300);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(limit, 5);
    EXPECT_GT(totalTime, 0.29);
    EXPECT_LT(totalTime, 2.5);
    EXPECT_LE(totalTime, taken.count());
  }
  useProxy(portOf(silent));
  expectFailure(QUOR_TIMEOUT, 28, at(servers->https), " through http://127.0.0.1:", 300);
  config.useProxy = false;
  expectFailure(QUOR_TLS_FAILED, 35, at(breaks.port()), "no secure connection");
}

TEST_F(ReputationTest, RecordsThatCannotBeUsed) {
  const std::function<void(quorServerConfig&)> faults[] = {
      [](auto& c) { widen("", c.serverAddr); },
      [](auto& c) { widen("reputation.ex\xC3\xA4mple", c.serverAddr); },
      [](auto& c) { widen("a b", c.serverAddr); },
      [](auto& c) { widen("a\r\nX: y", c.serverAddr); },
      [](auto& c) { widen("ftp://a", c.serverAddr); },
      [](auto& c) { widen("file:///etc/passwd", c.serverAddr); },
      [](auto& c) { widen("user:word@a", c.serverAddr); },
      [](auto& c) { widen("a/other", c.serverAddr); },
      [](auto& c) { widen("a?q", c.serverAddr); },
      [](auto& c) { widen("a:0", c.serverAddr); },
      [](auto& c) { widen("a:65536", c.serverAddr); },
      [](auto& c) { widen("[::1", c.serverAddr); },
      [](auto& c) { std::wmemset(c.serverAddr, L'a', 1024); },
      [](auto& c) { c.serverAddr[0] = static_cast<wchar_t>(0x100 + 'a'); },
      [](auto& c) { widen("", c.proxyServer); },
      [](auto& c) { widen("[proxy:3128]", c.proxyServer); },
      [](auto& c) { widen("http://proxy", c.proxyServer); },
      [](auto& c) { std::wmemset(c.proxyServer, L'a', 1024); },
      [](auto& c) { c.proxyPort = 0; },
      [](auto& c) { c.proxyPort = 65536; },
      [](auto& c) { widen("us:er", c.proxyUser); },
      [](auto& c) { widen("us\xC3\xA9r", c.proxyUser); },
      [](auto& c) { std::wmemset(c.proxyUser, L'a', 64); },
      [](auto& c) { std::wmemset(c.proxyPassword, L'a', 64); },
      [](auto& c) { widen("p\n", c.proxyPassword); },
  };
  useProxy(servers->open);
  widen(at(servers->https), config.serverAddr);
  ASSERT_EQ(0, quorSetServerConfigEx(&config));
  ASSERT_EQ(0, quorSetSSLOptionsEx(&tls));
  int number = 0;
  for (const auto& spoil : faults) {
    quorServerConfig spoilt = config;
    spoil(spoilt);
    limit = 1000;
    EXPECT_EQ(QUOR_BAD_CONFIG, quorSetServerConfigEx(&spoilt)) << number;
    EXPECT_EQ(QUOR_BAD_CONFIG, quorChkServerStatusEx(&spoilt, &tls, &limit, &errorCode, &totalTime))
        << number++;
  }
  EXPECT_EQ(QUOR_BAD_CONFIG, check(at(servers->https), 0));
  EXPECT_EQ(QUOR_BAD_CONFIG, check(at(servers->https), -1));
  quorSSLOptions spoilt = tls;
  std::memset(spoilt.caFile, 'a', sizeof spoilt.caFile);
  EXPECT_EQ(QUOR_BAD_CONFIG, quorSetSSLOptionsEx(&spoilt));
  spoilt = tls;
  spoilt.verifyHost = 2;
  EXPECT_EQ(QUOR_BAD_CONFIG, quorSetSSLOptionsEx(&spoilt));
  EXPECT_EQ(QUOR_BAD_CONFIG, quorSetServerConfigEx(nullptr));
  EXPECT_EQ(QUOR_BAD_CONFIG, quorSetSSLOptionsEx(nullptr));
  EXPECT_EQ(QUOR_BAD_CONFIG, quorLoadDefaultServerConfigEx(2, &config));
  EXPECT_EQ(QUOR_BAD_CONFIG, quorLoadDefaultSSLOptionEx(1, nullptr));
  // What was set before is still set, and stands in for a record that is not given.
  limit = 4000;
  EXPECT_EQ(0, quorChkServerStatusEx(nullptr, nullptr, &limit, nullptr, nullptr));
}

TEST_F(ReputationTest, Defaults) {
  std::memset(static_cast<void*>(&config), 'x', sizeof config);
  EXPECT_EQ(0, quorLoadDefaultServerConfigEx(1, &config));
  for (const wchar_t character : config.serverAddr) ASSERT_EQ(0, character);
  for (const wchar_t character : config.proxyPassword) ASSERT_EQ(0, character);
  EXPECT_FALSE(config.useProxy);
  EXPECT_EQ(8080, config.proxyPort);
  EXPECT_EQ(0, quorLoadDefaultSSLOptionEx(1, &tls));
  EXPECT_EQ(3, tls.verifyPeer + tls.verifyHost + tls.requireStapling);
  EXPECT_EQ(servers->dir.path("server/tls/ca.pem"), tls.caFile);
  Home::set("reputation", "ca_file", std::string(5000, 'f'));
  EXPECT_EQ(QUOR_BAD_CONFIG, quorLoadDefaultSSLOptionEx(1, &tls));
}

}  // namespace
