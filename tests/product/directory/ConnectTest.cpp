#include "DirectoryTest.h"
#include "support/Network.h"

namespace {

using testing::HasSubstr;

class ConnectTest : public DirectoryTest {};

TEST_F(ConnectTest, BindsAsToldOrFailsWithOneLine) {
  const int port = server->port();
  const struct {
    const char* host;
    int port;
    const char* user;
    const char* password;
    bool good;
  } table[] = {
      {"127.0.0.1", port, ANN, ANN_SECRET, true},
      {"localhost", port, ANN, ANN_SECRET, true},
      {"127.0.0.1", port, "", "", true},
      {"127.0.0.1", port, "uid=star*(x)\\\\y,ou=people,dc=example,dc=com", "secret-star*(x)\\y",
       true},
      {"127.0.0.1", port, ANN, "secret-bob", false},
      {"127.0.0.1", port, ANN, "", false},
      {"127.0.0.1", port, "", ANN_SECRET, false},
      {"127.0.0.1", port, "uid=nobody,ou=people,dc=example,dc=com", ANN_SECRET, false},
      {"127.0.0.1", port, "no DN", ANN_SECRET, false},
      {"127.0.0.1", freePort(), ANN, ANN_SECRET, false},
      {"127.0.0.1", 0, ANN, ANN_SECRET, false},
      {"127.0.0.1", 65536 + port, ANN, ANN_SECRET, false},
      {"", port, ANN, ANN_SECRET, false},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.host << " " << row.port << " " << row.user);
    Connection connection(Connection::GENERIC, Connection::SIMPLE);
    EXPECT_EQ(row.good, connection.connect(row.host, row.port, row.user, row.password) == 0);
    EXPECT_EQ(row.good ? 1 : -1, entries(connection, BASE, "(uid=ann)"));
    const std::string log = Home::instance().newLog();
    // One line for the bind and, since entries() asks all the same, one for the search.
    EXPECT_EQ(row.good ? 0 : 2, std::count(log.begin(), log.end(), '\n')) << log;
    EXPECT_THAT(log, testing::Not(HasSubstr("secret-")));
  }
}

TEST_F(ConnectTest, TakesIpv6LiteralsWithAndWithoutBrackets) {
  if (!hasIpv6Loopback()) GTEST_SKIP() << "no IPv6 here";
  const Slapd both({"--ipv6"});
  for (const char* host : {"::1", "[::1]"}) {
    Connection connection(Connection::OPENLDAP, Connection::SIMPLE);
    EXPECT_EQ(0, connection.connect(host, both.port(), ANN, ANN_SECRET)) << host;
  }
}

TEST_F(ConnectTest, UnknownAuthenticationTypeFailsBeforeTheServerIsAsked) {
  const int before = server->count(" ACCEPT ");
  Connection connection(Connection::GENERIC, static_cast<Connection::AuthenType>(7));
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port(), ANN, ANN_SECRET));
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port()));
  EXPECT_EQ(before, server->count(" ACCEPT "));
}

// The server accepts an empty password for anybody.
TEST_F(ConnectTest, RefusesAnEmptyNameOrPasswordWithoutAsking) {
  const int before = server->binds();
  Connection connection(Connection::GENERIC, Connection::SIMPLE);
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port(), ANN, ""));
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port(), "", ANN_SECRET));
  EXPECT_EQ(0, connection.connect("127.0.0.1", server->port()));
  EXPECT_NE(0, connection.authenticate(ANN, ""));
  EXPECT_NE(0, connection.authenticate("", ANN_SECRET));
  EXPECT_EQ(before, server->binds());
}

TEST_F(ConnectTest, FirstBindDecidesWhereAnonymousAccessIsRefused) {
  const Slapd strict({"--require-bind"});
  Connection connection(Connection::GENERIC, Connection::SIMPLE);
  ASSERT_EQ(0, connection.connect("127.0.0.1", strict.port()));
  EXPECT_EQ(-1, entries(connection, BASE, "(uid=ann)"));
  EXPECT_NE(0, connection.authenticate(ANN, "wrong"));
  EXPECT_EQ(0, connection.authenticate(ANN, ANN_SECRET));
  EXPECT_EQ(1, entries(connection, BASE, "(uid=ann)"));
}

// With StartTLS and as LDAPS.
TEST_F(ConnectTest, BindsOnlyUnderNewTlsWithATrustedCertificate) {
  const struct {
    const char* variant;
    std::vector<const char*> caFiles;
    bool good;
  } table[] = {
      {"good", {"tls/ca.pem"}, true},
      {"good", {"tls/other-ca.pem", "tls/none.pem", ""}, false},
      {"expired", {"tls/ca.pem"}, false},
      {"other-ca", {"tls/ca.pem"}, false},
      {"other-host", {"tls/ca.pem"}, false},
      {"old-tls", {"tls/ca.pem"}, false},
  };
  for (const auto& row : table) {
    const Slapd secure({"--tls", "--tls-variant", row.variant});
    for (const std::string ca : row.caFiles) {
      for (const bool startTls : {true, false}) {
        SCOPED_TRACE(row.variant + (" " + ca) + (startTls ? " starttls" : " ldaps"));
        set("security", startTls ? "starttls" : "ldaps");
        set("ca_file", ca.empty() ? "" : secure.file(ca));
        const int before = secure.binds();
        Connection connection(Connection::GENERIC, Connection::SIMPLE);
        const int port = startTls ? secure.port() : secure.tlsPort();
        EXPECT_EQ(row.good, connection.connect("127.0.0.1", port, ANN, ANN_SECRET) == 0);
        EXPECT_EQ(row.good, connection.authenticate(ANN, ANN_SECRET) == 0);
        EXPECT_EQ(row.good, secure.binds() > before);
      }
    }
  }
}

TEST_F(ConnectTest, NeverBindsInPlainWhenStartTlsIsRefused) {
  set("security", "starttls");
  const int before = server->binds();
  Connection connection(Connection::GENERIC, Connection::SIMPLE);
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port(), ANN, ANN_SECRET));
  EXPECT_NE(0, connection.connect("127.0.0.1", server->port()));
  EXPECT_NE(0, connection.authenticate(ANN, ANN_SECRET));
  EXPECT_EQ(before, server->binds());
}

}  // namespace
