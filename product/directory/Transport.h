// The TCP connection below an LDAP handle. libldap opens connections lazily, tries each address of
// a host for the whole time-out, and reads a half-sent message or a TLS handshake for ever; here
// every wait ends at the deadline of the running call.
#ifndef VESK_DIRECTORY_TRANSPORT_H
#define VESK_DIRECTORY_TRANSPORT_H

#include <lber.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "TimeBudget.h"

struct addrinfo;

namespace VESK::directory {

struct FreeAddresses {
  void operator()(addrinfo* list) const;
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

// The addresses of a host, or the reason why there are none. Takes as long as the machine's
// resolver is set to try.
std::string resolve(const std::string& host, int port, Addresses& addresses);

class Transport {
 public:
  Transport();
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  // What went wrong, empty texts for nothing. The addresses of a host share the time.
  struct Failure {
    const char* step;
    std::string reason;
  };
  Failure connect(const std::string& host, int port, Clock::time_point deadline);
  Failure connect(const Addresses& addresses, Clock::time_point deadline);

  // All of it by the deadline of endAt, or a reason. For other protocols than LDAP: not together
  // with attach.
  std::string sendWhole(std::string_view bytes);
  std::string receiveWhole(std::span<char> bytes);

  // Becomes the lowest layer of the buffer, which must not outlive this object.
  bool attach(Sockbuf* buffer);
  void endAt(Clock::time_point deadline) { ends = deadline; }

  int descriptor() const { return fd; }
  bool timedOut() const { return timeIsUp; }

 private:
  static int setup(Sockbuf_IO_Desc* layer, void* transport);
  static int remove(Sockbuf_IO_Desc* layer);
  static int control(Sockbuf_IO_Desc* layer, int option, void* argument);
  static ber_slen_t read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t length);
  static ber_slen_t write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t length);

  ber_slen_t put(const void* bytes, std::size_t length);
  ber_slen_t take(void* bytes, std::size_t length);
  ber_slen_t fill();
  void letMoreArrive() const;
  int connectTo(const addrinfo& address, Clock::time_point deadline);
  bool await(short events);

  int fd = -1;
  Clock::time_point ends{};
  bool timeIsUp = false;
  std::unique_ptr<char[]> ahead;  // read, but not yet asked for
  std::size_t aheadFrom = 0;
  std::size_t aheadTo = 0;
  std::size_t streamed = 0;  // bytes read since the last write
};

}  // namespace VESK::directory

#endif
