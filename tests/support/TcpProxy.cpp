#include "support/TcpProxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

using namespace std::chrono_literals;

bool sendAll(const Socket& to, const char* data, std::size_t size) {
  while (size > 0) {
    pollfd wanted{to.get(), POLLOUT, 0};
    if (poll(&wanted, 1, 5000) != 1) return false;
    const ssize_t sent = send(to.get(), data, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

TcpProxy::TcpProxy(int serverPort, Fault fault_)
    : target(serverPort), fault(std::move(fault_)), listener(listenOnLoopback(16)) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  stopReader = Socket(ends[0]);
  stopWriter = Socket(ends[1]);
  thread = std::thread([this] { run(); });
}

TcpProxy::~TcpProxy() {
  stopWriter = Socket();
  thread.join();
}

void TcpProxy::run() {
  for (;;) {
    std::vector<pollfd> wanted = {{stopReader.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
    for (const Line& line : lines) {
      wanted.push_back({line.client.get(), POLLIN, 0});
      wanted.push_back({line.over ? -1 : line.server.get(), POLLIN, 0});
    }
    poll(wanted.data(), wanted.size(), -1);
    if (wanted[0].revents != 0) return;
    for (std::size_t i = lines.size(); i-- > 0;) {
      const pollfd* ends = &wanted[2 + 2 * i];
      if (!serve(lines[i], ends[0].revents != 0, ends[1].revents != 0)) {
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i));
      }
    }
    if (wanted[1].revents != 0) take();
  }
}

void TcpProxy::take() {
  Line line{Socket(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)), connectTo(target, 5s)};
  if (line.client.open() && line.server.open()) lines.push_back(std::move(line));
}

// False when the line is to be closed.
bool TcpProxy::serve(Line& line, bool clientReady, bool serverReady) {
  if (clientReady) {
    char request[65536];
    const ssize_t got = recv(line.client.get(), request, sizeof request, 0);
    if (got <= 0) return false;
    if (!line.over && !sendAll(line.server, request, static_cast<std::size_t>(got))) return false;
  }
  return !serverReady || forwardAnswer(line);
}

bool TcpProxy::forwardAnswer(Line& line) {
  char answer[65536];
  const auto piece = std::min<std::size_t>(sizeof answer, static_cast<std::size_t>(fault.piece));
  const ssize_t got = recv(line.server.get(), answer, piece, 0);
  if (got <= 0) {
    line.over = true;
    return fault.end == STALLS;
  }
  std::this_thread::sleep_for(fault.pause);
  const int left = fault.end == GOES_ON ? static_cast<int>(got) : fault.bytes - line.answered;
  const int through = std::min(static_cast<int>(got), left);
  line.answered += through;
  if (!sendAll(line.client, answer, static_cast<std::size_t>(through))) return false;
  if (through == got) return true;
  line.over = true;
  sendAll(line.client, fault.garbage.data(), fault.garbage.size());
  return fault.end == STALLS;
}
