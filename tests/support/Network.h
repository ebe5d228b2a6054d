// Sockets on the loopback address, for tests.
#ifndef VESK_TESTS_SUPPORT_NETWORK_H
#define VESK_TESTS_SUPPORT_NETWORK_H

#include <chrono>

class Socket {
 public:
  explicit Socket(int descriptor = -1) : fd(descriptor) {}
  Socket(Socket&& other) noexcept : fd(other.fd) { other.fd = -1; }
  Socket& operator=(Socket&& other) noexcept;
  ~Socket();

  int get() const { return fd; }
  bool open() const { return fd >= 0; }

 private:
  int fd;
};

// Listens on 127.0.0.1 at a port that the system chooses; throws if it cannot.
Socket listenOnLoopback(int backlog);
int portOf(const Socket& socket);

// A port that nobody listens on, now.
int freePort();

// Not open when nobody takes the connection within `patience`.
Socket connectTo(int port, std::chrono::milliseconds patience);

bool hasIpv6Loopback();

#endif
