#include "Proxy.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

void sendAtOnce(const Socket& socket) {
  const int on = 1;
  setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
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

  void read() {
    std::string bytes(65536, '\0');
    const ssize_t got = recv(from, bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    ended = bytes.empty();
    if (!ended) waiting.push_back({Clock::now() + delay, std::move(bytes)});
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
  const auto whole = std::chrono::floor<std::chrono::seconds>(left);
  const timespec timeout = {static_cast<time_t>(whole.count()),
                            static_cast<long>((left - whole).count())};
  ppoll(wanted, 2, &timeout, nullptr);
}

}  // namespace

Proxy::Proxy(int targetPort, std::chrono::microseconds wait)
    : target(targetPort), delay(wait), listener(listenOnLoopback(8)) {
  worker = std::thread([this] { serve(); });
}

Proxy::~Proxy() {
  shutdown(listener.get(), SHUT_RDWR);
  worker.join();
}

void Proxy::serve() {
  for (;;) {
    const Socket client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client.open()) return;
    const Socket server = connectTo(target, std::chrono::seconds(5));
    fcntl(server.get(), F_SETFL, 0);  // blocking from here on
    sendAtOnce(client);
    sendAtOnce(server);
    forward(client, server);
  }
}

void Proxy::forward(const Socket& client, const Socket& server) const {
  Way up{client.get(), server.get(), delay};
  Way down{server.get(), client.get(), delay};
  while (!up.done() || !down.done()) {
    pollfd wanted[] = {up.wanted(), down.wanted()};
    await(wanted, up, down);
    if (wanted[0].revents != 0) up.read();
    if (wanted[1].revents != 0) down.read();
    up.sendDue();
    down.sendDue();
  }
}

}  // namespace bench
