// An appliance to fail in: its install root, settings and servers. In the sandbox only.
#ifndef VESK_TESTS_FAULTS_WORLD_H
#define VESK_TESTS_FAULTS_WORLD_H

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "Sweep.h"
#include "Vm.h"
#include "support/TempDir.h"

#define NATIVE(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method
// An entry point's call; the words behind its name are its arguments, with `list` and `other` for
// the two lists.
#define CALL(peer, method, ...)                                                     \
  [=](JNIEnv* env, [[maybe_unused]] jobject list, [[maybe_unused]] jobject other) { \
    return NATIVE(peer, method)(env, nullptr __VA_OPT__(, ) __VA_ARGS__);           \
  }

struct World {
  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  static void set(const char* section, const char* key, const std::string& value);
  static std::string get(const char* section, const char* key);
  static const std::string& home();
  // Contents of the files of a folder and its subfolders, a line each; links with what they name.
  // Without locks.
  static std::string filesOf(const std::string& folder);
  // Endings and sizes of the files of a folder.
  static std::string namesOf(const std::string& folder);
  static std::string read(const std::string& path);
  static void write(const std::string& path, const std::string& text);

  Vm vm;
  TempDir dir;
  std::vector<std::shared_ptr<void>> servers;  // as long as the world

  // A server's process, and the beginning of the names of those who ask it.
  struct Peer {
    const char* name;
    pid_t process;
    const char* calls;
    int limit;  // seconds that a call may take when it does not answer
  };
  std::vector<Peer> peers;

  template <typename Server, typename... Arguments>
  std::shared_ptr<Server> start(Arguments&&... arguments) {
    auto server = std::make_shared<Server>(std::forward<Arguments>(arguments)...);
    servers.push_back(server);
    return server;
  }
};

// Each server stands still, and dies and is started again, while each of its callers waits for it.
void freeze(World& world, const std::vector<EntryPoint>& calls, Progress& progress);

// The entry points of some peer classes, with the servers that they need.
using Family = std::vector<EntryPoint> (*)(World& world);
std::vector<EntryPoint> directoryCalls(World& world);
std::vector<EntryPoint> agentCalls(World& world);
std::vector<EntryPoint> wizardCalls(World& world);
std::vector<EntryPoint> hostCalls(World& world);
std::vector<EntryPoint> updateCalls(World& world);
std::vector<EntryPoint> serviceCalls(World& world);

#endif
