// Sign-on, reputation and the end-user quarantine.
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_CorsaJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_EuqJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QUORJNI.h"
#include "product/quarantine.h"
#include "support/FileLock.h"
#include "support/Network.h"
#include "support/Server.h"

namespace fs = std::filesystem;

namespace {

// All values, a row a line.
std::string ask(const std::string& file, const std::string& sql) {
  sqlite3* database = nullptr;
  std::string all;
  const auto add = [](void* text, int count, char** values, char**) {
    for (int i = 0; i < count; ++i) {
      *static_cast<std::string*>(text) +=
          values[i] == nullptr ? "NULL " : values[i] + std::string(" ");
    }
    *static_cast<std::string*>(text) += "\n";
    return 0;
  };
  sqlite3_open(file.c_str(), &database);
  sqlite3_busy_timeout(database, 5000);
  if (sqlite3_exec(database, sql.c_str(), add, &all, nullptr) != SQLITE_OK) {
    all += sqlite3_errmsg(database);
  }
  sqlite3_close(database);
  return all;
}

std::string run(const World& world, const Server::Words& command) {
  const std::string output = world.dir.path("output");
  fs::remove(output);
  if (Server::run(command, output) != 0) throw std::runtime_error(World::read(output));
  std::string text = World::read(output);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::vector<EntryPoint> signOnCalls(World& world) {
  const std::string keys = world.dir.path("keys");
  run(world, {"make-signon-session", "--key-pair", keys});
  World::write(World::home() + "/config/SSO_PKI_PublicKey.pem",
               World::read(keys + "/SSO_PKI_PublicKey.pem"));
  World::set("signon", "audience", "gate");
  const std::string database = World::home() + "/data/admin.db";
  fs::create_directories(World::home() + "/data");
  ask(database, World::read(World::home() + "/script/admin.sql") +
                    "INSERT INTO tb_global_setting VALUES ('cmagent', 'a', 'guid-1', 'Guid');");
  // Old enough to be expired by design, so that its age does not change what is answered.
  const Server::Words make = {"make-signon-session", "--guid",     "guid-1", "--key",
                              keys + "/private.pem", "--audience", "gate"};
  const jstring session = world.vm.text(run(world, make));
  const std::string answered = World::home() + "/data/signon";
  return {
      {"CorsaJNI.isSessionFromCORSA",
       CALL(CorsaJNI, isSessionFromCORSA, session),
       {513, -7, -6, -5, -4, -3}},
      {.name = "CorsaJNI.CreateReponse",
       .call = CALL(CorsaJNI, CreateReponse, session),
       .failures = {noText},
       .prepare = [answered] { fs::remove_all(answered); },
       .constant =
           [](const std::string& text) {
             return std::string(text.size() > 20 ? "[][]answer" : text);
           }},
  };
}

std::vector<EntryPoint> reputationCalls(World& world) {
  const int port = freePort(), proxyPort = freePort();
  const auto server = world.start<Server>(), proxy = world.start<Server>();
  const std::string folder = world.dir.path("reputation");
  if (!server->start({"private-reputation", "--dir", folder, "--program",
                      VESK_BINARY_DIR "/bin/reputation-server", std::to_string(port) + "=good"},
                     port, world.dir.path("servers.log")) ||
      !proxy->start(
          {"private-proxy", "--dir", world.dir.path("proxy"), "--port", std::to_string(proxyPort)},
          proxyPort, world.dir.path("servers.log"))) {
    throw std::runtime_error(world.dir.read("servers.log"));
  }
  world.peers = {{"proxy", proxy->pid(), "QUORJNI.quorChkServerStatus, proxy", 4},
                 {"reputation server", server->pid(), "QUORJNI.", 4}};
  World::set("reputation", "ca_file", folder + "/tls/ca.pem");
  const jstring address = world.vm.text("https://127.0.0.1:" + std::to_string(port)),
                host = world.vm.text("127.0.0.1"), none = world.vm.text("");
  std::vector<EntryPoint> all;
  for (const bool through : {false, true}) {
    all.push_back(
        {through ? "QUORJNI.quorChkServerStatus, proxy" : "QUORJNI.quorChkServerStatus",
         CALL(QUORJNI, quorChkServerStatus, address, through, host, proxyPort, none, none),
         {2, 3, 4, 5, 6, 7, 8}});
  }
  return all;
}

std::string storeFile() { return World::home() + "/data/euq/euq.db"; }

// A removal and a transfer end by themselves; nothing else of a job is waited for.
void awaitJobs() {
  while (is_transferring_euq_data() || is_removing_euq_data()) usleep(500);
  constexpr int unused = 9;  // the process that did the job ends after the job
  while (unregist_euq(unused) == EUQ_BUSY) usleep(500);
}

std::function<void()> with(const std::string& sql) {
  return [sql] {
    awaitJobs();
    ask(storeFile(),
        "PRAGMA foreign_keys = ON; DELETE FROM message; DELETE FROM area; UPDATE switch SET value "
        "= 0;" +
            sql);
  };
}

std::string stored() {
  awaitJobs();
  return ask(storeFile(),
             "SELECT name, value FROM switch; SELECT number, name FROM area; "
             "SELECT area, subject FROM message; SELECT count(*) FROM body");
}

const char* const twoAreas = "INSERT INTO area VALUES (1, 'a'), (2, 'b');";
const char* const messages =
    "INSERT INTO area VALUES (1, 'a'), (2, 'b');"
    "INSERT INTO message VALUES (1, 2, 'u@example.com', 's@example.com', 'hello', 1, 5);"
    "INSERT INTO body VALUES (1, 'hello');";

#define EUQ(method) CALL(EuqJNI, method)

std::vector<EntryPoint> quarantineCalls(World& world) {
  if (NATIVE(EuqJNI, init_1euq_1lib)(world.vm.env, nullptr) != 1)
    throw std::runtime_error("no store");
  World::set("euq", "busy_timeout", "1000");
  const jstring name = world.vm.text("scanner");
  const std::set<long> refused = {1, 5, 6};
  const auto on = with("UPDATE switch SET value = 1");
  const auto lock = std::make_shared<FileLock>();
  // As it looks while the job's process works.
  const auto running = [lock](const char* kind, int place) {
    return [=] {
      with(std::string("INSERT OR REPLACE INTO job VALUES ('") + kind +
           "', 1, 1, NULL, 0, 0, NULL, '');")();
      lock->take(World::home() + "/data/euq/job.lock", {0, place});
    };
  };
  const auto ended = [lock] {
    lock->giveBack();
    return std::string();
  };
  // What is fetched once stays the same until the next start.
  JNIEnv* const vm = world.vm.env;
  const auto transferred = [vm] {
    with(messages)();
    if (NATIVE(EuqJNI, transferEuqData)(vm, nullptr, 1) != 0) throw std::runtime_error("no job");
    awaitJobs();
  };
  const auto removed = [vm] {
    with(messages)();
    if (NATIVE(EuqJNI, removeEuqData)(vm, nullptr) != 0) throw std::runtime_error("no job");
    awaitJobs();
  };
  return {
      {"EuqJNI.init_euq_lib", EUQ(init_1euq_1lib), {0}, {1}},
      {"EuqJNI.enableEuq", EUQ(enableEuq), refused, {0}, with(""), stored},
      {"EuqJNI.disableEuq", EUQ(disableEuq), refused, {0}, on, stored},
      {"EuqJNI.restartEuq", EUQ(restartEuq), {1, 5, 7}, {0}, on, stored},
      {"EuqJNI.isEuqEnable", EUQ(isEuqEnable), {0}, {1}, on},
      {"EuqJNI.enableDlMaintain", EUQ(enableDlMaintain), refused, {0}, with(""), stored},
      {"EuqJNI.disableDlMaintain", EUQ(disableDlMaintain), refused, {0}, on, stored},
      {"EuqJNI.isDlMaintainEnable", EUQ(isDlMaintainEnable), {0}, {1}, on},
      {"EuqJNI.registEuq", CALL(EuqJNI, registEuq, name), refused, {0}, with(twoAreas), stored},
      {"EuqJNI.unregistEuq", CALL(EuqJNI, unregistEuq, 2), refused, {0}, with(twoAreas), stored},
      {"EuqJNI.transferEuqData",
       CALL(EuqJNI, transferEuqData, 1),
       refused,
       {0},
       with(messages),
       stored},
      {"EuqJNI.isTransferringEuqData, not running", EUQ(isTransferringEuqData), {}, {0}, with("")},
      {"EuqJNI.isTransferringEuqData",
       EUQ(isTransferringEuqData),
       {0},
       {1},
       running("transfer", 1),
       ended},
      {"EuqJNI.cancelTransferEuqData", EUQ(cancelTransferEuqData), {1, 5}, {8}, with("")},
      {.name = "EuqJNI.getTransferEuqResult",
       .call = EUQ(getTransferEuqResult),
       .failures = {-1},
       .prepare = transferred},
      {.name = "EuqJNI.getTransferEuqResult_s",
       .call = EUQ(getTransferEuqResult_1s),
       .failures = {noText},
       .prepare = transferred},
      {"EuqJNI.removeEuqData", EUQ(removeEuqData), refused, {0}, with(messages), stored},
      {"EuqJNI.isRemovingEuqData, not running", EUQ(isRemovingEuqData), {}, {0}, with("")},
      {"EuqJNI.isRemovingEuqData", EUQ(isRemovingEuqData), {0}, {1}, running("remove", 2), ended},
      {.name = "EuqJNI.getRemoveEuqResult",
       .call = EUQ(getRemoveEuqResult),
       .failures = {-1},
       .prepare = removed},
      {.name = "EuqJNI.getRemoveEuqResult_s",
       .call = EUQ(getRemoveEuqResult_1s),
       .failures = {noText},
       .prepare = removed},
  };
}

}  // namespace

std::vector<EntryPoint> serviceCalls(World& world) {
  std::vector<EntryPoint> all = signOnCalls(world);
  for (EntryPoint& entry : reputationCalls(world)) all.push_back(std::move(entry));
  for (EntryPoint& entry : quarantineCalls(world)) all.push_back(std::move(entry));
  return all;
}
