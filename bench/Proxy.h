// A TCP proxy in front of a directory server that holds back what passes.
#ifndef VESK_BENCH_PROXY_H
#define VESK_BENCH_PROXY_H

#include <chrono>
#include <thread>

#include "support/Network.h"

namespace bench {

// One client at a time. Delays both directions alike and without limiting the rate.
class Proxy {
 public:
  Proxy(int targetPort, std::chrono::microseconds delay);
  ~Proxy();  // every client must be gone
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  int port() const { return portOf(listener); }

 private:
  void serve();
  void forward(const Socket& client, const Socket& server) const;

  int target;
  std::chrono::microseconds delay;
  Socket listener;
  std::thread worker;
};

}  // namespace bench

#endif
