#include <filesystem>

#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_KerberosJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"
#include "support/Kdc.h"
#include "support/Slapd.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* ACCOUNT = "uid=console,ou=people,dc=example,dc=com";
constexpr jint OPENLDAP = 1;
const std::set<long> notAnswered = {200, 201, 205, 206, 207};

// A script that has not changed is not read.
void readScriptAnew() {
  const std::string script = World::home() + "/ldap/openldap/ldapscript.conf";
  fs::last_write_time(script, fs::file_time_type::clock::now());
}

}  // namespace

std::vector<EntryPoint> directoryCalls(World& world) {
  Vm& vm = world.vm;
  const auto realm = world.start<Kdc>("console secret-console\nldap/localhost -\n");
  setenv("KRB5_CONFIG", realm->configuration().c_str(), 1);
  const std::string keytab = realm->keytab();
  const auto slapd = world.start<Slapd>(Slapd::Words{"--memberof", "--tls", "--kerberos", keytab});
  const jint port = slapd->port();
  World::set("LDAP", "connect_timeout", "1");
  World::set("LDAP", "operation_timeout", "1");
  world.peers = {{"key server", realm->pid(), "LdapJNI.checkBaseDN, Kerberos", 1},
                 {"directory", slapd->pid(), "LdapJNI.", 1}};
  World::set("LDAP", "ca_file", slapd->file("tls/ca.pem"));
  const jstring host = vm.text("127.0.0.1"), user = vm.text(ACCOUNT),
                password = vm.text("secret-console"), base = vm.text("dc=example,dc=com");
  const jbyteArray account = vm.bytes(ACCOUNT), secret = vm.bytes("secret-console"),
                   part = vm.bytes("ring-*"), filter = vm.bytes("(uid=ann)"),
                   mail = vm.bytes("mail"), ann = vm.bytes("ringo"), ring = vm.bytes("ring-a"),
                   address = vm.bytes("ann@example.com");
  const jstring login = vm.text("ann");
  const jstring name = vm.text("localhost"), principal = vm.text("console@EXAMPLE.COM");
#define CONNECTION OPENLDAP, 0, host, port, user, password, base
  std::vector<EntryPoint> all = {
      {"LdapJNI.authenticateUTF8",
       CALL(LdapJNI, authenticateUTF8, OPENLDAP, 0, host, port, account, secret),
       {200, 201, 203}},
      {"LdapJNI.directSearchLDAPUTF8",
       CALL(LdapJNI, directSearchLDAPUTF8, CONNECTION, filter, mail, list), notAnswered},
      {"LdapJNI.searchLDAPUTF8", CALL(LdapJNI, searchLDAPUTF8, CONNECTION, part, JNI_FALSE, list),
       notAnswered},
      {"LdapJNI.browseLDAP", CALL(LdapJNI, browseLDAP, CONNECTION, JNI_TRUE, list), notAnswered},
      {"LdapJNI.isLDAPGroupContainAnotherUTF8",
       CALL(LdapJNI, isLDAPGroupContainAnotherUTF8, CONNECTION, ann, ring),
       {200, 201, 204}},
      {"LdapJNI.isAccountExist", CALL(LdapJNI, isAccountExist, CONNECTION, login), {200, 201, 202}},
      {"LdapJNI.getUserByMail",
       CALL(LdapJNI, getUserByMail, CONNECTION, address, nullptr, list),
       notAnswered,
       {0},
       [] {},
       [] { return std::string(); },
       {{205, {24, 1}}}},
      {"LdapJNI.checkBaseDN", CALL(LdapJNI, checkBaseDN, CONNECTION), {200, 201, 208}},
      {"LdapJNI.checkBaseDN, Kerberos",
       CALL(LdapJNI, checkBaseDN, OPENLDAP, 1, name, port, principal, password, base),
       {200, 201, 208}},
      {"LdapJNI.checkBaseDN, StartTLS", CALL(LdapJNI, checkBaseDN, CONNECTION), {200, 201, 208}},
  };
  for (EntryPoint& entry : all) {
    const bool secure = entry.name.find("StartTLS") != std::string::npos;
    entry.prepare = [secure] {
      World::set("LDAP", "security", secure ? "starttls" : "");
      readScriptAnew();
    };
  }
  return all;
}
