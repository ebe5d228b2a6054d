// Servers that stand still, and that die, in the middle of a call.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

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
    // What it was asked meanwhile comes first.
    for (const auto end = Clock::now() + 10s; Clock::now() < end;) {
      if (entry.successes.count(ask(world, entry).code) != 0) return;
    }
    find(tally.losses, "is back", 0, 10s);
  }

  void die() {
    stop();
    std::thread killer([this] {
      std::this_thread::sleep_for(200ms);
      kill(peer.process, SIGKILL);
    });
    expectFailure(ask(world, entry), "dies");
    killer.join();
    expectFailure(ask(world, entry), "is gone");
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
  for (const bool last : {false, true}) {
    for (const World::Peer& peer : world.peers) {
      for (const EntryPoint& entry : calls) {
        if (!entry.name.starts_with(peer.calls)) continue;
        Freezing freezing(world, peer, entry, tally);
        ++progress.entry;
        last ? freezing.die() : freezing.standStill();
        if (last) break;
      }
    }
  }
  progress.done = true;
}
