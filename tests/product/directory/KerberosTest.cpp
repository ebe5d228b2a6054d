// Against a key server and a directory server that trusts it.
#include <krb5.h>

#include <filesystem>
#include <thread>

#include "DirectoryTest.h"
#include "support/Kdc.h"
#include "support/TcpProxy.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using std::chrono::steady_clock;
using testing::HasSubstr;

constexpr int PEOPLE = 16;
constexpr const char* HOST = "localhost";
constexpr const char* ADDRESS = "127.0.0.1";  // what a certificate can have

std::string numbered(int number) {
  return "p000" + std::string(number < 10 ? "0" : "") + std::to_string(number);
}

std::string accounts() {
  std::string text =
      "ann secret-ann\n"
      "rosa secret-\xF0\x9F\x8C\xB9\n"
      "locked secret-locked -allow_tix\n"
      "expired secret-expired -pwexpire 2020-01-01\n"
      "ldap/localhost -\n"
      "ldap/127.0.0.1 -\n";
  for (int i = 1; i <= PEOPLE; ++i) text += numbered(i) + " secret-" + numbered(i) + "\n";
  return text;
}

// A key server's message: KRB-ERROR 29, "a service is not available".
const std::string OUT_OF_SERVICE =
    "\0\0\0\x40\x7e\x3e\x30\x3c\xa0\x03\x02\x01\x05\xa1\x03\x02\x01\x1e\xa4\x11\x18\x0f"
    "20261121091500Z\xa5\x03\x02\x01\0\xa6\x03\x02\x01\x1d\xa9\x03\x1b\x01R\xaa\x0e\x30\x0c"
    "\xa0\x03\x02\x01\x02\xa1\x05\x30\x03\x1b\x01K"s;

std::string local(const TcpProxy& proxy) { return "127.0.0.1:" + std::to_string(proxy.port()); }

class KerberosTest : public DirectoryTest {
 protected:
  static void SetUpTestSuite() {
    kdc = std::make_unique<Kdc>(accounts());
    server = std::make_unique<Slapd>(Server::Words{"--tls", "--kerberos", kdc->keytab()});
  }
  static void TearDownTestSuite() {
    server.reset();
    kdc.reset();
  }

  void SetUp() override {
    DirectoryTest::SetUp();
    setenv("KRB5_CONFIG", kdc->configuration().c_str(), 1);
    setenv("KRB5CCNAME", defaultCache().c_str(), 1);
    set("ca_file", server->file("tls/ca.pem"));
  }
  void TearDown() override {
    EXPECT_EQ(defaultCache(), getenv("KRB5CCNAME"));
    EXPECT_FALSE(std::filesystem::exists(dir.path("cache")));
  }
  std::string defaultCache() const { return "FILE:" + dir.path("cache"); }

  // Only its user may read a password.
  static bool is(Connection& connection, const std::string& user) {
    const std::string dn = "uid=" + user + ",ou=people,dc=example,dc=com";
    const char* attributes[] = {"userPassword", nullptr};
    VESK::BvLDAPEntry* entry = nullptr;
    if (connection.getEntry(dn.c_str(), attributes, &entry) != 0) return false;
    VESK::BvLDAPAttribute* password = nullptr;
    const bool readable = entry->getAttribute("userPassword", &password) == 0;
    connection.freeEntry(entry);
    return readable;
  }

  inline static std::unique_ptr<Kdc> kdc;
  TempDir dir;
};

TEST_F(KerberosTest, BindsEachFormOfAnAccountPlainAndUnderTls) {
  const struct {
    Connection::LDAPVendor vendor;
    const char* account;
    const char* krb5;  // read before the realm's: names of hosts, a first key server that is off
  } table[] = {
      {Connection::GENERIC, "ann", ""},
      {Connection::OPENLDAP, "ann@EXAMPLE.COM", "dns_canonicalize_hostname = fallback"},
      {Connection::ACTIVEDIRECTORY, "ann@example.com", "dns_canonicalize_hostname = true"},
      {Connection::ACTIVEDIRECTORY, "EXAMPLE\\ann",
       "[domain_realm]\nlocalhost = EXAMPLE.COM\n127.0.0.1 = EXAMPLE.COM\n"
       "[realms]\nEXAMPLE.COM = {\n kdc = 127.0.0.1:1\n}"},
  };
  for (const auto& row : table) {
    const std::string more = dir.write("krb5.conf", "[libdefaults]\n"s + row.krb5 + "\n");
    setenv("KRB5_CONFIG", (more + ":" + kdc->configuration()).c_str(), 1);
    for (const char* security : {"none", "starttls", "ldaps"}) {
      SCOPED_TRACE(testing::Message() << row.account << " " << security);
      set("security", security);
      const bool plain = security == "none"s;
      const int port = security == "ldaps"s ? server->tlsPort() : server->port();
      const int layers = server->count("mech=GSSAPI bind_ssf=256 ssf=256");
      Connection connection(row.vendor, Connection::KERBEROS);
      EXPECT_EQ(0, connection.connect(plain ? HOST : ADDRESS, port, row.account, ANN_SECRET))
          << Home::instance().newLog();
      EXPECT_TRUE(is(connection, "ann"));
      EXPECT_EQ(plain ? 1 : 0, server->count("mech=GSSAPI bind_ssf=256 ssf=256") - layers);
    }
  }
}

TEST_F(KerberosTest, PassesOverKeyServersThatAreNotWell) {
  const TcpProxy silent(kdc->port(), {0, TcpProxy::STALLS});
  const TcpProxy outOfService(kdc->port(), {0, TcpProxy::CLOSES, OUT_OF_SERVICE});
  const TcpProxy stranger(kdc->port(), {0, TcpProxy::CLOSES, "\0\0\0\4HTTP"s});
  set("operation_timeout", "2");
  for (const std::string& first : {local(silent), local(outOfService), local(stranger),
                                   "https://localhost/KdcProxy"s, "localhost:88x"s}) {
    const std::string more =
        dir.write("krb5.conf", "[realms]\nEXAMPLE.COM = {\n kdc = " + first + "\n}\n");
    setenv("KRB5_CONFIG", (more + ":" + kdc->configuration()).c_str(), 1);
    Connection connection(Connection::GENERIC, Connection::KERBEROS);
    EXPECT_EQ(0, connection.connect(HOST, server->port(), "ann", ANN_SECRET))
        << first << Home::instance().newLog();
  }
}

TEST_F(KerberosTest, BindsAgainOverTheFirstBind) {
  Connection connection(Connection::GENERIC, Connection::KERBEROS);
  ASSERT_EQ(0, connection.connect(HOST, server->port()));
  EXPECT_NE(0, connection.authenticate("ann", ""));
  EXPECT_NE(0, connection.authenticate("", ANN_SECRET));
  EXPECT_EQ(0, connection.authenticate("ann", ANN_SECRET));
  EXPECT_TRUE(is(connection, "ann"));
  EXPECT_EQ(0, connection.authenticate("p00001", "secret-p00001"));
  EXPECT_TRUE(is(connection, "p00001"));
  EXPECT_FALSE(is(connection, "ann"));
  EXPECT_EQ(0, connection.authenticate("rosa", "secret-\xED\xA0\xBC\xED\xBC\xB9"));
  EXPECT_EQ(300, entries(connection, BASE, "(objectClass=inetOrgPerson)"));
  EXPECT_TRUE(is(connection, "rosa"));
  EXPECT_NE(0, connection.authenticate("p00001", "wrong"));
  EXPECT_FALSE(is(connection, "rosa"));
}

TEST_F(KerberosTest, EachFailureHasItsLineInTime) {
  const TcpProxy silent(kdc->port(), {0, TcpProxy::STALLS});
  const TcpProxy garbage(kdc->port(), {0, TcpProxy::STALLS, "\x7f\xff\xff\xff garbage"});
  const std::string closed = "127.0.0.1:" + std::to_string(freePort());
  const auto kdcLine = [](const std::string& address) {
    return " = {\n kdc = " + address + "\n}\n";
  };
  const std::string more =
      dir.write("krb5.conf", "[realms]\nSILENT.EXAMPLE" + kdcLine(local(silent)) +
                                 "GARBAGE.EXAMPLE" + kdcLine(local(garbage)) + "CLOSED.EXAMPLE" +
                                 kdcLine(closed) + "ODD.EXAMPLE" + kdcLine("localhost:65536"));
  setenv("KRB5_CONFIG", (kdc->configuration() + ":" + more).c_str(), 1);
  set("operation_timeout", "1");
  const struct {
    const char* host;
    const char* account;
    std::string password;
    std::string words;
  } table[] = {
      {HOST, "ann", "secret-bob", "wrong password"},
      {HOST, "nobody", "secret-", "unknown account"},
      {HOST, "locked", "secret-locked", "disabled or locked"},
      {HOST, "expired", "secret-expired", "password has expired"},
      {HOST, "ann@NOWHERE.EXAMPLE", "secret-", "unknown realm"},
      {HOST, "ann@SILENT.EXAMPLE", "secret-", "KDC " + local(silent)},
      {HOST, "ann@GARBAGE.EXAMPLE", "secret-", "KDC unreachable"},
      {HOST, "ann@CLOSED.EXAMPLE", "secret-", "KDC " + closed},
      {HOST, "ann@ODD.EXAMPLE", "secret-", "KDC localhost:65536 after"},
      {HOST, "a@b@c", "secret-", "no Kerberos account"},
      {"127.1", "ann", ANN_SECRET, "ldap/127.1 failed at KDC"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.account);
    Connection connection(Connection::GENERIC, Connection::KERBEROS);
    ASSERT_EQ(0, connection.connect(row.host, server->port()));
    const auto start = steady_clock::now();
    EXPECT_NE(0, connection.authenticate(row.account, row.password.c_str()));
    EXPECT_LT(steady_clock::now() - start, 2500ms);
    EXPECT_EQ(1, connection.getLastError());
    const std::string log = Home::instance().newLog();
    EXPECT_THAT(log, HasSubstr(row.words));
    EXPECT_THAT(log, HasSubstr("hint: "));
    EXPECT_THAT(log, testing::Not(HasSubstr(row.password)));
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n'));
    // The directory server's wire is sound.
    EXPECT_EQ(1, entries(connection, BASE, "(uid=ann)"));
  }
}

TEST_F(KerberosTest, WrongClockIsNamed) {
  const Kdc late(accounts(), {"--clock", "+2h"});
  const Slapd strict({"--kerberos", late.keytab()});
  setenv("KRB5_CONFIG", late.configuration().c_str(), 1);
  Connection connection(Connection::GENERIC, Connection::KERBEROS);
  EXPECT_NE(0, connection.connect(HOST, strict.port(), "ann", ANN_SECRET));
  const std::string log = Home::instance().newLog();
  EXPECT_THAT(log, HasSubstr("clock skew"));
}

TEST_F(KerberosTest, RefusalOfTheServerIsNamed) {
  const struct {
    TcpProxy::Fault fault;
    const char* words;
  } table[] = {
      {{0, TcpProxy::STALLS, "\x30\x0c\x02\x01\x01\x61\x07\x0a\x01\x07\x04\x00\x04\x00"s},
       "the server has no GSSAPI mechanism"},
      {{0, TcpProxy::STALLS, "\x30\x0d\x02\x01\x01\x61\x08\x0a\x01\x50\x04\x00\x04\x01!"s},
       "SASL bind refused by"},
      {{0, TcpProxy::STALLS, "\x30\x0c\x02\x01\x01\x61\x07\x0a\x01\x00\x04\x00\x04\x00"s},
       "the server did not prove itself"},
      {{0, TcpProxy::CLOSES}, "connection lost"},
      {{0, TcpProxy::STALLS}, "timed out"},
  };
  set("operation_timeout", "1");
  for (const auto& row : table) {
    const TcpProxy proxy(server->port(), row.fault);
    Connection connection(Connection::GENERIC, Connection::KERBEROS);
    EXPECT_NE(0, connection.connect(HOST, proxy.port(), "ann", ANN_SECRET));
    EXPECT_THAT(Home::instance().newLog(), HasSubstr(row.words));
  }
}

TEST_F(KerberosTest, ThreadsAreWhoTheySayTheyAre) {
  std::vector<std::thread> threads;
  std::vector<std::string> wrong(PEOPLE);
  for (int i = 0; i < PEOPLE; ++i) {
    threads.emplace_back([&, i] {
      const std::string own = numbered(i + 1);
      const std::string other = numbered((i + 1) % PEOPLE + 1);
      for (int turn = 0; turn < 5; ++turn) {
        Connection connection(Connection::GENERIC, Connection::KERBEROS);
        const int code =
            connection.connect(HOST, server->port(), own.c_str(), ("secret-" + own).c_str());
        if (code != 0 || !is(connection, own) || is(connection, other))
          wrong[static_cast<std::size_t>(i)] = own;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(wrong, testing::Each(""));
}

}  // namespace
