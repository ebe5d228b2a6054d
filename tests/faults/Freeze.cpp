// Servers that stand still, and that die, in the middle of a call.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Revival.h"
#include "World.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// A machine that is busy with other things.
constexpr auto slack = 4s;

struct Asked {
  long code;
  std::string shown;
  Clock::duration time;
};

Asked ask(World& world, const EntryPoint& entry) {
  JNIEnv* env = world.vm.env;
  entry.prepare();
  env->PushLocalFrame(64);
  const auto start = Clock::now();
  jobject first = world.vm.list();
  jobject second = world.vm.list();
  const Answer answer = entry.call(env, first, second);
  const auto time = Clock::now() - start;
  const std::string object = world.vm.show(answer.object);
  const long code = answer.isObject ? codeOf(object) : answer.code;
  const std::string shown = entry.constant(world.vm.show(first) + world.vm.show(second) + object);
  env->PopLocalFrame(nullptr);
  env->DeleteGlobalRef(first);
  env->DeleteGlobalRef(second);
  return {code, shown, time};
}

class Freezing {
 public:
  Freezing(World& where, const World::Peer& server, const EntryPoint& caller, Tally& result)
      : world(where), peer(server), entry(caller), tally(result) {}

  void standStill() {
    stop();
    expectFailure(ask(world, entry), "stands still");
    kill(peer.process, SIGCONT);
    expectRecovery();  // what it was asked meanwhile comes first
  }

  void die() {
    expectRecovery();  // from the caller before
    const Recipe recipe(peer.process);
    stop();
    std::thread killer([this] {
      std::this_thread::sleep_for(200ms);
      kill(peer.process, SIGKILL);
    });
    expectFailure(ask(world, entry), "dies");
    killer.join();
    expectFailure(ask(world, entry), "is gone");
    revive(recipe);
    expectRecovery();
  }

 private:
  // Its threads stop one by one.
  void stop() {
    kill(peer.process, SIGSTOP);
    const std::string tasks = "/proc/" + std::to_string(peer.process) + "/task";
    for (const auto end = Clock::now() + 2s; Clock::now() < end; std::this_thread::sleep_for(2ms)) {
      bool all = true;
      for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        const std::string status = World::read(task.path() / "stat");
        all = all && status.find(") T ") != std::string::npos;
      }
      if (all) return;
    }
  }

  // Whoever else asks it finds the new one.
  void revive(const Recipe& recipe) {
    const pid_t dead = peer.process;
    const pid_t alive = recipe.start();
    world.start<Revived>(alive);
    for (World::Peer& each : world.peers) {
      if (each.process == dead) each.process = alive;
    }
  }

  void expectRecovery() {
    for (const auto end = Clock::now() + 10s; Clock::now() < end;) {
      const Asked asked = ask(world, entry);
      if (entry.successes.contains(asked.code) && !entry.lesser.contains(asked.shown)) return;
    }
    find(tally.losses, "is back", 0, 10s);
  }

  void expectFailure(const Asked& asked, const char* what) {
    ++tally.points;
    if (asked.time > std::chrono::seconds(peer.limit) + slack) {
      find(tally.crashes, what, asked.code, asked.time);
    }
    const bool silent = entry.failures.empty() && entry.lesser.empty();
    if (!silent && !entry.failures.contains(asked.code) && !entry.lesser.contains(asked.shown)) {
      find(tally.falseSuccesses, what, asked.code, asked.time);
    }
  }
  void find(int& counter, const char* what, long code, Clock::duration time) {
    ++counter;
    const std::chrono::duration<double> seconds = time;
    std::fprintf(findings(), "%s, when the %s %s: %ld after %.1f s\n", entry.name.c_str(),
                 peer.name, what, code, seconds.count());
  }

  World& world;
  const World::Peer& peer;
  const EntryPoint& entry;
  Tally& tally;
};

}  // namespace

void freeze(World& world, const std::vector<EntryPoint>& calls, Progress& progress) {
  Tally& tally = progress.tally[static_cast<int>(faults::Kind::receive)];
  const char* only = std::getenv("VESK_FAULTS_ONLY");
  for (const bool dies : {false, true}) {
    for (const World::Peer& peer : world.peers) {
      for (const EntryPoint& entry : calls) {
        if (!entry.name.starts_with(peer.calls)) continue;
        if (only != nullptr && entry.name.find(only) == std::string::npos) continue;
        Freezing freezing(world, peer, entry, tally);
        ++progress.entry;
        dies ? freezing.die() : freezing.standStill();
      }
    }
  }
  progress.done = true;
}
