// Every entry point, with each of the system's calls that it makes failed in turn. A process of its
// own does the work, so that one that dies is counted like any other finding. Runs in the sandbox:
// ./vesk faults, or tools/sandbox with this program.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>

#include "World.h"

namespace {

struct Group {
  const char* name;
  Family family;
};

// Those with servers come first: what the others leave of the machine's names and addresses keeps a
// directory from starting.
constexpr Group groups[] = {
    {"Directory", directoryCalls}, {"Agents", agentCalls}, {"Update", updateCalls},
    {"Services", serviceCalls},    {"Host", hostCalls},    {"Wizard", wizardCalls},
};
constexpr int withServers = 4;

// What one point may take: the longest time limit of a server, and a slow machine.
constexpr int patience = 90;  // seconds

Tally totals[faults::kindCount];

Progress* sharedProgress() {
  void* memory =
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return new (memory) Progress;
}

bool inSandbox() {
  std::ifstream first("/proc/1/cmdline");
  const std::string words{std::istreambuf_iterator<char>(first), {}};
  return words.find("/tools/sandbox.d/inside") != std::string::npos;
}

bool everyPoint() { return std::getenv("VESK_FAULTS_ALL") != nullptr; }

// Ends its servers as well: they die with it.
[[noreturn]] void work(Family family, Progress& progress, bool frozen) noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  findings();
  if (std::getenv("VESK_FAULTS_TRACE") == nullptr) {
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    close(nothing);
  }
  {
    World world;
    const std::vector<EntryPoint> calls = family(world);
    if (frozen) {
      freeze(world, calls, progress);
    } else {
      sweep(world.vm, calls, progress, everyPoint());
    }
  }
  std::_Exit(0);
}

// Whether it came to its end; one that stands still is ended.
bool watch(pid_t worker, const Progress& progress) {
  int status = 0;
  int still = 0;
  long last = -1;
  while (waitpid(worker, &status, WNOHANG) == 0) {
    usleep(20'000);
    const long now =
        progress.entry * 100'000L + progress.point.kind * 10'000 + progress.point.number;
    still = now == last ? still + 1 : 0;
    last = now;
    if (still > patience * 50) kill(worker, SIGKILL);
  }
  return progress.done && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void sweepGroup(Family family, Progress& progress) {
  for (int deaths = 0; deaths < 200; ++deaths) {
    const pid_t worker = fork();
    if (worker == 0) work(family, progress, false);
    if (watch(worker, progress)) return;
    const Point& point = progress.point;
    ++progress.tally[point.kind].crashes;
    std::fprintf(stderr, "%s, %s %ld%s: the process died or stood still\n", progress.name,
                 faults::nameOf(static_cast<faults::Kind>(point.kind)), point.number,
                 point.onwards ? " and on" : "");
    if (point.number == 0) return;  // not even the call without a fault
  }
}

class Frozen : public testing::TestWithParam<Group> {};

TEST_P(Frozen, ServerIsWaitedForNoLongerThanItsLimit) {
  Progress* progress = sharedProgress();
  const pid_t worker = fork();
  if (worker == 0) work(GetParam().family, *progress, true);
  EXPECT_TRUE(watch(worker, *progress));
  const Tally& tally = progress->tally[static_cast<int>(faults::Kind::receive)];
  // A name chosen by hand may need no server.
  EXPECT_TRUE(tally.points > 0 || std::getenv("VESK_FAULTS_ONLY") != nullptr);
  EXPECT_EQ(0, tally.crashes) << "waited too long";
  EXPECT_EQ(0, tally.falseSuccesses);
  EXPECT_EQ(0, tally.losses) << "did not work when the server was back";
  std::printf("%d calls with a server that stood still or died\n", tally.points);
}

class Faults : public testing::TestWithParam<Group> {};

TEST_P(Faults, NoneCrashesLiesLosesOrLeaks) {
  Progress* progress = sharedProgress();
  sweepGroup(GetParam().family, *progress);
  for (int kind = 0; kind < faults::kindCount; ++kind) {
    const Tally& tally = progress->tally[kind];
    Tally& total = totals[kind];
    const char* name = faults::nameOf(static_cast<faults::Kind>(kind));
    EXPECT_EQ(0, tally.crashes) << name;
    EXPECT_EQ(0, tally.falseSuccesses) << name;
    EXPECT_EQ(0, tally.losses) << name;
    EXPECT_EQ(0, tally.leaks) << name;
    total.entryPoints += tally.entryPoints;
    total.calls += tally.calls;
    total.points += tally.points;
    total.leftOut += tally.leftOut;
    total.crashes += tally.crashes;
    total.falseSuccesses += tally.falseSuccesses;
    total.losses += tally.losses;
    total.leaks += tally.leaks;
  }
  EXPECT_TRUE(progress->done);
}

INSTANTIATE_TEST_SUITE_P(Servers, Frozen, testing::ValuesIn(groups, groups + withServers),
                         [](const auto& group) { return std::string(group.param.name); });

INSTANTIATE_TEST_SUITE_P(EntryPoints, Faults, testing::ValuesIn(groups),
                         [](const auto& group) { return std::string(group.param.name); });

void printTable() {
  std::printf("%-8s %7s %8s %7s %9s %8s %6s %7s %6s\n", "fails", "methods", "calls", "points",
              "left out", "crashes", "false", "losses", "leaks");
  for (int kind = 0; kind < faults::kindCount; ++kind) {
    const Tally& t = totals[kind];
    std::printf("%-8s %7d %8ld %7d %9d %8d %6d %7d %6d\n",
                faults::nameOf(static_cast<faults::Kind>(kind)), t.entryPoints, t.calls, t.points,
                t.leftOut, t.crashes, t.falseSuccesses, t.losses, t.leaks);
  }
  for (const faults::Exempt& exempt : faults::exemptions()) {
    std::printf("not failed: malloc of %s%s%s, which %s\n", exempt.library,
                exempt.function != nullptr ? " in " : "",
                exempt.function != nullptr ? exempt.function : "", exempt.reason);
  }
  for (const faults::Forgetful& one : faults::forgetful()) {
    std::printf("not counted: up to %ld blocks of %s when its own %s fails: it %s\n", one.blocks,
                one.libraries.front(), faults::nameOf(one.kind), one.reason);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!inSandbox()) {
    std::fprintf(stderr, "faults_test changes the machine; run it by tools/sandbox\n");
    return 125;
  }
  const int status = RUN_ALL_TESTS();
  printTable();
  return status;
}
