// The shipped scripts, each against its vendor's schema.
#include <algorithm>

#include "DirectoryTest.h"

namespace {

using testing::UnorderedElementsAreArray;

class VendorTest : public DirectoryTest {
 protected:
  static void SetUpTestSuite() {
    server = std::make_unique<Slapd>(
        Slapd::Words{"--memberof", "--also", VESK_SOURCE_DIR "/tests/support/vendors"});
  }

  // The shipped script, with another strategy where the server has not the vendor's own.
  static void useScript(Connection::LDAPVendor vendor, const std::string& strategy) {
    const std::string name = Connection::getLdapVendorName(vendor);
    std::ostringstream text;
    text << std::ifstream(VESK_SOURCE_DIR "/appliance/root/opt/brelvik/vesk/ldap/" + name +
                          "/ldapscript.conf")
                .rdbuf();
    std::string script = text.str();
    const std::string key = "\nparent_strategy = ";
    const std::size_t at = script.find(key) + key.size();
    script.replace(at, script.find('\n', at) - at, strategy);
    const TempDir dir;
    ASSERT_EQ(0, VESK::BvLDAPScript::init(dir.write(name, script).c_str()));
    EXPECT_EQ("", Home::instance().newLog());
  }
};

TEST_F(VendorTest, ShippedScriptFindsUserGroupAndParents) {
  const Names world = {"berlin", "germany", "europe", "world"};
  const Names alsoUnix = {"berlin", "germany", "europe", "world", "unix-users", "all-unix"};
  const Names staff = {"Builders", "Staff"};
  const Names primaryToo = {"Builders", "Staff", "Domain Users", "All"};
  const struct {
    Connection::LDAPVendor vendor;
    const char* strategy;
    const char* login;
    const char* user;
    Names parents;
    int levels;
    bool noPrimaryGroup = false;
  } table[] = {
      {Connection::GENERIC, "walk", ANN, "ann", alsoUnix, 4},
      {Connection::OPENLDAP, "walk", "ann@example.com", "ann", alsoUnix, 4},
      {Connection::OPENLDAP, "memberof", "ann", "ann", world, 4},
      {Connection::DS389, "walk", "nils@example.com", "nils", {"crew", "fleet"}, 2},
      {Connection::DS389, "memberof", "ann", "ann", world, 4},
      {Connection::ACTIVEDIRECTORY, "walk", "CORP\\adler", "adler", primaryToo, 2},
      {Connection::ACTIVEDIRECTORY, "memberof", "adler@corp.example.com", "adler", primaryToo, 2},
      {Connection::ACTIVEDIRECTORY, "in_chain", "adler", "adler", {"Domain Users"}, 1},
      {Connection::ACTIVEDIRECTORY, "walk", "bauer", "bauer", staff, 2, true},
      {Connection::ACTIVEDIRECTORY, "memberof", "cohen", "cohen", staff, 2, true},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.vendor << " " << row.strategy << " " << row.user);
    useScript(row.vendor, row.strategy);
    Session session(server->port(), row.vendor);
    std::string name;
    EXPECT_EQ(0, UserDAO().loginName2UserName(&session, BASE, row.login, name, false));
    EXPECT_EQ(row.user, name);
    EXPECT_EQ(0, UserDAO().isUserExist(&session, BASE, row.user));
    GroupList groups;
    const int before = server->searches();
    EXPECT_EQ(0, GroupDAO().getAllParentGroupsByUserName(&session, BASE, row.user, groups));
    EXPECT_THAT(namesOf(groups), UnorderedElementsAreArray(row.parents));
    EXPECT_LE(server->searches() - before, row.levels + 2);
    const std::string log = Home::instance().newLog();
    EXPECT_EQ(row.noPrimaryGroup, log.find(" has no primary group: ") != std::string::npos);
    EXPECT_EQ(row.noPrimaryGroup ? 1 : 0, std::count(log.begin(), log.end(), '\n')) << log;
  }
}

TEST_F(VendorTest, ActiveDirectoryAddressesCarryTheirProtocol) {
  const struct {
    const char* attribute;
    const char* email;
    const char* owner;  // null: nobody, as computers are no users
  } table[] = {{"proxyAddresses", "adam@example.com", "adler"},
               {"proxyAddresses", "staff@example.com", "Staff"},
               {"mail", "adler@example.com", "adler"},
               {"mail", "pc1@example.com", nullptr}};
  useScript(Connection::ACTIVEDIRECTORY, "walk");
  Session session(server->port(), Connection::ACTIVEDIRECTORY);
  for (const auto& row : table) {
    SCOPED_TRACE(row.email);
    std::string name;
    bool isGroup = false;
    EXPECT_EQ(row.owner == nullptr ? -2 : 0,
              UserDAO().getUserOrGroupNameByEmail(&session, BASE, row.attribute, row.email, name,
                                                  &isGroup));
    EXPECT_EQ(row.owner == nullptr ? "" : row.owner, name);
    EXPECT_EQ(name == "Staff", isGroup);
  }
}

}  // namespace
