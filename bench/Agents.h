// Many agents in one process of their own, each on a port of its own.
#ifndef VESK_BENCH_AGENTS_H
#define VESK_BENCH_AGENTS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// Answers each request with `body` and status 200, `delayMillis` after it came, and closes.
// Ends with this object.
class Agents {
 public:
  Agents(int count, int delayMillis, const std::string& body);
  ~Agents();
  Agents(const Agents&) = delete;
  Agents& operator=(const Agents&) = delete;
  const std::vector<int>& ports() const { return listening; }

 private:
  std::vector<int> listening;
  pid_t process;
};

// A port that takes no connection and refuses none: whoever connects waits.
class DeadPort {
 public:
  DeadPort();
  ~DeadPort();
  DeadPort(const DeadPort&) = delete;
  DeadPort& operator=(const DeadPort&) = delete;
  int port() const { return number; }

 private:
  int listener;
  std::vector<int> waiting;
  int number;
};

}  // namespace bench

#endif
