// The data-access classes with the shipped scripts, against the vendors' own servers with the
// sample company in them.
#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "product/directory.h"
#include "support/Home.h"
#include "support/Network.h"
#include "support/Server.h"
#include "support/TempDir.h"

namespace {

using Connection = VESK::BvLDAPConnection;
using Names = std::vector<std::string>;
using testing::UnorderedElementsAreArray;

constexpr const char* BASE = "dc=example,dc=com";
constexpr int PEOPLE = 150;      // numbered and named ones
constexpr int SIZE_LIMIT = 100;  // 389's; a domain controller has pages of up to 1,000

struct Vendor {
  Connection::LDAPVendor id;
  const char* tool;
  int port, tlsPort;  // 0: any
  const char* ann;    // how she logs in
  const char* mailAttribute;
  Names everyUser;  // the groups that all users are in
};

const Vendor ACTIVE_DIRECTORY = {
    Connection::ACTIVEDIRECTORY, "private-samba", 389, 636, "EXAMPLE\\ann", "proxyAddresses",
    {"Domain Users", "Users"}};
const Vendor DS389 = {
    Connection::DS389, "private-389", 0, 0, "uid=ann,ou=people,dc=example,dc=com", "mail", {}};

class DirectoryServer {
 public:
  explicit DirectoryServer(const Vendor& vendor)
      : port(vendor.port == 0 ? freePort() : vendor.port),
        tlsPort(vendor.tlsPort == 0 ? freePort() : vendor.tlsPort) {
    const std::string company = dir.path("company.ldif"), log = dir.path("log");
    const Server::Words print = {"sample-company", "--people", std::to_string(PEOPLE), "--groups",
                                 "20"};
    Server::Words command = {vendor.tool, "--dir", dir.path("server"), "--ldif", company};
    if (vendor.port == 0) {
      command.insert(command.end(),
                     {"--port", std::to_string(port), "--tls-port", std::to_string(tlsPort),
                      "--sizelimit", std::to_string(SIZE_LIMIT)});
    }
    Server::Words make = command;
    make.push_back("--no-exec");
    if (Server::run(print, company) != 0 || Server::run(make, log) != 0 ||
        !server.start(command, tlsPort, log)) {
      throw std::runtime_error(std::string(vendor.tool) + ": " + dir.read("log"));
    }
  }

  std::string file(const char* name) const { return dir.path("server/") + name; }

 private:
  TempDir dir;
  Server server;

 public:
  const int port, tlsPort;
};

class ServersTest : public testing::TestWithParam<Vendor> {
 protected:
  void SetUp() override {
    Home::instance();
    if (server == nullptr) server = std::make_unique<DirectoryServer>(GetParam());
    const std::string folder = VESK_SOURCE_DIR "/appliance/root/opt/brelvik/vesk/ldap/";
    const std::string script =
        folder + Connection::getLdapVendorName(GetParam().id) + "/ldapscript.conf";
    Home::set("LDAP", "ca_file", server->file("tls.pem"));
    Home::set("LDAP", "page_size", "");
    useSecurity("ldaps");
    ASSERT_EQ(0, VESK::BvLDAPScript::init(script.c_str()));
  }

  static void useSecurity(const char* word) { Home::set("LDAP", "security", word); }

  static int connectAsAnn(Connection& connection, int port) {
    return connection.connect("127.0.0.1", port, GetParam().ann, "secret-ann");
  }

  static int find(Connection& connection, const char* base, const char* filter) {
    int entries = 0;
    const char* attributes[] = {"cn", nullptr};
    const int code = connection.visit(base, 2, filter, attributes,
                                      [&](VESK::BvLDAPEntry&) { return ++entries > 0; });
    return code == 0 ? entries : -1;
  }

  inline static std::unique_ptr<DirectoryServer> server;  // for all cases
};

class DomainTest : public ServersTest {};

TEST_P(ServersTest, BindsAreProtectedAsTheServerWants) {
  Connection session(GetParam().id, Connection::SIMPLE);
  EXPECT_EQ(0, connectAsAnn(session, server->tlsPort));
  useSecurity("starttls");
  EXPECT_EQ(0, connectAsAnn(session, server->port));
  EXPECT_NE(0, session.authenticate(GetParam().ann, "wrong"));
  useSecurity("none");
  Home::instance().newLog();
  const bool plainToo = GetParam().id == Connection::DS389;
  EXPECT_EQ(plainToo, connectAsAnn(session, server->port) == 0);
  const bool hinted = Home::instance().newLog().find("the server wants TLS") != std::string::npos;
  EXPECT_EQ(!plainToo, hinted);
}

// Pages are sealed, which the server wants; inside TLS it refuses to.
TEST_P(DomainTest, KerberosSealsAConnectionWithoutTls) {
  setenv("KRB5_CONFIG", server->file("krb5.conf").c_str(), 1);
  Connection session(GetParam().id, Connection::KERBEROS);
  EXPECT_NE(0, connectAsAnn(session, server->tlsPort));
  useSecurity("none");
  ASSERT_EQ(0, connectAsAnn(session, server->port));
  EXPECT_LT(SIZE_LIMIT, find(session, BASE, "(mail=p0*)"));
  EXPECT_NE(0, session.authenticate(GetParam().ann, "wrong"));
}

TEST_P(ServersTest, UsersAreFound) {
  Connection session(GetParam().id, Connection::SIMPLE);
  ASSERT_EQ(0, connectAsAnn(session, server->tlsPort));
  UserDAO users;
  UserVOList list;
  EXPECT_EQ(0, users.getAllUsers(&session, BASE, "*Müller", list));
  ASSERT_EQ(1U, list.size());
  EXPECT_EQ("jmueller", list[0].name);
  for (const char* login : {"jmueller", "jmueller@example.com"}) {
    std::string name;
    EXPECT_EQ(0, users.loginName2UserName(&session, BASE, login, name, false)) << login;
    EXPECT_EQ("jmueller", name);
  }
  EXPECT_NE(0, users.isUserExist(&session, BASE, "nobody"));
  const struct {
    const char* address;
    const char* owner;
    bool isGroup;
  } addresses[] = {{"ann.archer@example.com", "ann", false},
                   {"support@example.com", "support", true}};
  for (const auto& row : addresses) {
    std::string owner;
    bool isGroup = !row.isGroup;
    EXPECT_EQ(0, users.getUserOrGroupNameByEmail(&session, BASE, GetParam().mailAttribute,
                                                 row.address, owner, &isGroup));
    EXPECT_EQ(row.owner, owner);
    EXPECT_EQ(row.isGroup, isGroup);
  }
}

TEST_P(ServersTest, ParentGroupsAreFound) {
  Connection session(GetParam().id, Connection::SIMPLE);
  ASSERT_EQ(0, connectAsAnn(session, server->tlsPort));
  const struct {
    bool isUser;
    const char* name;
    Names parents;
  } table[] = {
      {true, "ann", {"berlin", "germany", "europe", "world", "unix-users", "all-unix"}},
      {true, "ringo", {"ring-a", "ring-b", "ring-c"}},
      {true, "yoshino", {"営業部"}},
      {true, "console", {}},
      {false, "ring-a", {"ring-b", "ring-c"}},
      {false, "berlin", {"germany", "europe", "world"}},
  };
  for (const auto& row : table) {
    GroupList list;
    GroupDAO groups;
    EXPECT_EQ(0, row.isUser ? groups.getAllParentGroupsByUserName(&session, BASE, row.name, list)
                            : groups.getAllParentGroupsByGroupName(&session, BASE, row.name, list));
    Names expected = row.parents, names;
    if (row.isUser) {
      expected.insert(expected.end(), GetParam().everyUser.begin(), GetParam().everyUser.end());
    }
    for (const GroupRecord& group : list.groups) names.push_back(group.name);
    EXPECT_THAT(names, UnorderedElementsAreArray(expected)) << row.name;
  }
}

TEST_P(ServersTest, PagesLimitsAndMissingBasesAreToldApart) {
  Home::set("LDAP", "page_size", "40");
  Connection session(GetParam().id, Connection::SIMPLE);
  ASSERT_EQ(0, connectAsAnn(session, server->tlsPort));
  EXPECT_LT(SIZE_LIMIT, find(session, BASE, "(mail=p0*)"));
  EXPECT_EQ(-1, find(session, "ou=nowhere,dc=example,dc=com", "(mail=p0*)"));
  EXPECT_EQ(Connection::NO_SUCH_BASE, session.getLastError());
  if (GetParam().id != Connection::DS389) return;
  Home::set("LDAP", "page_size", std::to_string(PEOPLE));
  ASSERT_EQ(0, connectAsAnn(session, server->tlsPort));
  EXPECT_EQ(-1, find(session, BASE, "(mail=p0*)"));
  EXPECT_EQ(Connection::LIMIT_EXCEEDED, session.getLastError());
}

std::string nameOf(const testing::TestParamInfo<Vendor>& row) {
  return Connection::getLdapVendorName(row.param.id);
}

INSTANTIATE_TEST_SUITE_P(Real, ServersTest, testing::Values(ACTIVE_DIRECTORY, DS389), nameOf);
INSTANTIATE_TEST_SUITE_P(Real, DomainTest, testing::Values(ACTIVE_DIRECTORY), nameOf);

}  // namespace
