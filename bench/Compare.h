// Things that do the same work, timed side by side.
#ifndef VESK_BENCH_COMPARE_H
#define VESK_BENCH_COMPARE_H

#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Contender {
  std::string name;
  std::function<void()> work;
};

// Runs each contender once a round, in turn and starting with another one each time, after one
// round that does not count. Prints one line each: the figure, the name, the median time of
// `repeats` runs of one unit of work in microseconds, and the median of its time as a share of the
// first contender's in the same round.
void compare(const std::string& figure, int rounds, const std::vector<Contender>& contenders,
             int repeats = 1);

// A line that is no time: a count or a size, and its share of another one.
void report(const std::string& figure, const std::string& name, double value, const char* unit,
            double share);

// Ends the program: a contender that did not do the work must not be timed.
void require(bool done, const char* what);

}  // namespace bench

#endif
