// Postfix, backup, policy, addresses and processes: what needs no server.
#include <cstdlib>
#include <filesystem>

#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_BackupJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_DbMaintainJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_KerberosJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_LdapJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PolicyJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemJNI.h"

namespace {

const std::set<long> notAsked = {101, 102};  // a question to a command
const std::set<long> notRun = {101};         // without its status
const std::set<long> noScript = {255};

std::string counted(const std::string& text) {
  return std::string(1, '\0') + char(text.size()) + text;
}

// An entry of a key table; its version is its time as well.
std::string keyOf(const std::string& host, char version) {
  using namespace std::string_literals;
  const std::string entry = "\0\2"s + counted("EXAMPLE.COM") + counted("HTTP") + counted(host) +
                            "\0\0\0\3\0\0\0"s + version + version + "\0\x12"s +
                            counted(std::string(32, 'k'));
  return "\0\0\0"s + char(entry.size()) + entry;
}

void makeCertificate(const std::string& path) {
  const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=gate -keyout " +
                              path + ".key -out " + path + " 2>" + path + ".log";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("no certificate");
}

std::vector<EntryPoint> postfixCalls(World& world) {
  Vm& vm = world.vm;
  const std::string folder = world.dir.path("postfix");
  World::write(folder + "/rules", "10.1.0.0/16 REJECT\n172.16.8.0/23 450 later\n192.168.1.5 OK\n");
  makeCertificate(folder + "/gate.pem");
  const jstring key = vm.text("message_size_limit"), changed = vm.text("smtpd_banner"),
                value = vm.text(std::string(520, 'b')), certificate = vm.text(folder + "/gate.pem"),
                rules = vm.text(folder + "/rules"), table = vm.text(folder + "/table"),
                map = vm.text(folder + "/map");
  const auto mainCf = [] { return World::read("/etc/postfix/main.cf"); };
  const std::string original = mainCf();
  return {
      {.name = "PostfixJNI.postfixReload",
       .call = CALL(PostfixJNI, postfixReload),
       .failures = notRun},
      {"PostfixJNI.isPostfixExist", CALL(PostfixJNI, isPostfixExist), notAsked},
      {.name = "PostfixJNI.postmap",
       .call = CALL(PostfixJNI, postmap, map),
       .failures = notRun,
       .prepare =
           [folder] {
             World::write(folder + "/map", "10.1\tREJECT\n");
             std::filesystem::remove(folder + "/map.db");
           },
       .effect = [folder] { return std::to_string(std::filesystem::exists(folder + "/map.db")); },
       .mayDoNothing = true},
      {"PostfixJNI.isKeyConfigured", CALL(PostfixJNI, isKeyConfigured, key), notAsked},
      {"PostfixJNI.getPostconf", CALL(PostfixJNI, getPostconf, key, list), notAsked},
      {.name = "PostfixJNI.setPostconf",
       .call = CALL(PostfixJNI, setPostconf, changed, value),
       .failures = {100},
       .prepare = [original] { World::write("/etc/postfix/main.cf", original); },
       .effect = mainCf,
       .mayDoNothing = true},
      {"PostfixJNI.exportPEMFile", CALL(PostfixJNI, exportPEMFile, key, key, key, key, key)},
      {"PostfixJNI.getPEMFile", CALL(PostfixJNI, getPEMFile, key, key, key)},
      {"PostfixJNI.checkPEMFormat",
       CALL(PostfixJNI, checkPEMFormat, certificate, JNI_FALSE),
       {105}},
      {"PostfixJNI.composeClientRestrictionFile",
       CALL(PostfixJNI, composeClientRestrictionFile, rules, table),
       {104},
       {0},
       [folder] { World::write(folder + "/table", "old table\n"); },
       [folder] { return World::read(folder + "/table") + World::namesOf(folder); },
       {{104, {1, 1}}}},
  };
}

std::vector<EntryPoint> otherCalls(World& world) {
  Vm& vm = world.vm;
  const std::string file = world.dir.path("saved.tgz"), queue = world.dir.path("queue");
  World::write(queue + "/.keep", "");
  World::set("general", "queue_notify", queue);
  World::set("General-Notification", "Administrator", "Ann Lee <ann@example.com>; bob@example.org");
  const std::string keytab = world.dir.path("key.tab");
  World::write(keytab, std::string("\5\2") + keyOf("old.example.com", '\1') +
                           keyOf("gate.example.com", '\2'));
  const jstring saved = vm.text(file), policy = vm.text("policy"), all = vm.text("all"),
                open = vm.text("(invoice AND " + std::string(520, 'x')),
                words = vm.text("(invoice OR \"bill of *\") AND NOT /acc(ount|t)\\s*\\d{4,}/"),
                address = vm.text("2001:0DB8:0:0:A:0:0:1"), net = vm.text("2001:DB8::1/32"),
                keys = vm.text(keytab);
  return {
      {"BackupJNI.doExport", CALL(BackupJNI, doExport, saved), noScript},
      {"BackupJNI.doImport", CALL(BackupJNI, doImport, saved, policy), noScript},
      {"DbMaintainJNI.SaveSched", CALL(DbMaintainJNI, SaveSched)},
      {"SystemJNI.processRunning", CALL(SystemJNI, processRunning, 1)},
      {"SystemJNI.getPID", CALL(SystemJNI, getPID), {}, {getpid()}},
      {"PolicyJNI.notifyUpdatePolicyNow",
       CALL(PolicyJNI, notifyUpdatePolicyNow, all, all, all),
       {-1}},
      {"PolicyJNI.validateKeyword", CALL(PolicyJNI, validateKeyword, words), {516}},
      {"PolicyJNI.validateKeyword, a wrong one", CALL(PolicyJNI, validateKeyword, open), {}, {516}},
      {"IPv6JNI.formatIPv6Addr", CALL(IPv6JNI, formatIPv6Addr, address), {noText}},
      {"IPv6JNI.formatIPv6WithMask", CALL(IPv6JNI, formatIPv6WithMask, net), {noText}},
      {.name = "KerberosJNI.getSpnFromKeytab",
       .call = CALL(KerberosJNI, getSpnFromKeytab, keys, list),
       .failures = {501},
       .lesser = {"[][]null"}},
      {.name = "LdapJNI.notifyLdapCacheSyncFail",
       .call = CALL(LdapJNI, notifyLdapCacheSyncFail),
       .failures = {-1},
       .prepare =
           [queue] {
             std::filesystem::remove_all(queue);
             std::filesystem::create_directories(queue);
           },
       .effect = [queue] { return World::namesOf(queue); },
       .mayDoNothing = true},
  };
}

}  // namespace

std::vector<EntryPoint> hostCalls(World& world) {
  std::vector<EntryPoint> all = postfixCalls(world);
  for (EntryPoint& entry : otherCalls(world)) all.push_back(std::move(entry));
  return all;
}
