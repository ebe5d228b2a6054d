// The time that one call may take in all, however many requests it makes.
#ifndef VESK_DIRECTORY_TIME_BUDGET_H
#define VESK_DIRECTORY_TIME_BUDGET_H

#include <sys/time.h>

#include <algorithm>
#include <chrono>

namespace VESK::directory {

using Clock = std::chrono::steady_clock;
using Millis = std::chrono::milliseconds;

inline Millis remaining(Clock::time_point deadline) {
  return std::max(Millis(0), std::chrono::ceil<Millis>(deadline - Clock::now()));
}

// Budgets of one thread nest: a look-up opens one for its whole work, and the requests inside it
// cannot outlive it.
class TimeBudget {
 public:
  explicit TimeBudget(Millis limit)
      : outer(current),
        started(Clock::now()),
        ends(outer != nullptr ? std::min(outer->ends, started + limit) : started + limit) {
    current = this;
  }
  ~TimeBudget() { current = outer; }
  TimeBudget(const TimeBudget&) = delete;
  TimeBudget& operator=(const TimeBudget&) = delete;

  Clock::time_point deadline() const { return ends; }
  Millis elapsed() const { return std::chrono::duration_cast<Millis>(Clock::now() - started); }
  timeval left() const {
    const Millis rest = remaining(ends);
    return {static_cast<time_t>(rest.count() / 1000),
            static_cast<suseconds_t>(rest.count() % 1000 * 1000)};
  }

 private:
  inline static thread_local const TimeBudget* current = nullptr;

  const TimeBudget* outer;
  Clock::time_point started;
  Clock::time_point ends;
};

}  // namespace VESK::directory

#endif
