// Fails the n-th call of a kind that one thread makes of the system.
//
// The program that links this has the C library's functions in its own name, and so in those of
// every library that it loads. Calls are counted and failed only on the thread that holds an Armed,
// and not while it holds a Paused.
#ifndef VESK_TESTS_FAULTS_INTERPOSER_H
#define VESK_TESTS_FAULTS_INTERPOSER_H

#include <cstddef>
#include <string>
#include <vector>

namespace faults {

enum class Kind { memory, open, write, sync, rename, process, connect, receive };
inline constexpr int kindCount = 8;
const char* nameOf(Kind kind);

class Armed {
 public:
  // The n-th call fails, from 1 on; 0 fails none. `onwards`: and every one after it; with 0 the
  // paths are noted, which takes longer than the calls.
  Armed(Kind kind, long n, bool onwards = false);
  ~Armed();
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;

  static long seen();         // calls so far; stays readable after the end
  static bool hit();          // whether one was failed
  static std::string site();  // who called the one that failed
  // Of the last run that noted them: the first call on each path, a path being the return addresses
  // of all functions that led there.
  static const std::vector<long>& paths();
};

// For what the VM does on the bridge's behalf.
class Paused {
 public:
  Paused();
  ~Paused();
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;
};

// Blocks allocated while armed and not freed by now.
long heldBlocks();
// Of those, who allocated the ones since the mark, which is the number of an earlier allocation.
long allocationMark();
std::string holdersSince(long mark);
// How many of them forgetful libraries hold for their own reason, no more than they are known to.
long forgottenSince(long mark);

// A library whose failed allocations are none of ours to survive, and why; or only what is called
// in one function that it exports.
struct Exempt {
  const char* library;
  const char* reason;
  const char* function = nullptr;
};
const std::vector<Exempt>& exemptions();
// Libraries that forget what they allocated when one of their own calls fails later.
struct Forgetful {
  std::vector<const char*> libraries;
  Kind kind;    // of the call that fails
  long blocks;  // at most, of one call
  const char* reason;
};
const std::vector<Forgetful>& forgetful();

}  // namespace faults

#endif
