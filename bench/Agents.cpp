#include "Agents.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <map>
#include <set>

#include "Compare.h"

namespace bench {

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

int listenOn(int backlog, int& port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  auto* plain = reinterpret_cast<sockaddr*>(&address);
  require(fd >= 0 && ::bind(fd, plain, length) == 0 && ::listen(fd, backlog) == 0 &&
              ::getsockname(fd, plain, &length) == 0,
          "no port for an agent");
  port = ntohs(address.sin_port);
  return fd;
}

using Clock = std::chrono::steady_clock;

class Server {
 public:
  Server(const std::vector<int>& fds, int delayMillis, std::string text)
      : listeners(fds.begin(), fds.end()), delay(delayMillis), answer(std::move(text)) {
    for (const int fd : fds) watch(fd);
  }

  [[noreturn]] void run() {
    for (;;) {
      epoll_event events[256];
      const int count = ::epoll_wait(poll, events, std::size(events), untilNext());
      for (int i = 0; i < count; ++i) take(events[i].data.fd);
      while (!due.empty() && due.front().at <= Clock::now()) send();
    }
  }

 private:
  struct Answer {
    Clock::time_point at;
    int fd;
  };

  void watch(int fd) const {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    ::epoll_ctl(poll, EPOLL_CTL_ADD, fd, &event);
  }
  int untilNext() const {
    if (due.empty()) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(due.front().at - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
  }
  static bool isWhole(const std::string& request) {
    const std::size_t end = request.find("\r\n\r\n");
    const std::size_t length = request.find("Content-Length: ");
    return end != std::string::npos && length < end &&
           request.size() >= end + 4 + std::stoul(request.substr(length + 16));
  }
  void take(int fd) {
    if (listeners.count(fd) != 0) {
      const int client = ::accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
      if (client >= 0) watch(client);
      return;
    }
    char bytes[8192];
    const ssize_t length = ::read(fd, bytes, sizeof bytes);
    if (length <= 0) {
      requests.erase(fd);
      ::close(fd);
      return;
    }
    if (!isWhole(requests[fd].append(bytes, static_cast<std::size_t>(length)))) return;
    requests.erase(fd);
    ::epoll_ctl(poll, EPOLL_CTL_DEL, fd, nullptr);
    due.push_back({Clock::now() + std::chrono::milliseconds(delay), fd});
  }
  void send() {
    const int fd = due.front().fd;
    due.pop_front();
    static_cast<void>(!::write(fd, answer.data(), answer.size()));
    ::close(fd);
  }

  std::set<int> listeners;
  int delay;
  std::string answer;
  int poll = ::epoll_create1(EPOLL_CLOEXEC);
  std::deque<Answer> due;
  std::map<int, std::string> requests;
};

std::string httpAnswer(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nConnection: close\r\n"
         "Content-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

Agents::Agents(int count, int delayMillis, const std::string& body) {
  std::vector<int> fds;
  for (int i = 0; i < count; ++i) {
    int port = 0;
    fds.push_back(listenOn(16, port));
    listening.push_back(port);
  }
  process = ::fork();
  require(process >= 0, "no process for the agents");
  if (process == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Server(fds, delayMillis, httpAnswer(body)).run();
  }
  for (const int fd : fds) ::close(fd);
}

Agents::~Agents() {
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
}

DeadPort::DeadPort() : listener(listenOn(0, number)) {
  const sockaddr_in address = loopback(number);
  for (int i = 0; i < 2; ++i) {  // as many as the queue of the smallest size takes
    waiting.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    static_cast<void>(
        ::connect(waiting.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
}

DeadPort::~DeadPort() {
  for (const int fd : waiting) ::close(fd);
  ::close(listener);
}

}  // namespace bench
