#include "Compare.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double timeOf(const Contender& contender, int repeats) {
  const auto start = Clock::now();
  for (int i = 0; i < repeats; ++i) contender.work();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / repeats;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::vector<double> shares(const std::vector<double>& times, const std::vector<double>& of) {
  std::vector<double> result;
  for (std::size_t i = 0; i < times.size(); ++i) result.push_back(times[i] / of[i]);
  return result;
}

}  // namespace

void compare(const std::string& figure, int rounds, const std::vector<Contender>& contenders,
             int repeats) {
  const std::size_t count = contenders.size();
  std::vector<std::vector<double>> times(count);
  for (const Contender& contender : contenders) contender.work();
  for (std::size_t round = 0; round < static_cast<std::size_t>(rounds); ++round) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t turn = (round + i) % count;
      times[turn].push_back(timeOf(contenders[turn], repeats));
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    report(figure, contenders[i].name, median(times[i]), "us", median(shares(times[i], times[0])));
  }
}

void report(const std::string& figure, const std::string& name, double value, const char* unit,
            double share) {
  std::printf("%s\t%s\t%.*f %s\t%.2f\n", figure.c_str(), name.c_str(), value < 100 ? 3 : 0, value,
              unit, share);
  std::fflush(stdout);
}

void require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "bench: %s\n", what);
  std::exit(1);
}

}  // namespace bench
