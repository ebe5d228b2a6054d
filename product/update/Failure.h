// Why an update came to nothing.
#ifndef VESK_UPDATE_FAILURE_H
#define VESK_UPDATE_FAILURE_H

#include <chrono>
#include <string>

namespace VESK::update {

// Filled by the step that failed and logged once, by whoever knows what the step was for.
struct Failure {
  const char* step = "";
  std::string reason;
  std::string diagnostic;  // a component's own words; may be empty
  const char* hint = "";

  bool happened() const { return *step != '\0'; }

  // False, so that it can be returned. The first failure stays: what follows comes of it.
  bool set(const char* where, std::string why, std::string words, const char* advice);
  // Of the system: `error` is an errno value. A full disk is named as such.
  bool setSystem(const char* where, const std::string& path, int error);
};

class Stopwatch {
 public:
  long long milliseconds() const {
    using std::chrono::duration_cast, std::chrono::milliseconds;
    return duration_cast<std::chrono::milliseconds>(Clock::now() - started).count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point started = Clock::now();
};

// `what` is the operation and its component, `peer` the source or the folder.
void logFailure(const std::string& what, const std::string& peer, const Failure& failure,
                const Stopwatch& since);

}  // namespace VESK::update

#endif
