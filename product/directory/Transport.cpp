#include "Transport.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <system_error>

namespace VESK::directory {

namespace {

constexpr std::size_t AHEAD = 64 * 1024;

// poll that signals do not prolong: 0 when the deadline passed, else 1 or -1.
int pollUntil(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    pollfd wanted{fd, events, 0};
    const int ready = poll(&wanted, 1, static_cast<int>(remaining(deadline).count()));
    if (ready >= 0 || errno != EINTR) return ready;
  }
}

int awaitConnected(int fd, Clock::time_point deadline) {
  const int ready = pollUntil(fd, POLLOUT, deadline);
  if (ready == 0) return ETIMEDOUT;
  if (ready < 0) return errno;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

int count(const addrinfo* list) {
  int addresses = 0;
  for (; list != nullptr; list = list->ai_next) ++addresses;
  return addresses;
}

}  // namespace

void FreeAddresses::operator()(addrinfo* list) const { freeaddrinfo(list); }

std::string resolve(const std::string& host, int port, Addresses& addresses) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int status = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
  addresses.reset(list);
  if (status == 0) return {};
  return status == EAI_SYSTEM ? std::generic_category().message(errno) : gai_strerror(status);
}

Transport::Transport() : ahead(std::make_unique_for_overwrite<char[]>(AHEAD)) {}

Transport::~Transport() {
  if (fd >= 0) close(fd);
}

Transport::Failure Transport::connect(const std::string& host, int port,
                                      Clock::time_point deadline) {
  Addresses addresses;
  if (std::string reason = resolve(host, port, addresses); !reason.empty()) {
    return {"resolve", reason};
  }
  return connect(addresses, deadline);
}

Transport::Failure Transport::connect(const Addresses& addresses, Clock::time_point deadline) {
  int left = count(addresses.get());
  int error = 0;
  for (const addrinfo* next = addresses.get(); next != nullptr; next = next->ai_next, --left) {
    const auto share = remaining(deadline) / left;
    error = connectTo(*next, Clock::now() + share);
    if (error == 0) return {"", {}};
  }
  timeIsUp = error == ETIMEDOUT;
  return {"connect", std::generic_category().message(error)};
}

int Transport::connectTo(const addrinfo& address, Clock::time_point deadline) {
  if (fd >= 0) close(fd);
  fd = socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
  if (fd < 0) return errno;
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (::connect(fd, address.ai_addr, address.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS && errno != EINTR) return errno;
  return awaitConnected(fd, deadline);
}

bool Transport::attach(Sockbuf* buffer) {
  static Sockbuf_IO layer = {setup, remove, control, read, write, remove};
  return ber_sockbuf_add_io(buffer, &layer, LBER_SBIOD_LEVEL_PROVIDER, this) == 0;
}

int Transport::setup(Sockbuf_IO_Desc* layer, void* transport) {
  layer->sbiod_pvt = transport;
  return 0;
}

// Also serves as the close function: the descriptor is the transport's own.
int Transport::remove(Sockbuf_IO_Desc*) { return 0; }

// Without this answer libldap would wait for the socket while messages lie here.
int Transport::control(Sockbuf_IO_Desc* layer, int option, void*) {
  const auto& self = *static_cast<Transport*>(layer->sbiod_pvt);
  return option == LBER_SB_OPT_DATA_READY && self.aheadFrom < self.aheadTo ? 1 : 0;
}

ber_slen_t Transport::read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t length) {
  return static_cast<Transport*>(layer->sbiod_pvt)->take(buffer, length);
}

ber_slen_t Transport::write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t length) {
  return static_cast<Transport*>(layer->sbiod_pvt)->put(buffer, length);
}

std::string Transport::sendWhole(std::string_view bytes) {
  while (!bytes.empty()) {
    const ber_slen_t sent = put(bytes.data(), bytes.size());
    if (sent < 0) return std::generic_category().message(errno);
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return {};
}

std::string Transport::receiveWhole(std::span<char> bytes) {
  while (!bytes.empty()) {
    const ber_slen_t got = take(bytes.data(), bytes.size());
    if (got == 0) return "connection closed by the peer";
    if (got < 0) return std::generic_category().message(errno);
    bytes = bytes.subspan(static_cast<std::size_t>(got));
  }
  return {};
}

// libldap asks for eight bytes of a message and then for the rest of it.
ber_slen_t Transport::take(void* bytes, std::size_t length) {
  if (aheadFrom == aheadTo) {
    if (const ber_slen_t got = fill(); got <= 0) return got;
  }
  const std::size_t part = std::min(length, aheadTo - aheadFrom);
  std::memcpy(bytes, ahead.get() + aheadFrom, part);
  aheadFrom += part;
  return static_cast<ber_slen_t>(part);
}

// MSG_DONTWAIT: libldap has the descriptor too and could make it a blocking one.
ber_slen_t Transport::fill() {
  letMoreArrive();
  for (;;) {
    const ssize_t got = recv(fd, ahead.get(), AHEAD, MSG_DONTWAIT);
    if (got >= 0) {
      aheadFrom = 0;
      aheadTo = static_cast<std::size_t>(got);
      streamed += aheadTo;
      return got;
    }
    if (errno == EINTR) continue;
    if ((errno != EAGAIN && errno != EWOULDBLOCK) || !await(POLLIN)) return -1;
  }
}

// A server writes a long answer entry by entry, and a reader that is woken for each one costs it up
// to half its speed. Short answers, and what a network delivers in larger pieces, are read as they
// come.
void Transport::letMoreArrive() const {
  constexpr std::size_t LONG_ANSWER = 8 * 1024;
  constexpr int FEW_ENTRIES = 2 * 1024;
  constexpr timespec NAP{0, 300'000};
  int waiting = 0;
  if (streamed < LONG_ANSWER) return;
  if (ioctl(fd, FIONREAD, &waiting) == 0 && waiting < FEW_ENTRIES) nanosleep(&NAP, nullptr);
}

// MSG_NOSIGNAL: a peer that has gone must not end the process.
ber_slen_t Transport::put(const void* bytes, std::size_t length) {
  streamed = 0;
  for (;;) {
    const ssize_t sent = send(fd, bytes, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) return sent;
    if (errno == EINTR) continue;
    if ((errno != EAGAIN && errno != EWOULDBLOCK) || !await(POLLOUT)) return -1;
  }
}

bool Transport::await(short events) {
  const int ready = pollUntil(fd, events, ends);
  if (ready > 0) return true;
  if (ready == 0) {
    timeIsUp = true;
    errno = ETIMEDOUT;
  }
  return false;
}

}  // namespace VESK::directory
