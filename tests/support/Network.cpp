#include "support/Network.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

Socket& Socket::operator=(Socket&& other) noexcept {
  std::swap(fd, other.fd);
  return *this;
}

Socket::~Socket() {
  if (fd >= 0) close(fd);
}

Socket listenOnLoopback(int backlog) {
  Socket listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = loopback(0);
  if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener.get(), backlog) != 0) {
    throw std::runtime_error("cannot listen on 127.0.0.1");
  }
  return listener;
}

int portOf(const Socket& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

int freePort() { return portOf(listenOnLoopback(1)); }

Socket connectTo(int port, std::chrono::milliseconds patience) {
  Socket client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const sockaddr_in address = loopback(port);
  if (connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return client;
  }
  pollfd wanted{client.get(), POLLOUT, 0};
  int error = 0;
  socklen_t size = sizeof error;
  const bool taken = errno == EINPROGRESS &&
                     poll(&wanted, 1, static_cast<int>(patience.count())) == 1 &&
                     getsockopt(client.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0;
  return taken && error == 0 ? std::move(client) : Socket();
}

bool hasIpv6Loopback() {
  const Socket probe(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  return bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}
