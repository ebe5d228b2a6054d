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
  const jstring key = vm.text("message_size_limit"), value = vm.text("1048576"),
                certificate = vm.text(folder + "/gate.pem"), rules = vm.text(folder + "/rules"),
                table = vm.text(folder + "/table"), map = vm.text(folder + "/map");
  const auto mainCf = [] { return World::read("/etc/postfix/main.cf"); };
  const std::string original = mainCf();
  return {
      {.name = "PostfixJNI.postfixReload",
       .call = [](JNIEnv* env, jobject,
                  jobject) { return NATIVE(PostfixJNI, postfixReload)(env, nullptr); },
       .failures = notRun},
      {"PostfixJNI.isPostfixExist",
       [](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, isPostfixExist)(env, nullptr);
       },
       notAsked},
      {.name = "PostfixJNI.postmap",
       .call = [=](JNIEnv* env, jobject,
                   jobject) { return NATIVE(PostfixJNI, postmap)(env, nullptr, map); },
       .failures = notRun,
       .prepare =
           [folder] {
             World::write(folder + "/map", "10.1\tREJECT\n");
             std::filesystem::remove(folder + "/map.db");
           },
       .effect = [folder] { return std::to_string(std::filesystem::exists(folder + "/map.db")); },
       .mayDoNothing = true},
      {"PostfixJNI.isKeyConfigured",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, isKeyConfigured)(env, nullptr, key);
       },
       notAsked},
      {"PostfixJNI.getPostconf",
       [=](JNIEnv* env, jobject list, jobject) {
         return NATIVE(PostfixJNI, getPostconf)(env, nullptr, key, list);
       },
       notAsked},
      {.name = "PostfixJNI.setPostconf",
       .call = [=](JNIEnv* env, jobject,
                   jobject) { return NATIVE(PostfixJNI, setPostconf)(env, nullptr, key, value); },
       .failures = notRun,
       .prepare = [original] { World::write("/etc/postfix/main.cf", original); },
       .effect = mainCf,
       .mayDoNothing = true},
      {"PostfixJNI.exportPEMFile",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, exportPEMFile)(env, nullptr, key, key, key, key, key);
       }},
      {"PostfixJNI.getPEMFile",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, getPEMFile)(env, nullptr, key, key, key);
       }},
      {"PostfixJNI.checkPEMFormat",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, checkPEMFormat)(env, nullptr, certificate, JNI_FALSE);
       },
       {105}},
      {"PostfixJNI.composeClientRestrictionFile",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PostfixJNI, composeClientRestrictionFile)(env, nullptr, rules, table);
       },
       {104},
       {0},
       [folder] { World::write(folder + "/table", "old table\n"); },
       [folder] { return World::read(folder + "/table") + World::namesOf(folder); },
       {},
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
                words = vm.text("(invoice OR \"bill of *\") AND NOT /acc(ount|t)\\s*\\d{4,}/"),
                address = vm.text("2001:0DB8:0:0:A:0:0:1"), net = vm.text("2001:DB8::1/32"),
                keys = vm.text(keytab);
  return {
      {"BackupJNI.doExport",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(BackupJNI, doExport)(env, nullptr, saved);
       },
       noScript},
      {"BackupJNI.doImport",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(BackupJNI, doImport)(env, nullptr, saved, policy);
       },
       noScript},
      {"DbMaintainJNI.SaveSched",
       [](JNIEnv* env, jobject, jobject) {
         return NATIVE(DbMaintainJNI, SaveSched)(env, nullptr);
       }},
      {"SystemJNI.processRunning",
       [](JNIEnv* env, jobject, jobject) {
         return NATIVE(SystemJNI, processRunning)(env, nullptr, 1);
       }},
      {"SystemJNI.getPID",
       [](JNIEnv* env, jobject, jobject) { return NATIVE(SystemJNI, getPID)(env, nullptr); },
       {},
       {getpid()}},
      {"PolicyJNI.notifyUpdatePolicyNow",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PolicyJNI, notifyUpdatePolicyNow)(env, nullptr, all, all, all);
       },
       {-1}},
      {"PolicyJNI.validateKeyword",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(PolicyJNI, validateKeyword)(env, nullptr, words);
       },
       {516}},
      {"IPv6JNI.formatIPv6Addr",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(IPv6JNI, formatIPv6Addr)(env, nullptr, address);
       },
       {noText}},
      {"IPv6JNI.formatIPv6WithMask",
       [=](JNIEnv* env, jobject, jobject) {
         return NATIVE(IPv6JNI, formatIPv6WithMask)(env, nullptr, net);
       },
       {noText}},
      {.name = "KerberosJNI.getSpnFromKeytab",
       .call =
           [=](JNIEnv* env, jobject list, jobject) {
             return NATIVE(KerberosJNI, getSpnFromKeytab)(env, nullptr, keys, list);
           },
       .failures = {501},
       .lesser = {"[][]null"}},
      {.name = "LdapJNI.notifyLdapCacheSyncFail",
       .call = [](JNIEnv* env, jobject,
                  jobject) { return NATIVE(LdapJNI, notifyLdapCacheSyncFail)(env, nullptr); },
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
