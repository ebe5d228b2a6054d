// Large groups and deep ones: what the library asks a server for, counted in front of the server.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "Compare.h"
#include "floor.h"
#include "product/directory.h"
#include "support/LdapFront.h"

namespace {

using bench::report;
using bench::require;
using VESK::BvLDAPConnection;

constexpr const char* BASE = "dc=example,dc=com";
constexpr const char* ADMIN = "cn=admin,dc=example,dc=com";
constexpr const char* PASSWORD = "secret-admin";  // of the server that bench/run starts
constexpr std::size_t AT_ONCE = 1500;             // values, as Active Directory sends them

constexpr floor_membership BY_LEVEL{
    "(|(objectClass=inetOrgPerson)(objectClass=posixAccount))",
    "(|(objectClass=groupOfNames)(objectClass=groupOfUniqueNames)(objectClass=posixGroup))", 1, 0};

class Session : public BvLDAPConnection {
 public:
  explicit Session(int port) : BvLDAPConnection(OPENLDAP, SIMPLE) {
    require(connect("127.0.0.1", port, ADMIN, PASSWORD) == 0, "the library did not connect");
  }
};

void readsMembers(int port, int expected) {
  Session session(port);
  const char* attributes[] = {"member", nullptr};
  VESK::BvLDAPEntry* entry = nullptr;
  VESK::BvLDAPAttribute* members = nullptr;
  require(session.getEntry("cn=huge,ou=groups,dc=example,dc=com", attributes, &entry) == 0 &&
              entry->getAttribute("member", &members) == 0 && members->size() == expected,
          "the library did not read every member");
  session.freeEntry(entry);
}

GroupList libraryWalks(int port, unsigned expected) {
  Session session(port);
  GroupList groups;
  require(GroupDAO().getAllParentGroupsByUserName(&session, BASE, "deep", groups) == 0 &&
              groups.size() == expected,
          "the library did not find every group");
  return groups;
}

void floorWalks(int port, std::size_t expected) {
  const std::string uri = "ldap://127.0.0.1:" + std::to_string(port);
  const floor_server server{uri.c_str(), ADMIN, PASSWORD, BASE, 500};
  LDAP* handle = floor_open(&server);
  floor_texts names{};
  floor_parents(handle, &server, &BY_LEVEL, "deep", &names);
  require(names.count == expected, "the C floor did not find every group");
  floor_free(&names);
  floor_close(handle);
}

void count(const std::string& figure, const std::string& who, const LdapFront::Traffic& traffic,
           int expected, long bytes) {
  report(figure, who + ": requests", traffic.requests(), "",
         double(traffic.requests()) / double(expected));
  report(figure, who + ": asked twice", traffic.repeated(), "", 0);
  report(figure, who + ": bytes back", double(traffic.bytesBack), "",
         double(traffic.bytesBack) / double(bytes));
}

void ranges(int port, int members) {
  const std::string figure = "group of " + std::to_string(members);
  LdapFront whole(port, LdapFront::ALL_AT_ONCE);
  LdapFront front(port, AT_ONCE);
  readsMembers(whole.port(), members);
  const LdapFront::Traffic least = whole.taken();
  readsMembers(front.port(), members);
  const int expected =
      static_cast<int>((static_cast<std::size_t>(members) + AT_ONCE - 1) / AT_ONCE);
  report(figure, "ranges of " + std::to_string(AT_ONCE), expected, "", 1);
  count(figure, "in one piece", least, expected, least.bytesBack);
  count(figure, "library", front.taken(), expected, least.bytesBack);
}

void closure(int port, unsigned groups, int levels) {
  const std::string figure =
      std::to_string(groups) + " groups, " + std::to_string(levels) + " levels";
  LdapFront front(port, LdapFront::ALL_AT_ONCE);
  const int expected = levels + 2;  // where to start, and that nothing is above the top
  floorWalks(front.port(), groups);
  const LdapFront::Traffic least = front.taken();
  const GroupList found = libraryWalks(front.port(), groups);
  const LdapFront::Traffic traffic = front.taken();
  int most = 0;
  for (const GroupRecord& group : found.groups) most = std::max(most, traffic.mentions(group.dn));
  report(figure, "levels, start and end", expected, "", 1);
  count(figure, "C floor", least, expected, least.bytesBack);
  count(figure, "library", traffic, expected, least.bytesBack);
  // In its two attributes of members.
  report(figure, "library: times a group is asked for", most / 2.0, "", most / 2.0);
  bench::compare(figure, 5,
                 {{"C floor, a search a level", [&] { floorWalks(port, groups); }},
                  {"library", [&] { libraryWalks(port, groups); }}});
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 5, "usage: groups PORT MEMBERS GROUPS LEVELS");
  const int port = std::atoi(argv[1]);
  const char* home = std::getenv("VESK_HOME");
  const std::string script = std::string(home ? home : "") + "/ldap/openldap/ldapscript.conf";
  require(VESK::BvLDAPScript::init(script.c_str()) == 0, "no vendor script below VESK_HOME");
  ranges(port, std::atoi(argv[2]));
  closure(port, static_cast<unsigned>(std::atoi(argv[3])), std::atoi(argv[4]));
  return 0;
}
