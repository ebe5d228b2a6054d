// Threads that serve requests: as many as there is work for, up to a limit.
#ifndef VESK_APPLIANCE_AGENT_WORKERS_H
#define VESK_APPLIANCE_AGENT_WORKERS_H

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace agent {

// The library's own pool has all its threads from the start: few, or too many for a small machine.
class Workers : public httplib::TaskQueue {
 public:
  explicit Workers(std::size_t most) : limit(most) {}
  void enqueue(std::function<void()> job) override;
  void shutdown() override;

 private:
  void run();

  std::size_t limit;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::function<void()>> jobs;
  std::vector<std::thread> threads;
  std::size_t idle = 0;
  bool over = false;
};

}  // namespace agent

#endif
