// A TCP proxy in front of a directory server: delays what passes, and counts the requests.
#ifndef VESK_BENCH_PROXY_H
#define VESK_BENCH_PROXY_H

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace bench {

// One client at a time. Delays both directions alike and without limiting the rate.
class Proxy {
 public:
  Proxy(int targetPort, std::chrono::microseconds delay);
  ~Proxy();  // every client must be gone
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  int port() const { return listenPort; }

  struct Traffic {
    int binds = 0;
    int searches = 0;
    long bytesBack = 0;
  };
  // Since the last call; to be asked when the client has gone.
  Traffic taken();

 private:
  void serve();
  void forward(int client, int server);
  void count(std::string& pending);

  int target;
  std::chrono::microseconds delay;
  int listener;
  int listenPort = 0;
  std::atomic<int> binds = 0;
  std::atomic<int> searches = 0;
  std::atomic<long> bytesBack = 0;
  std::atomic<bool> busy = false;
  std::atomic<bool> ending = false;
  std::thread worker;
};

}  // namespace bench

#endif
