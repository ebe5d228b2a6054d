// What listing everything takes from the heap beyond the names that it returns, and what one page
// of entries takes.
#include <ldap.h>
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "Compare.h"
#include "floor.h"
#include "product/directory.h"

// The program's own allocator in front of the C library's: it knows the peak, which the C library
// does not tell.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<long> live = 0;
std::atomic<long> peak = 0;

void* entered(void* block) {
  const long now = live += static_cast<long>(malloc_usable_size(block));
  if (now > peak) peak = now;
  return block;
}

void left(void* block) { live -= static_cast<long>(malloc_usable_size(block)); }

}  // namespace

extern "C" {
void* malloc(std::size_t size) { return entered(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return entered(__libc_calloc(count, size)); }
void free(void* block) {
  left(block);
  __libc_free(block);
}
void* realloc(void* block, std::size_t size) {
  left(block);
  return entered(__libc_realloc(block, size));
}
}

namespace {

constexpr const char* BASE = "dc=example,dc=com";
constexpr const char* ADMIN = "cn=admin,dc=example,dc=com";

std::string firstLine(const char* file) {
  std::ifstream in(file);
  std::string line;
  bench::require(static_cast<bool>(std::getline(in, line)), "cannot read the password file");
  return line;
}

// One page of user entries, names only, as libldap holds it.
long onePage(int port, const std::string& password) {
  const std::string uri = "ldap://127.0.0.1:" + std::to_string(port);
  const floor_server server{uri.c_str(), ADMIN, password.c_str(), BASE, 500};
  LDAP* handle = floor_open(&server);
  const char* name[] = {"uid", nullptr};
  LDAPMessage* page = nullptr;
  const long before = live;
  ldap_search_ext_s(handle, BASE, LDAP_SCOPE_SUBTREE, "(objectClass=inetOrgPerson)",
                    const_cast<char**>(name), 0, nullptr, nullptr, nullptr, server.page, &page);
  const long size = live - before;
  bench::require(ldap_count_entries(handle, page) == server.page, "no page of entries");
  ldap_msgfree(page);
  floor_close(handle);
  return size;
}

}  // namespace

int main(int argc, char** argv) {
  bench::require(argc == 5, "usage: memory PORT PASSWORD-FILE USERS GROUPS");
  const int port = std::atoi(argv[1]);
  const std::string password = firstLine(argv[2]);
  const std::string figure = std::string("memory, ") + argv[3] + " users";
  const long page = onePage(port, password);
  VESK::BvLDAPConnection connection(VESK::BvLDAPConnection::OPENLDAP,
                                    VESK::BvLDAPConnection::SIMPLE);
  bench::require(connection.connect("127.0.0.1", port, ADMIN, password.c_str()) == 0, "no session");
  GroupList groups;
  UserVOList users;
  const long before = live;
  peak = before;
  bench::require(GroupDAO().getAllGroups(&connection, BASE, nullptr, groups) == 0 &&
                     UserDAO().getAllUsers(&connection, BASE, nullptr, users) == 0 &&
                     users.size() == static_cast<unsigned>(std::atoi(argv[3])) &&
                     groups.size() == static_cast<unsigned>(std::atoi(argv[4])),
                 "not everything was listed");
  const double kept = static_cast<double>(live - before);
  const double beyond = static_cast<double>(peak - live);
  bench::report(figure, "one page of 500 entries", static_cast<double>(page) / 1024, "KiB", 1);
  bench::report(figure, "the lists", kept / 1024, "KiB", kept / static_cast<double>(page));
  bench::report(figure, "peak beyond the lists", beyond / 1024, "KiB",
                beyond / static_cast<double>(page));
  return 0;
}
