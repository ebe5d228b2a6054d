#include <atomic>
#include <thread>

#include "DirectoryTest.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using VESK::BvLDAPScript;

constexpr const char* SHIPPED = VESK_SOURCE_DIR "/appliance/root/opt/brelvik/vesk/ldap/";

class ScriptTest : public DirectoryTest {
 protected:
  static std::string shipped(int vendor) {
    return SHIPPED +
           std::string(Connection::getLdapVendorName(static_cast<Connection::LDAPVendor>(vendor))) +
           "/ldapscript.conf";
  }
};

TEST_F(ScriptTest, BrokenScriptIsNamedInTheLogAndTheGenericOneServes) {
  const TempDir dir;
  const struct {
    const char* text;
    const char* line;
  } table[] = {
      {"# fine\nuser_name_attr = cn\nno sign here\n", "line 3"},
      {"user_name_attr = cn\nuser_nome_attr = cn\n", "line 2"},
      {"user_name_attr = cn\n\n\nuser_filter = (uid=*\n", "line 4"},
      {"user_name_attr = cn\ngroup_name_attr = c)n\n", "line 2"},
      {"user_name_attr = cn\npage_size = many\n", "line 2"},
      {"user_name_attr = cn\nsid_attr = objectSid\n", "primary_group_attr and sid_attr"},
      {nullptr, "No such file"},
  };
  Session session(server->port());
  for (const auto& row : table) {
    const std::string file = row.text == nullptr ? dir.path("none") : dir.write("conf", row.text);
    BvLDAPScript::destroy();
    EXPECT_NE(0, BvLDAPScript::init(file.c_str()));
    EXPECT_THAT(Home::instance().newLog(), AllOf(HasSubstr(file), HasSubstr(row.line)));
    UserVOList users;
    EXPECT_EQ(0, UserDAO().getAllUsers(&session, BASE, "ann", users));
    ASSERT_EQ(1u, users.size());
    EXPECT_EQ("ann", users[0].name);
  }
}

TEST_F(ScriptTest, PageSizeOverridesTheSettingsInLookUps) {
  const TempDir dir;
  set("page_size", "10");
  ASSERT_EQ(0, BvLDAPScript::init(dir.write("conf", "page_size = 100\n").c_str()));
  Session session(server->port(), Connection::OPENLDAP);
  const int before = server->searches();
  UserVOList users;
  EXPECT_EQ(0, UserDAO().getAllUsers(&session, BASE, nullptr, users));
  EXPECT_EQ(3, server->searches() - before);
  EXPECT_EQ(300, entries(session, BASE, "(objectClass=inetOrgPerson)"));
  EXPECT_EQ(3 + 30, server->searches() - before);
}

// The script of one call may serve another's look-up: answers then differ, and only then.
TEST_F(ScriptTest, ManyThreadsMixVendorsAndOperations) {
  std::atomic<int> done = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < 32; ++number) {
    threads.emplace_back([&done, number] {
      for (int turn = 0; turn < 8; ++turn) {
        const int vendor = (number + turn) % 4;
        Connection connection(static_cast<Connection::LDAPVendor>(vendor), Connection::SIMPLE);
        const bool wrong = (number + turn) % 5 == 0;
        const char* password = wrong ? "wrong" : ANN_SECRET;
        if (wrong != (connection.connect("127.0.0.1", server->port(), ANN, password) != 0)) return;
        BvLDAPScript::destroy();
        BvLDAPScript::init(shipped(vendor).c_str());
        if (wrong) continue;
        GroupList groups;
        UserVOList users;
        std::string name;
        if (GroupDAO().getAllParentGroupsByUserName(&connection, BASE, "ann", groups) != 0) return;
        if (UserDAO().getAllUsers(&connection, BASE, "p0001*", users) != 0) return;
        if (UserDAO().getUserOrGroupNameByEmail(&connection, BASE, "mail", "x@example.com", name,
                                                nullptr) != -2) {
          return;
        }
        if (entries(connection, BASE, "(uid=p0001*)") != 10) return;
      }
      ++done;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(32, done) << Home::instance().newLog();
}

}  // namespace
