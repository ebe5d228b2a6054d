// A program of the console's that asks the bridge for its version, and a product library for a
// name.
#include <VeskVer.h>
#include <product/directory.h>

#include <cstdio>

int main() {
  using VESK::BvLDAPAbstractConnection;
  std::printf("%s, %s\n", GetVeskVersionStr(),
              BvLDAPAbstractConnection::getLdapVendorName(BvLDAPAbstractConnection::LDAPVendor{1}));
}
