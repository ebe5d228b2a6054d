// Users and groups by search text, login name and address.
#include "DirectoryTest.h"
#include "ScriptedConnection.h"

namespace {

using testing::UnorderedElementsAreArray;

class LookupTest : public DirectoryTest {};

TEST_F(LookupTest, SearchTextStandsForItselfButForTheWildcard) {
  const struct {
    const char* text;
    Names users;
    Names groups;
  } table[] = {
      {"ann", {"ann"}, {}},
      {"ANN", {"ann"}, {}},
      {"ann.archer@example.com", {"ann"}, {}},
      {"sales", {"sales"}, {"sales"}},
      {"ring-*", {}, {"ring-a", "ring-b", "ring-c"}},
      {"*nix*", {}, {"unix-users", "all-unix"}},
      {"*(*)*", {STAR}, {LAB}},
      {"*\\*", {STAR}, {LAB}},
      {"*\\2a*", {}, {}},
      {")(uid=*", {}, {}},
      {"JÖRG MÜLLER", {"jmueller"}, {}},
      {"ελένη*", {"eleni"}, {}},
      {"𠮷野*", {"yoshino"}, {}},
      {"\xED\xA1\x82\xED\xBE\xB7\u91CE*", {"yoshino"}, {}},
      {"*🚀", {"rosa"}, {}},
      {"営**部", {}, {"営業部"}},
      {"sales\xC0\x80*", {"sales"}, {"sales"}},
      {"nobody", {}, {}},
  };
  Session session(server->port());
  for (const auto& row : table) {
    SCOPED_TRACE(row.text);
    UserVOList users;
    EXPECT_EQ(0, UserDAO().getAllUsers(&session, BASE, row.text, users));
    Names names;
    for (const UserVO& user : users.users) names.push_back(user.name);
    EXPECT_THAT(names, UnorderedElementsAreArray(row.users));
    GroupList groups;
    EXPECT_EQ(0, GroupDAO().getAllGroups(&session, BASE, row.text, groups));
    EXPECT_THAT(namesOf(groups), UnorderedElementsAreArray(row.groups));
  }
}

TEST_F(LookupTest, NoTextMeansAllAndListsAreAppendedTo) {
  Session session(server->port());
  UserVOList users{{{"first", "", ""}}};
  GroupList groups{{{"first", ""}}};
  EXPECT_EQ(0, UserDAO().getAllUsers(&session, BASE, nullptr, users));
  EXPECT_EQ(0, GroupDAO().getAllGroups(&session, BASE, nullptr, groups));
  EXPECT_EQ(1u + 300, users.size());
  EXPECT_EQ(1u + 60, groups.size());
  EXPECT_EQ("first", users[0].name);
  EXPECT_NE(0, UserDAO().getAllUsers(&session, "ou=none,dc=example,dc=com", nullptr, users));
  EXPECT_EQ(2, session.getLastError());
  EXPECT_EQ(1u + 300, users.size());
}

TEST_F(LookupTest, FindsTheOwnerOfAnAddress) {
  const struct {
    const char* attribute;
    const char* email;
    const char* base;
    int code;
    const char* name;
    bool isGroup;
  } table[] = {
      {"mail", "a.archer@example.com", BASE, 0, "ann", false},
      {"mail", "ANN@EXAMPLE.COM", BASE, 0, "ann", false},
      {"mail", "support@example.com", BASE, 0, "support", true},
      {"mail", "star*x@example.com", BASE, 0, STAR, false},
      {"displayName", "Rosa Rocket 🚀", BASE, 0, "rosa", false},
      {"mail", "*@example.com", BASE, -2, "", false},
      {"mail", "none@example.com", BASE, -2, "", false},
      {"mail", "ann@example.com", "ou=none,dc=example,dc=com", -1, "", false},
      {"mail=*)(uid", "ann@example.com", BASE, -1, "", false},
  };
  Session session(server->port());
  for (const auto& row : table) {
    SCOPED_TRACE(row.email);
    std::string name;
    bool isGroup = !row.isGroup;
    const int code = UserDAO().getUserOrGroupNameByEmail(&session, row.base, row.attribute,
                                                         row.email, name, &isGroup);
    EXPECT_EQ(row.code, code);
    EXPECT_EQ(row.name, name);
    if (code == 0) {
      EXPECT_EQ(row.isGroup, isGroup);
    }
  }
}

TEST_F(LookupTest, ResolvesLoginNames) {
  const struct {
    const char* login;
    const char* user;  // null: nobody's
  } table[] = {
      {"ann", "ann"},
      {ANN, "ann"},
      {"UID=Ann, OU=People,DC=example,DC=com", "ann"},
      {"ann@example.com", "ann"},
      {STAR, STAR},
      {"uid=star*(x)\\\\y,ou=people,dc=example,dc=com", STAR},
      {"sales", "sales"},
      {"*", nullptr},
      {"a*n", nullptr},
      {"ann)(uid=*", nullptr},
      {"berlin", nullptr},  // a group
      {"cn=berlin,ou=groups,dc=example,dc=com", nullptr},
      {"", nullptr},
  };
  Session session(server->port());
  for (const auto& row : table) {
    SCOPED_TRACE(row.login);
    std::string name;
    const int code = UserDAO().loginName2UserName(&session, BASE, row.login, name, false);
    EXPECT_EQ(row.user != nullptr, code == 0);
    EXPECT_EQ(row.user == nullptr ? "" : row.user, name);
    EXPECT_EQ(code == 0, UserDAO().isUserExist(&session, BASE, name.c_str()) == 0);
  }
  for (const char* nobody : {"*", "berlin", "a*n", "nobody"}) {
    EXPECT_NE(0, UserDAO().isUserExist(&session, BASE, nobody)) << nobody;
  }
}

// Upper and lower case beyond ASCII are the server's to compare; what is elsewhere is not asked
// for.
TEST_F(LookupTest, LoginDnLiesBelowTheBaseAsTheServerSees) {
  const std::string login = "uid=ann,ou=münchen,dc=example,dc=com";
  const struct {
    const char* base;
    bool asked;
  } table[] = {{"ou=MÜNCHEN,dc=example,dc=com", true}, {"ou=berlin,dc=example,dc=com", false}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.base);
    ScriptedConnection directory({{{login}}});
    std::string name;
    EXPECT_EQ(0, UserDAO().loginName2UserName(&directory, row.base, login.c_str(), name, false));
    EXPECT_THAT(directory.bases, testing::ElementsAre(row.base));
    EXPECT_EQ(row.asked, directory.filters[0].find("(entryDN=" + login) != std::string::npos);
  }
}

}  // namespace
