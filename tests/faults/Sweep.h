// Calls an entry point once for each fault that can happen to it, and looks at what is left.
#ifndef VESK_TESTS_FAULTS_SWEEP_H
#define VESK_TESTS_FAULTS_SWEEP_H

#include <jni.h>

#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Interposer.h"
#include "Vm.h"

struct Answer {
  Answer(jint value) : code(value) {}
  Answer(jboolean value) : code(value) {}
  Answer(jobject value) : object(value), isObject(true) {}
  long code = 0;
  jobject object = nullptr;
  bool isObject = false;
};

// The code of a string is whether there is any, of an int[] its first number.
inline constexpr long noText = -1;
long codeOf(const std::string& shown);

// What a call keeps on purpose: docs/architecture.md.
struct Kept {
  long blocks = 0;
  int descriptors = 0;
};

struct EntryPoint {
  std::string name;
  std::function<Answer(JNIEnv* env, jobject first, jobject second)> call;  // two empty lists
  std::set<long> failures{};  // the codes that a fault may end in
  // Empty stands for whatever comes without a fault.
  std::set<long> successes{0};  // those that promise the same list and effect as without a fault
  std::function<void()> prepare = [] {};
  std::function<std::string()> effect = [] { return std::string(); };
  std::map<long, Kept> keeping{};  // at most that much, when the call ends in that code
  // Where no code tells: what a success shows besides, nothing in place of something.
  std::set<std::string> lesser{};
  bool mayDoNothing = false;  // a success may leave things as they were
  bool allOrNothing = true;   // what failed half way leaves no trace
  // What of the texts is the same each time.
  std::function<std::string(const std::string&)> constant = [](const std::string& text) {
    return text;
  };
};

// Counted for each kind of fault; shared with the process that started this one.
struct Tally {
  int entryPoints = 0;
  int points = 0;
  long calls = 0;   // without a fault
  int leftOut = 0;  // paths that a sample did not take
  int crashes = 0;
  int falseSuccesses = 0;
  int losses = 0;
  int leaks = 0;
};

struct Point {
  int kind = 0;
  long number = 0;
  bool onwards = false;
};

struct Progress {
  Tally tally[faults::kindCount];
  // What is at work.
  int entry = 0;
  Point point;
  char name[80] = {};
  char what[160] = {};
  bool done = false;
};

// Where findings are told: the outputs themselves belong to the commands that are run.
std::FILE* findings();

// Goes on behind the point that `progress` names. Every finding is a line.
void sweep(Vm& vm, const std::vector<EntryPoint>& calls, Progress& progress, bool all);

#endif
