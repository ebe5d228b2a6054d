// The directory library against libldap in plain C and against ldapsearch, on one server.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Compare.h"
#include "Proxy.h"
#include "floor.h"
#include "product/directory.h"
#include "support/LdapFront.h"

namespace {

using bench::compare;
using bench::require;
using VESK::BvLDAPConnection;

constexpr const char* BASE = "dc=example,dc=com";
constexpr const char* ADMIN = "cn=admin,dc=example,dc=com";
constexpr int PAGE = 500;  // the library's default

// What the vendor's script makes of it.
constexpr const char* USERS = "(|(objectClass=inetOrgPerson)(objectClass=posixAccount))";
constexpr const char* GROUPS =
    "(|(objectClass=groupOfNames)(objectClass=groupOfUniqueNames)(objectClass=posixGroup))";

struct Directory {
  int port;
  std::string passwordFile;
  std::string password;
  unsigned users;
  unsigned groups;
};

std::string uriOf(int port) { return "ldap://127.0.0.1:" + std::to_string(port); }

// The C floor, with its session and the texts that it collects.
class Floor {
 public:
  Floor(const Directory& directory, int port)
      : uri(uriOf(port)),
        server{uri.c_str(), ADMIN, directory.password.c_str(), BASE, PAGE},
        handle(floor_open(&server)) {}
  ~Floor() {
    floor_free(&texts);
    floor_close(handle);
  }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  std::size_t list(const char* filter, const std::vector<const char*>& attributes,
                   floor_reader reader) {
    floor_list(handle, &server, filter, attributes.data(), reader, &texts);
    return texts.count;
  }
  std::size_t parents(const floor_membership& how, const char* user) {
    floor_parents(handle, &server, &how, user, &texts);
    return texts.count;
  }

 private:
  std::string uri;
  floor_server server;
  LDAP* handle;
  floor_texts texts{};
};

void floorLists(const Directory& at, int port, floor_reader reader) {
  Floor floor(at, port);
  floor.list(GROUPS, {"cn", nullptr}, reader);
  const std::size_t count = floor.list(USERS, {"uid", nullptr}, reader);
  require(count == at.users + at.groups, "the C floor did not list everything");
}

BvLDAPConnection& connected(BvLDAPConnection& connection, const Directory& at, int port) {
  require(connection.connect("127.0.0.1", port, ADMIN, at.password.c_str()) == 0,
          "the library did not connect");
  return connection;
}

void libraryLists(const Directory& at, int port) {
  BvLDAPConnection connection(BvLDAPConnection::OPENLDAP, BvLDAPConnection::SIMPLE);
  connected(connection, at, port);
  GroupList groups;
  UserVOList users;
  require(GroupDAO().getAllGroups(&connection, BASE, nullptr, groups) == 0 &&
              UserDAO().getAllUsers(&connection, BASE, nullptr, users) == 0 &&
              groups.size() == at.groups && users.size() == at.users,
          "the library did not list everything");
}

void ldapsearch(const Directory& at, const char* filter, const char* attribute) {
  const std::string uri = uriOf(at.port);
  const std::string paging = "pr=" + std::to_string(PAGE) + "/noprompt";
  const char* arguments[] = {"ldapsearch",   "-LLL",      "-x",
                             "-H",           uri.c_str(), "-D",
                             ADMIN,          "-y",        at.passwordFile.c_str(),
                             "-b",           BASE,        "-E",
                             paging.c_str(), filter,      attribute,
                             nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = -1;
  posix_spawnp(&child, arguments[0], &actions, nullptr, const_cast<char**>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  require(child > 0 && waitpid(child, &status, 0) == child && status == 0, "ldapsearch failed");
}

void listing(const Directory& at) {
  compare("list all users and groups", 15,
          {{"C floor", [&] { floorLists(at, at.port, FLOOR_PAGE); }},
           {"C floor, entry by entry", [&] { floorLists(at, at.port, FLOOR_ENTRY); }},
           {"library", [&] { libraryLists(at, at.port); }},
           {"ldapsearch, two processes", [&] {
              ldapsearch(at, GROUPS, "cn");
              ldapsearch(at, USERS, "uid");
            }}});
}

void floorMail(const Directory& at, int port) {
  const std::string filter = std::string("(&(|") + USERS + GROUPS + ")(mail=p05000@example.com))";
  Floor floor(at, port);
  require(floor.list(filter.c_str(), {"uid", "cn", "objectClass", nullptr}, FLOOR_ENTRY) == 1,
          "the C floor found nobody");
}

void libraryMail(const Directory& at, int port) {
  BvLDAPConnection connection(BvLDAPConnection::OPENLDAP, BvLDAPConnection::SIMPLE);
  connected(connection, at, port);
  std::string name;
  bool isGroup = true;
  UserDAO().getUserOrGroupNameByEmail(&connection, BASE, "mail", "p05000@example.com", name,
                                      &isGroup);
  require(name == "p05000" && !isGroup, "the library found nobody");
}

void oneUser(const Directory& at) {
  compare("one user by mail, connect and bind", 31,
          {{"C floor", [&] { floorMail(at, at.port); }},
           {"library", [&] { libraryMail(at, at.port); }}},
          20);
}

void bindTest(const Directory& at) {
  constexpr const char* user = "uid=p05000,ou=people,dc=example,dc=com";
  constexpr const char* password = "secret-p05000";
  const std::string uri = uriOf(at.port);
  const floor_server server{uri.c_str(), user, password, BASE, PAGE};
  const auto library = [&] {
    BvLDAPConnection connection(BvLDAPConnection::OPENLDAP, BvLDAPConnection::SIMPLE);
    require(connection.connect("127.0.0.1", at.port) == 0 &&
                connection.authenticate(user, password) == 0,
            "the library did not bind");
    connection.disconnect();
  };
  compare("bind test", 31,
          {{"C floor", [&] { floor_close(floor_open(&server)); }}, {"library", library}}, 20);
}

constexpr floor_membership BY_LEVEL{USERS, GROUPS, 1, 0};
constexpr floor_membership BY_GROUP{USERS, GROUPS, 1, 1};
constexpr floor_membership BY_LEVEL_MEMBER_ONLY{USERS, GROUPS, 0, 0};

void floorParents(const Directory& at, int port, const floor_membership& how) {
  require(Floor(at, port).parents(how, "many") == 200, "the C floor did not find 200 groups");
}

void libraryParents(const Directory& at, int port) {
  BvLDAPConnection connection(BvLDAPConnection::OPENLDAP, BvLDAPConnection::SIMPLE);
  connected(connection, at, port);
  GroupList groups;
  require(GroupDAO().getAllParentGroupsByUserName(&connection, BASE, "many", groups) == 0 &&
              groups.size() == 200,
          "the library did not find 200 groups");
}

void membership(const Directory& at) {
  compare("user in 200 groups, 10 levels", 11,
          {{"C floor, a search a level", [&] { floorParents(at, at.port, BY_LEVEL); }},
           {"library", [&] { libraryParents(at, at.port); }},
           {"C, a search a group", [&] { floorParents(at, at.port, BY_GROUP); }},
           {"C, a level, member only", [&] { floorParents(at, at.port, BY_LEVEL_MEMBER_ONLY); }}});
}

// Both sides through a front that counts, once: the figures above compare the same work.
void requests(const Directory& at) {
  LdapFront front(at.port, LdapFront::ALL_AT_ONCE);
  const auto count = [&](const char* figure, const auto& floor, const auto& library) {
    floor();
    const auto least = front.taken();
    library();
    const auto taken = front.taken();
    bench::report(figure, "C floor: searches", least.requests(), "", 1);
    bench::report(figure, "library: searches", taken.requests(), "",
                  double(taken.requests()) / least.requests());
    bench::report(figure, "library: binds", taken.binds, "", double(taken.binds) / least.binds);
    bench::report(figure, "library: bytes back", double(taken.bytesBack), "",
                  double(taken.bytesBack) / double(least.bytesBack));
  };
  const int port = front.port();
  count(
      "requests: list", [&] { floorLists(at, port, FLOOR_PAGE); }, [&] { libraryLists(at, port); });
  count(
      "requests: mail", [&] { floorMail(at, port); }, [&] { libraryMail(at, port); });
  count(
      "requests: 10 levels", [&] { floorParents(at, port, BY_LEVEL); },
      [&] { libraryParents(at, port); });
}

void readers(const Directory& at, const char* figure, int port) {
  compare(figure, 11,
          {{"page as one chain", [&] { floorLists(at, port, FLOOR_PAGE); }},
           {"entry by entry", [&] { floorLists(at, port, FLOOR_ENTRY); }},
           {"pauses of 0.2 ms", [&] { floorLists(at, port, FLOOR_PAUSE); }},
           {"SO_RCVLOWAT 32 KiB", [&] { floorLists(at, port, FLOOR_LOWAT); }},
           {"library", [&] { libraryLists(at, port); }}});
}

std::string firstLine(const std::string& file) {
  std::ifstream in(file);
  std::string line;
  require(static_cast<bool>(std::getline(in, line)), "cannot read the password file");
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 5, "usage: directory PORT PASSWORD-FILE USERS GROUPS");
  const Directory at{std::atoi(argv[1]), argv[2], firstLine(argv[2]),
                     static_cast<unsigned>(std::atoi(argv[3])),
                     static_cast<unsigned>(std::atoi(argv[4]))};
  const char* home = std::getenv("VESK_HOME");
  const std::string script = std::string(home ? home : "") + "/ldap/openldap/ldapscript.conf";
  require(VESK::BvLDAPScript::init(script.c_str()) == 0, "no vendor script below VESK_HOME");
  listing(at);
  oneUser(at);
  bindTest(at);
  membership(at);
  requests(at);
  readers(at, "reading, loopback", at.port);
  bench::Proxy distant(at.port, std::chrono::milliseconds(5));
  readers(at, "reading, 5 ms each way", distant.port());
  return 0;
}
