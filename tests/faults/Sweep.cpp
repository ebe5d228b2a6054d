#include "Sweep.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using faults::Armed;
using faults::Kind;
using Clock = std::chrono::steady_clock;

struct Measure {
  long blocks = 0;
  long references = 0;
  int descriptors = 0;
  int zombies = 0;

  bool any() const { return blocks > 0 || references > 0 || descriptors > 0 || zombies > 0; }
};

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

int openDescriptors() {
  const std::unique_ptr<DIR, CloseFolder> folder(opendir("/proc/self/fd"));
  int count = -1;  // but for the folder's own
  while (readdir(folder.get()) != nullptr) ++count;
  return count;
}

// Children that ended and that nobody asked about; each is counted once.
int newZombies() {
  int count = 0;
  siginfo_t found{};
  while (waitid(P_ALL, 0, &found, WEXITED | WNOHANG) == 0 && found.si_pid != 0) {
    ++count;
    found = {};
  }
  return count;
}

// libcrypto keeps the texts of a thread's last errors.
Measure measure() {
  OPENSSL_thread_stop();
  return {faults::heldBlocks(), Vm::held(), openDescriptors(), newZombies()};
}

struct Outcome {
  long code = 0;
  std::string shown;  // lists and strings
  std::string effect;
  Measure grown;
  bool hit = false;
  bool threw = false;
  long seen = 0;
  std::string site;
  long mark = 0;
  std::chrono::duration<double> time{};

  bool sameAs(const Outcome& other) const { return code == other.code && shown == other.shown; }
};

class Sweep {
 public:
  Sweep(Vm& usedVm, const EntryPoint& entryPoint, Progress& told, bool everyPoint)
      : vm(usedVm), entry(entryPoint), progress(told), all(everyPoint) {}

  void run(Point behind);

 private:
  Outcome callOnce(Kind kind, long n, bool onwards = false);
  void warmUp();
  void sweepKind(Kind kind, const Point& behind);
  std::vector<long> pointsOf(Kind kind);
  void tryPoint(Kind kind, long n, bool onwards = false);
  void judge(Tally& tally, const Outcome& outcome);
  void judgeEffect(Tally& tally, bool success, const Outcome& outcome);
  void judgeLeak(Tally& tally, Kind kind, long n, bool onwards, const Outcome& first);
  Measure excess(const Outcome& outcome) const;
  void expectRecovery(Tally& tally);
  void find(int& counter, const std::string& what);

  Vm& vm;
  const EntryPoint& entry;
  Progress& progress;
  bool all;
  std::string before;  // what is there without the call
  Outcome usual;
  std::set<long> successes;
};

Outcome Sweep::callOnce(Kind kind, long n, bool onwards) {
  entry.prepare();
  jobject first = vm.list();
  jobject second = vm.list();
  vm.env->PushLocalFrame(64);
  Outcome outcome;
  outcome.mark = faults::allocationMark();
  const Measure start = measure();
  Answer answer(jint{0});
  const auto began = Clock::now();
  {
    const Armed armed(kind, n, onwards);
    try {
      answer = entry.call(vm.env, first, second);
    } catch (...) {  // the VM would have ended
      outcome.threw = true;
    }
  }
  outcome.time = Clock::now() - began;
  const Measure end = measure();
  outcome.hit = Armed::hit();
  outcome.seen = Armed::seen();
  if (outcome.hit) outcome.site = Armed::site();
  outcome.grown = {end.blocks - start.blocks, end.references - start.references,
                   end.descriptors - start.descriptors, end.zombies};
  vm.env->ExceptionClear();
  outcome.code = answer.isObject ? codeOf(vm.show(answer.object)) : answer.code;
  outcome.shown = entry.constant(vm.show(first) + vm.show(second) + vm.show(answer.object));
  vm.env->PopLocalFrame(nullptr);
  vm.env->DeleteGlobalRef(first);
  vm.env->DeleteGlobalRef(second);
  outcome.effect = entry.effect();
  return outcome;
}

// Caches are filled by the first calls; the reference is what comes after them.
void Sweep::warmUp() {
  entry.prepare();
  before = entry.effect();
  for (int i = 0; i < 3; ++i) usual = callOnce(Kind::memory, 0);
  successes = entry.successes;
  if (successes.empty()) successes.insert(usual.code);
  const Outcome again = callOnce(Kind::memory, 0);
  if (successes.count(usual.code) == 0 || !again.sameAs(usual) || again.effect != usual.effect) {
    std::fprintf(findings(), "%s: without any fault: %ld %s, then %ld %s\n%s---\n%s",
                 entry.name.c_str(), usual.code, usual.shown.c_str(), again.code,
                 again.shown.c_str(), usual.effect.c_str(), again.effect.c_str());
    ++progress.tally[0].losses;
  }
}

// One call on each path, or the first ones and an even sample of the rest. A call that takes long
// is tried at fewer in a run that is to be short.
std::vector<long> Sweep::pointsOf(Kind kind) {
  const std::vector<long> paths = Armed::paths();
  const auto count = static_cast<long>(paths.size());
  long most = count;
  if (!all) most = std::min(most, std::max(3L, static_cast<long>(0.15 / usual.time.count())));
  const long dense = most < count ? most * 3 / 4 : count;
  const long sparse = most - dense;
  std::vector<long> points(paths.begin(), paths.begin() + dense);
  for (long i = 1; i <= sparse; ++i) {
    points.push_back(paths[static_cast<std::size_t>(dense + (count - dense) * i / sparse - 1)]);
  }
  progress.tally[static_cast<int>(kind)].leftOut += static_cast<int>(count - most);
  return points;
}

void Sweep::sweepKind(Kind kind, const Point& behind) {
  progress.tally[static_cast<int>(kind)].calls += callOnce(kind, 0, true).seen;
  if (behind.number == 0) ++progress.tally[static_cast<int>(kind)].entryPoints;
  const std::vector<long> points = pointsOf(kind);
  for (const long n : points) {
    if (!behind.onwards && n > behind.number) tryPoint(kind, n);
  }
  if (kind != Kind::memory) return;
  // Memory that is short stays short.
  const bool slow = usual.time.count() > 0.02;
  const std::size_t step = all ? 1 : 1 + points.size() / (slow ? 2 : 8);
  for (std::size_t i = 0; i < points.size(); i += step) {
    if (!behind.onwards || points[i] > behind.number) tryPoint(kind, points[i], true);
  }
}

void Sweep::run(Point behind) {
  warmUp();
  for (int kind = behind.kind; kind < faults::kindCount; ++kind) {
    progress.point = {kind, 0, false};
    sweepKind(static_cast<Kind>(kind), kind == behind.kind ? behind : Point{kind, 0, false});
    if (progress.point.number > 0) expectRecovery(progress.tally[kind]);
  }
}

void Sweep::tryPoint(Kind kind, long n, bool onwards) {
  progress.point = {static_cast<int>(kind), n, onwards};
  Tally& tally = progress.tally[static_cast<int>(kind)];
  const Outcome outcome = callOnce(kind, n, onwards);
  if (!outcome.hit) return;
  ++tally.points;
  std::snprintf(progress.what, sizeof progress.what, "%s", outcome.site.c_str());
  judge(tally, outcome);
  judgeLeak(tally, kind, n, onwards, outcome);
  const bool cheap = usual.time.count() < 0.003;
  if (cheap || n % 16 == 0) expectRecovery(tally);
}

void Sweep::judge(Tally& tally, const Outcome& outcome) {
  if (outcome.threw) return find(tally.crashes, "an exception left it");
  const bool success = successes.contains(outcome.code);
  if (success && !outcome.sameAs(usual) && !entry.lesser.contains(outcome.shown)) {
    find(tally.falseSuccesses, "answered " + std::to_string(outcome.code) + " with " +
                                   outcome.shown + " in place of " + usual.shown);
  } else if (!success && !entry.failures.contains(outcome.code)) {
    find(tally.falseSuccesses,
         "answered " + std::to_string(outcome.code) + ", which tells nothing");
  }
  judgeEffect(tally, success, outcome);
}

void Sweep::judgeEffect(Tally& tally, bool success, const Outcome& outcome) {
  const bool nothing = outcome.effect == before;
  if (outcome.effect == usual.effect) return;
  if (success && !(entry.mayDoNothing && nothing)) {
    find(tally.falseSuccesses, "left\n" + outcome.effect + "in place of\n" + usual.effect);
  } else if (entry.allOrNothing && !nothing) {
    find(tally.losses,
         "left\n" + outcome.effect + "which is neither\n" + before + "nor\n" + usual.effect);
  }
}

// What it keeps beyond what it does without a fault and on purpose.
Measure Sweep::excess(const Outcome& outcome) const {
  const auto found = entry.keeping.find(outcome.code);
  const Kept kept = found != entry.keeping.end() ? found->second : Kept{};
  return {outcome.grown.blocks - std::max(0L, usual.grown.blocks) - kept.blocks,
          outcome.grown.references - std::max(0L, usual.grown.references),
          outcome.grown.descriptors - std::max(0, usual.grown.descriptors) - kept.descriptors,
          outcome.grown.zombies};
}

// What is made once, for the first failure of its kind, is no leak: a leak comes back.
void Sweep::judgeLeak(Tally& tally, Kind kind, long n, bool onwards, const Outcome& first) {
  Outcome outcome = first;
  Measure more;
  for (int i = 0; i < 4; ++i) {
    if (i > 0) outcome = callOnce(kind, n, onwards);
    more = excess(outcome);
    more.blocks -= faults::forgottenSince(outcome.mark);
    if (!more.any()) return;
  }
  find(tally.leaks,
       "keeps " + std::to_string(more.blocks) + " blocks, " + std::to_string(more.references) +
           " of the VM's, " + std::to_string(more.descriptors) + " descriptors, " +
           std::to_string(more.zombies) + " zombies more: " + faults::holdersSince(outcome.mark));
}

void Sweep::expectRecovery(Tally& tally) {
  const Outcome outcome = callOnce(Kind::memory, 0);
  if (outcome.sameAs(usual) && outcome.effect == usual.effect) return;
  find(tally.losses, "afterwards answered " + std::to_string(outcome.code) + " with " +
                         outcome.shown + " and left\n" + outcome.effect);
}

void Sweep::find(int& counter, const std::string& what) {
  ++counter;
  std::fprintf(findings(), "%s, %s %ld%s (%s): %s\n", entry.name.c_str(),
               faults::nameOf(static_cast<Kind>(progress.point.kind)), progress.point.number,
               progress.point.onwards ? " and on" : "", progress.what, what.c_str());
}

}  // namespace

std::FILE* findings() {
  static std::FILE* const stream = fdopen(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  setvbuf(stream, nullptr, _IOLBF, 0);
  return stream;
}

long codeOf(const std::string& text) {
  if (text.empty() || text == "null") return noText;
  const std::size_t blank = text.find(' ');
  const bool numbers = text.find_first_not_of("0123456789- ") == std::string::npos;
  return numbers && blank != std::string::npos ? std::stol(text) : 0;
}

void sweep(Vm& vm, const std::vector<EntryPoint>& calls, Progress& progress, bool all) {
  const Point behind = progress.point;
  const int resumed = progress.entry;
  const char* only = std::getenv("VESK_FAULTS_ONLY");
  for (int i = resumed; i < static_cast<int>(calls.size()); ++i) {
    const EntryPoint& entry = calls[static_cast<std::size_t>(i)];
    if (only != nullptr && entry.name.find(only) == std::string::npos) continue;
    progress.entry = i;
    progress.point = i == resumed ? behind : Point{};
    std::snprintf(progress.name, sizeof progress.name, "%s", entry.name.c_str());
    Sweep(vm, entry, progress, all).run(progress.point);
  }
  progress.done = true;
}
