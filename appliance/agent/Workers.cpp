#include "Workers.h"

#include <system_error>
#include <utility>

namespace agent {

void Workers::enqueue(std::function<void()> job) {
  const std::lock_guard lock(mutex);
  jobs.push_back(std::move(job));
  if (jobs.size() > idle && threads.size() < limit) {
    try {
      threads.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
      if (threads.empty()) throw;  // else those that there are will come to it
    }
  }
  changed.notify_one();
}

void Workers::shutdown() {
  {
    const std::lock_guard lock(mutex);
    over = true;
  }
  changed.notify_all();
  for (std::thread& thread : threads) thread.join();
}

void Workers::run() {
  std::unique_lock lock(mutex);
  for (;;) {
    ++idle;
    changed.wait(lock, [this] { return over || !jobs.empty(); });
    --idle;
    if (jobs.empty()) return;
    const auto job = std::move(jobs.front());
    jobs.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
}

}  // namespace agent
