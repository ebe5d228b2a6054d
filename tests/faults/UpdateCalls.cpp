#include <filesystem>
#include <stdexcept>

#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_UpdateJNI.h"
#include "support/FileLock.h"
#include "support/Server.h"
#include "support/Web.h"

namespace fs = std::filesystem;

namespace {

void publish(const World& world, const char* version) {
  World::write(world.dir.path("spam/rules"), std::string("rules of ") + version);
  const int status = Server::run(
      {"make-update-source", "--dir", world.dir.path("source"), "--key", world.dir.path("key"),
       std::string("spam-pattern=") + version + "=" + world.dir.path("spam")},
      world.dir.path("publish.log"));
  if (status != 0) throw std::runtime_error(world.dir.read("publish.log"));
}

void copyTree(const std::string& from, const std::string& to) {
  fs::remove_all(to);
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

// The version in use. A change that was decided and not carried out whole is carried out by the
// next call, as far as the one before is concerned.
std::string inUse() {
  return World::read(World::home() + "/data/update/spam-pattern/current/rules") + "\n";
}

// 1.0 in use in one saved state, 2.0 after it in the other.
struct States {
  std::string first, second;
};

States makeStates(World& world) {
  const std::string data = World::home() + "/data/update";
  fs::remove_all(data);
  fs::create_directories(data);
  const States states{world.dir.path("first"), world.dir.path("second")};
  jobject list = world.vm.list();
  const jstring spam = world.vm.text("0010000000");
  for (const auto& [version, state] : {std::pair("1.0", states.first), {"2.0", states.second}}) {
    publish(world, version);
    const jint code = NATIVE(UpdateJNI, manualUpdate)(world.vm.env, nullptr, 1, spam, list);
    if (code != 0) throw std::runtime_error("no update: " + std::to_string(code));
    copyTree(data, state);
  }
  return states;
}

std::vector<EntryPoint> cipherCalls(World& world) {
  Vm& vm = world.vm;
  const jstring plain = vm.text("secret of the console");
  jobject texts = vm.list();
  NATIVE(UpdateJNI, getEncryptStr)(vm.env, nullptr, plain, texts);
  const std::string listed = vm.show(texts);
  const jstring secret = vm.text(listed.substr(1, listed.size() - 2));
  const std::string keyFile = World::home() + "/config/cipher.key";
  const std::string key = World::read(keyFile);
  // The same text looks different each time.
  const auto decrypted = [&vm](const std::string& text) {
    const std::size_t end = text.find(']');
    if (end <= 1) return text;
    jobject list = vm.list();
    jstring part = vm.text(text.substr(1, end - 1));
    NATIVE(UpdateJNI, getDecryptStr)(vm.env, nullptr, part, list);
    const std::string shown = vm.show(list);
    vm.env->DeleteGlobalRef(list);
    vm.env->DeleteGlobalRef(part);
    return shown + text.substr(end + 1);
  };
  return {{.name = "UpdateJNI.getEncryptStr",
           .call = CALL(UpdateJNI, getEncryptStr, plain, list),
           .failures = {500},
           .effect = [keyFile] { return World::read(keyFile); },
           .lesser = {"[][]null"},
           .constant = decrypted},
          {.name = "UpdateJNI.getEncryptStr, first",
           .call = CALL(UpdateJNI, getEncryptStr, plain, list),
           .failures = {500},
           .prepare = [keyFile] { fs::remove(keyFile); },
           .effect = [keyFile] { return std::to_string(World::read(keyFile).size()); },
           .lesser = {"[][]null"},
           .mayDoNothing = true,
           .constant = decrypted},
          {.name = "UpdateJNI.getDecryptStr",
           .call = CALL(UpdateJNI, getDecryptStr, secret, list),
           .failures = {500},
           .prepare =
               [=] {
                 World::write(keyFile, key);
                 fs::permissions(keyFile, fs::perms(0600));
               },
           .lesser = {"[][]null"}}};
}

}  // namespace

std::vector<EntryPoint> updateCalls(World& world) {
  Vm& vm = world.vm;
  const std::string data = World::home() + "/data/update";
  fs::create_directories(world.dir.path("source"));
  const auto web = world.start<Web>(world.dir.path("source"));
  world.peers = {{"update source", web->pid(), "UpdateJNI.getAvail", 3},
                 {"update source", web->pid(), "UpdateJNI.manual", 3}};
  World::set("update", "connect_timeout", "1");
  World::set("update", "stall_timeout", "1");
  World::set("update", "source", web->url());
  World::set("update", "ca_file", web->authority());
  World::set("update", "key_file", world.dir.path("key.pub"));
  const States states = makeStates(world);
  const auto restoreFirst = [=] { copyTree(states.first, data); };
  const auto restoreSecond = [=] { copyTree(states.second, data); };
  const jstring spam = vm.text("0010000000");
  const auto running = std::make_shared<FileLock>();
  std::vector<EntryPoint> all = cipherCalls(world);
  std::vector<EntryPoint> versions = {
      {"UpdateJNI.isRunning, not running", CALL(UpdateJNI, isRunning), {}, {601}},
      {"UpdateJNI.isRunning",
       CALL(UpdateJNI, isRunning),
       {601},
       {0},
       [running, data] {
         running->take(data + "/lock", {0, 1});
         running->write("spam-pattern");
       },
       [running] {
         running->giveBack();
         return std::string();
       }},
      {.name = "UpdateJNI.getAvailVersion",
       .call = CALL(UpdateJNI, getAvailVersion, list, other),
       .failures = {500},
       .lesser = {"[][]null"}},  // a source that cannot be read has no versions
      {"UpdateJNI.getCurrentVersion",
       CALL(UpdateJNI, getCurrentVersion, list, other),
       {500},
       {0},
       restoreSecond,
       [] { return std::string(); },
       {},
       {"[, , , , , , , , , ][virus-pattern, spyware-pattern, spam-pattern, phishing-pattern, "
        "exploit-pattern, virus-engine, spam-engine, file-type-rules, content-dictionary, "
        "reputation-rules]null"}},
      {"UpdateJNI.manualUpdate",
       CALL(UpdateJNI, manualUpdate, 1, spam, list),
       {500},
       {0},
       restoreFirst,
       inUse},
      {"UpdateJNI.rollback",
       CALL(UpdateJNI, rollback, 1, spam, list),
       {500},
       {0},
       restoreSecond,
       inUse},
  };
  for (EntryPoint& entry : versions) all.push_back(std::move(entry));
  return all;
}
