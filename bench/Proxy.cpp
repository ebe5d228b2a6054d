#include "Proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <deque>

#include "Compare.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int tcpSocket() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return fd;
}

// One direction of a connection: what was read waits here until it is due.
struct Way {
  struct Chunk {
    Clock::time_point due;
    std::string bytes;
  };

  int from;
  int to;
  std::chrono::microseconds delay;
  std::deque<Chunk> waiting = {};
  bool ended = false;

  std::string read() {
    std::string bytes(65536, '\0');
    const ssize_t got = recv(from, bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    ended = bytes.empty();
    if (!ended) waiting.push_back({Clock::now() + delay, bytes});
    return bytes;
  }

  void sendDue() {
    while (!waiting.empty() && waiting.front().due <= Clock::now()) {
      const std::string& bytes = waiting.front().bytes;
      send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      waiting.pop_front();
    }
    if (ended && waiting.empty()) shutdown(to, SHUT_WR);
  }

  bool done() const { return ended && waiting.empty(); }
  pollfd wanted() const { return {ended ? -1 : from, POLLIN, 0}; }
};

// Until data comes or a chunk is due; false when only time passed.
void await(pollfd (&wanted)[2], const Way& up, const Way& down) {
  auto due = Clock::time_point::max();
  if (!up.waiting.empty()) due = up.waiting.front().due;
  if (!down.waiting.empty()) due = std::min(due, down.waiting.front().due);
  if (due == Clock::time_point::max()) {
    ppoll(wanted, 2, nullptr, nullptr);
    return;
  }
  const auto left = std::max(std::chrono::nanoseconds(0), due - Clock::now());
  const timespec timeout = {left.count() / 1000000000, left.count() % 1000000000};
  ppoll(wanted, 2, &timeout, nullptr);
}

}  // namespace

Proxy::Proxy(int targetPort, std::chrono::microseconds wait)
    : target(targetPort), delay(wait), listener(tcpSocket()) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  auto* raw = reinterpret_cast<sockaddr*>(&address);
  require(bind(listener, raw, size) == 0 && listen(listener, 8) == 0, "proxy cannot listen");
  getsockname(listener, raw, &size);
  listenPort = ntohs(address.sin_port);
  worker = std::thread([this] { serve(); });
}

Proxy::~Proxy() {
  ending = true;
  shutdown(listener, SHUT_RDWR);
  worker.join();
  close(listener);
}

void Proxy::serve() {
  for (;;) {
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    busy = true;
    const sockaddr_in address = loopback(target);
    const int server = tcpSocket();
    if (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      forward(client, server);
    }
    close(server);
    close(client);
    busy = false;
  }
}

void Proxy::forward(int client, int server) {
  Way up{client, server, delay};
  Way down{server, client, delay};
  std::string pending;
  while (!up.done() || !down.done()) {
    pollfd wanted[] = {up.wanted(), down.wanted()};
    await(wanted, up, down);
    if (wanted[0].revents != 0) {
      pending += up.read();
      count(pending);
    }
    if (wanted[1].revents != 0) bytesBack += static_cast<long>(down.read().size());
    up.sendDue();
    down.sendDue();
  }
}

// Takes whole requests off the front: 0x30, length, message number, and the tag of the request.
void Proxy::count(std::string& pending) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(pending[at]); };
  while (pending.size() >= 7) {
    std::size_t head = 2;
    std::size_t length = byte(1);
    if (length > 0x80) {
      const std::size_t digits = length - 0x80;
      length = 0;
      for (std::size_t i = 0; i < digits; ++i) length = length << 8 | byte(head++);
    }
    if (pending.size() < head + length) return;
    const unsigned char tag = byte(head + 2 + byte(head + 1));
    if (tag == 0x60) ++binds;
    if (tag == 0x63) ++searches;
    pending.erase(0, head + length);
  }
}

// The client has gone, but its last bytes may still be on their way.
Proxy::Traffic Proxy::taken() {
  while (busy) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return {binds.exchange(0), searches.exchange(0), bytesBack.exchange(0)};
}

}  // namespace bench
