// Attributes that a server sends in ranges.
#include <algorithm>

#include "DirectoryTest.h"
#include "support/LdapFront.h"

namespace {

using testing::HasSubstr;

constexpr const char* MEMBER[] = {"member", nullptr};
constexpr const char* ALL[] = {"*", nullptr};

class RangeTest : public DirectoryTest {
 protected:
  static void SetUpTestSuite() {
    server = std::make_unique<Slapd>(
        Slapd::Words{"--memberof", "--also", VESK_SOURCE_DIR "/tests/support/vendors"},
        Slapd::Words{"--big-group", "25"});
  }

  // The values, or the code.
  static Names found(Connection& session, const char* const* attributes, const char* name,
                     const char* filter = "(cn=big)") {
    Names values;
    const int code = session.visit(BASE, 2, filter, const_cast<const char**>(attributes),
                                   [&](VESK::BvLDAPEntry& entry) {
                                     VESK::BvLDAPAttribute* attribute = nullptr;
                                     if (entry.getAttribute(name, &attribute) != 0) return true;
                                     for (int i = 0; i < attribute->size(); ++i)
                                       values.emplace_back(attribute->getValue(i));
                                     return true;
                                   });
    return code == 0 ? values : Names{std::to_string(code)};
  }
};

TEST_F(RangeTest, AttributeIsWholeAfterARequestARange) {
  Session direct(server->port());
  const Names all = found(direct, MEMBER, "member");
  ASSERT_EQ(25u, all.size());
  for (const std::size_t most : {1u, 7u, 10u, 24u, 25u}) {
    for (const char* const* attributes : {MEMBER, ALL}) {
      SCOPED_TRACE(testing::Message() << most << " at once, asked for " << attributes[0]);
      LdapFront front(server->port(), most);
      Session session(front.port());
      EXPECT_EQ(all, found(session, attributes, "MEMBER"));
      const LdapFront::Traffic traffic = front.taken();
      EXPECT_EQ(static_cast<int>((25 + most - 1) / most), traffic.requests());
      EXPECT_EQ(0, traffic.repeated());
    }
  }
}

TEST_F(RangeTest, OtherOptionsStay) {
  LdapFront front(server->port(), 2);
  Session session(front.port());
  const char* const titles[] = {"description;lang-de", nullptr};
  EXPECT_THAT(found(session, titles, titles[0], "(uid=nils)"),
              testing::UnorderedElementsAre("eins", "zwei", "drei"));
}

TEST_F(RangeTest, MemberOfLosesNoGroup) {
  const TempDir dir;
  ASSERT_EQ(0, VESK::BvLDAPScript::init(
                   dir.write("ldapscript.conf", "parent_strategy = memberof\n").c_str()));
  LdapFront front(server->port(), 1);
  Session session(front.port());
  GroupList list;
  EXPECT_EQ(0, GroupDAO().getAllParentGroupsByUserName(&session, BASE, "p00001", list));
  EXPECT_EQ(5u, list.size());
}

TEST_F(RangeTest, WhoAsksForARangeGetsIt) {
  LdapFront front(server->port(), 10);
  Session session(front.port());
  const char* const second[] = {"member;range=10-*", nullptr};
  // The server names what it sends, the caller what he asked for.
  for (const char* name : {"member;range=10-19", "member;range=10-*", "MEMBER;range=10-12"}) {
    EXPECT_EQ(10u, found(session, second, name).size()) << name;
  }
  EXPECT_EQ(3, front.taken().requests());
  EXPECT_EQ(0u, found(session, second, "member;range=0-*").size());
}

TEST_F(RangeTest, NoListIsShortAndNoReadingEndless) {
  const struct {
    LdapFront::Fault fault;
    const char* reason;
  } table[] = {
      {LdapFront::STARTS_ANEW, "from 0 on in place of 10"},
      {LdapFront::OVERLAPS, "from 9 on in place of 10"},
      {LdapFront::LEAVES_OUT, "from 11 on in place of 10"},
      {LdapFront::EMPTY, "sent 0 values from 10 on"},
      {LdapFront::SHORTER, "sent 9 values from 10 on"},
      {LdapFront::ABSENT, "sent none from 10 on"},
      {LdapFront::ENTRY_GONE, "sent none from 10 on"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.reason);
    LdapFront front(server->port(), 10, row.fault);
    Session session(front.port());
    Home::instance().newLog();
    EXPECT_THAT(found(session, MEMBER, "member"), testing::SizeIs(1));
    EXPECT_EQ(1, session.getLastError());
    EXPECT_EQ(2, front.taken().requests());
    const std::string log = Home::instance().newLog();
    EXPECT_THAT(log, HasSubstr(row.reason));
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << log;
    EXPECT_EQ(1, entries(session, BASE, "(uid=ann)"));
  }
}

// A group is asked about once, in its two attributes of members, wherever cycles lead.
TEST_F(RangeTest, WalkTakesARequestALevelAndAsksNothingTwice) {
  const struct {
    const char* user;
    int levels;
    std::size_t groups;
  } table[] = {{"ringo", 3, 3}, {"p00001", 3, 5}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.user);
    LdapFront front(server->port(), 10);
    Session session(front.port());
    GroupList list;
    EXPECT_EQ(0, GroupDAO().getAllParentGroupsByUserName(&session, BASE, row.user, list));
    EXPECT_EQ(row.groups, list.size());
    const LdapFront::Traffic traffic = front.taken();
    EXPECT_EQ(row.levels + 2, traffic.requests());  // where to start, and what is above the top
    EXPECT_EQ(0, traffic.repeated());
    for (const GroupRecord& group : list.groups) EXPECT_EQ(2, traffic.mentions(group.dn));
  }
}

}  // namespace
