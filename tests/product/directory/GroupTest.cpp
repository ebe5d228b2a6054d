#include "DirectoryTest.h"

#include "ScriptedConnection.h"

namespace {

using namespace std::string_literals;
using testing::UnorderedElementsAreArray;

struct Membership {
  bool isUser;
  const char* name;
  Names byDn;     // groups that list members by DN
  int levels;     // of these
  Names byUid{};  // reached through memberUid
};

const Membership MEMBERSHIPS[] = {
    {true, "ann", {"berlin", "germany", "europe", "world"}, 4, {"unix-users", "all-unix"}},
    {true, "ANN", {"berlin", "germany", "europe", "world"}, 4, {"unix-users", "all-unix"}},
    {true, "ringo", {"ring-a", "ring-b", "ring-c"}, 3},
    {false, "ring-a", {"ring-b", "ring-c"}, 2},
    {true, "sales", {"night-shift"}, 1},
    {false, "sales", {"europe", "world"}, 2},
    {true, STAR, {LAB, "world"}, 2},
    {false, LAB, {"world"}, 1},
    {true, "yoshino", {"営業部"}, 1},
    {false, "berlin", {"germany", "europe", "world"}, 3},
    {true,
     "p00001",
     {"g0002", "g0003", "g0004", "g0005", "g0006", "g0007", "g0008", "g0009", "g0010", "g0025",
      "g0026", "g0027", "g0028", "g0029", "g0030"},
     9},
    {false, "world", {}, 0},
    {true, "console", {}, 0},
    {true, "*", {}, 0},
    {false, "nobody", {}, 0},
};

class GroupTest : public DirectoryTest {
 protected:
  static void useScript(const char* text) {
    const TempDir dir;
    ASSERT_EQ(0, VESK::BvLDAPScript::init(dir.write("ldapscript.conf", text).c_str()));
  }

  static int parents(Connection& session, const Membership& member, GroupList& list) {
    return member.isUser
               ? GroupDAO().getAllParentGroupsByUserName(&session, BASE, member.name, list)
               : GroupDAO().getAllParentGroupsByGroupName(&session, BASE, member.name, list);
  }

  // One request finds where to start and one finds that the top is reached.
  static void expectParents(const Membership& member, const Names& expected) {
    SCOPED_TRACE(testing::Message() << (member.isUser ? "user " : "group ") << member.name);
    Session session(server->port(), Connection::OPENLDAP);
    GroupList list;
    const int before = server->searches();
    EXPECT_EQ(0, parents(session, member, list));
    EXPECT_THAT(namesOf(list), UnorderedElementsAreArray(expected));
    EXPECT_LE(server->searches() - before, member.levels + 2);
  }
};

TEST_F(GroupTest, WalkFindsEveryParentOnceInARequestALevel) {
  for (const Membership& member : MEMBERSHIPS) {
    Names all = member.byDn;
    all.insert(all.end(), member.byUid.begin(), member.byUid.end());
    expectParents(member, all);
  }
}

TEST_F(GroupTest, MemberOfFindsTheSame) {
  useScript("parent_strategy = memberof\n");
  for (const Membership& member : MEMBERSHIPS) expectParents(member, member.byDn);
}

// Groups that several share, one of them outside the base.
TEST_F(GroupTest, MemberOfAsksAboutEachGroupOnce) {
  useScript("parent_strategy = memberof\n");
  ScriptedConnection directory({
      {{"uid=ann", {"cn=a", "cn=b"}}},
      {{"cn=a", {"cn=top", "cn=out"}}, {"cn=b", {"CN=out", "cn=top"}}},
      {{"cn=top", {"cn=out", "cn=a"}}},
  });
  GroupList list;
  EXPECT_EQ(0, GroupDAO().getAllParentGroupsByUserName(&directory, BASE, "ann", list));
  EXPECT_THAT(namesOf(list), testing::ElementsAre("cn=a", "cn=b", "cn=top"));
  ASSERT_EQ(3u, directory.filters.size());
  EXPECT_THAT(directory.filters[2], testing::EndsWith("(|(entryDN=cn=top)(entryDN=cn=out)))"));
}

// The server follows the chain of members, in which a primary group is not.
TEST_F(GroupTest, InChainAsksOnceMoreForThePrimaryGroup) {
  useScript(
      "parent_strategy = in_chain\nmember_dn_attrs = member\n"
      "primary_group_attr = primaryGroupID\nsid_attr = objectSid\n");
  const auto sid = [](char last) {
    return std::string("\1\2\0\0\0\0\0\5*\0\0\0", 12) + last + "\2\0\0"s;
  };
  ScriptedConnection directory({
      {{"uid=ann", {}, {sid('\7')}, {"513"}}},
      {{"cn=a", {}, {sid('\3')}}, {"cn=primary", {}, {sid('\1')}}},
      {{"cn=top"}, {"cn=a"}},
  });
  GroupList list;
  EXPECT_EQ(0, GroupDAO().getAllParentGroupsByUserName(&directory, BASE, "ann", list));
  EXPECT_THAT(namesOf(list), testing::ElementsAre("cn=a", "cn=primary", "cn=top"));
  ASSERT_EQ(3u, directory.filters.size());
  EXPECT_THAT(
      directory.filters[1],
      testing::EndsWith("(|(objectSid=\\01\\02\\00\\00\\00\\00\\00\\05\\2a\\00\\00\\00\\01\\02\\00"
                        "\\00)(member:1.2.840.113556.1.4.1941:=uid=ann)))"));
  EXPECT_THAT(directory.filters[2],
              testing::EndsWith("(|(member:1.2.840.113556.1.4.1941:=cn=primary)))"));
}

}  // namespace
