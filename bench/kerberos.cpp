// A Kerberos bind by the library against plain C, and 16 accounts in 16 threads; a key server and a
// directory server of the program's own.
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Compare.h"
#include "kerberosfloor.h"
#include "product/directory.h"
#include "support/Kdc.h"
#include "support/Slapd.h"

namespace {

using bench::compare;
using bench::require;
using VESK::BvLDAPConnection;

constexpr int ACCOUNTS = 16;
constexpr int BINDS = 8;  // an account

std::string accountOf(int number) {
  return "p000" + std::string(number < 10 ? "0" : "") + std::to_string(number);
}

std::string allAccounts() {
  std::string lines = "ldap/localhost -\n";
  for (int i = 1; i <= ACCOUNTS; ++i) lines += accountOf(i) + " secret-" + accountOf(i) + "\n";
  return lines;
}

void libraryBinds(int port, const std::string& account) {
  BvLDAPConnection connection(BvLDAPConnection::OPENLDAP, BvLDAPConnection::KERBEROS);
  require(connection.connect("localhost", port) == 0 &&
              connection.authenticate(account.c_str(), ("secret-" + account).c_str()) == 0,
          "the library did not bind");
}

void floorBinds(int port, const std::string& account) {
  floor_kerberos_bind(("ldap://localhost:" + std::to_string(port)).c_str(), account.c_str(),
                      ("secret-" + account).c_str());
}

using Bind = void (*)(int port, const std::string& account);

void allInTurn(Bind bind, int port) {
  for (int i = 1; i <= ACCOUNTS; ++i) {
    for (int turn = 0; turn < BINDS; ++turn) bind(port, accountOf(i));
  }
}

void allAtOnce(Bind bind, int port) {
  std::vector<std::thread> threads;
  for (int i = 1; i <= ACCOUNTS; ++i) {
    threads.emplace_back([=] {
      for (int turn = 0; turn < BINDS; ++turn) bind(port, accountOf(i));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

int main() {
  const Kdc kdc(allAccounts());
  const Slapd server({"--kerberos", kdc.keytab(), "--loglevel", "0"});
  setenv("KRB5_CONFIG", kdc.configuration().c_str(), 1);
  const int port = server.port();
  compare("Kerberos bind", 31,
          {{"C floor", [&] { floorBinds(port, "p00001"); }},
           {"library", [&] { libraryBinds(port, "p00001"); }}},
          20);
  compare("128 Kerberos binds, 16 accounts", 11,
          {{"library, one thread", [&] { allInTurn(libraryBinds, port); }},
           {"library, 16 threads", [&] { allAtOnce(libraryBinds, port); }},
           {"C floor, one thread", [&] { allInTurn(floorBinds, port); }},
           {"C floor, 16 threads", [&] { allAtOnce(floorBinds, port); }}});
  return 0;
}
