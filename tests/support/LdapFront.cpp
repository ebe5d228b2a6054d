#include "support/LdapFront.h"

#include <fcntl.h>
#include <ldap.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <utility>

namespace {

using namespace std::chrono_literals;

struct FreeElement {
  void operator()(BerElement* element) const { ber_free(element, 1); }
};
using Element = std::unique_ptr<BerElement, FreeElement>;

Element reader(const std::string& message) {
  berval bytes{message.size(), const_cast<char*>(message.data())};
  return Element(ber_init(&bytes));
}

std::string written(const Element& element) {
  berval bytes{};
  ber_flatten2(element.get(), &bytes, 0);
  return {bytes.bv_val, bytes.bv_len};
}

bool readBytes(const Socket& from, std::string& message, std::size_t size) {
  const std::size_t start = message.size();
  message.resize(start + size);
  return recv(from.get(), message.data() + start, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// One whole message: tag, length in one byte or in as many as that says, content.
bool receive(const Socket& from, std::string& message) {
  message.clear();
  if (!readBytes(from, message, 2)) return false;
  auto length = static_cast<std::size_t>(static_cast<unsigned char>(message[1]));
  if (length > 0x80) {
    const std::size_t digits = length - 0x80;
    if (!readBytes(from, message, digits)) return false;
    length = 0;
    for (std::size_t i = 2; i < 2 + digits; ++i) {
      length = length << 8 | static_cast<unsigned char>(message[i]);
    }
  }
  return readBytes(from, message, length);
}

bool sendAll(const Socket& to, const std::string& bytes) {
  return send(to.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(bytes.size());
}

ber_tag_t operationOf(const std::string& message) {
  ber_int_t id = 0;
  ber_tag_t operation = LBER_ERROR;
  ber_scanf(reader(message).get(), "{it", &id, &operation);
  return operation;
}

bool endsAnswer(ber_tag_t operation) {
  return operation != LDAP_RES_SEARCH_ENTRY && operation != LDAP_RES_SEARCH_REFERENCE;
}

}  // namespace

struct LdapFront::FirstValues : std::map<std::string, std::size_t> {};

LdapFront::LdapFront(int serverPort, std::size_t valuesAtOnce, Fault fault_)
    : target(serverPort), most(valuesAtOnce), fault(fault_), listener(listenOnLoopback(16)) {
  thread = std::thread([this] { run(); });
}

LdapFront::~LdapFront() {
  shutdown(listener.get(), SHUT_RDWR);
  thread.join();
}

int LdapFront::Traffic::repeated() const {
  return requests() - static_cast<int>(std::set(searches.begin(), searches.end()).size());
}

int LdapFront::Traffic::mentions(const std::string& text) const {
  int times = 0;
  for (const std::string& one : searches) {
    for (auto at = one.find(text); at != std::string::npos; at = one.find(text, at + 1)) ++times;
  }
  return times;
}

LdapFront::Traffic LdapFront::taken() {
  const std::lock_guard lock(mutex);
  return std::exchange(traffic, {});
}

void LdapFront::run() {
  for (;;) {
    const Socket client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client.open()) return;
    const Socket server = connectTo(target, 5s);
    fcntl(server.get(), F_SETFL, 0);  // blocking from here on
    const int on = 1;
    setsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    serve(client, server);
  }
}

void LdapFront::serve(const Socket& client, const Socket& server) {
  std::string message;
  while (receive(client, message)) {
    FirstValues first;
    ber_tag_t operation = operationOf(message);
    count(operation, message);
    if (operation == LDAP_REQ_SEARCH) message = ownRanges(message, first);
    if (!sendAll(server, message)) return;
    if (operation == LDAP_REQ_UNBIND || operation == LDAP_REQ_ABANDON) continue;
    do {
      if (!receive(server, message)) return;
      operation = operationOf(message);
      if (operation == LDAP_RES_SEARCH_ENTRY) message = inRanges(message, first);
      const std::lock_guard lock(mutex);
      traffic.bytesBack += static_cast<long>(message.size());
    } while (sendAll(client, message) && !endsAnswer(operation));
  }
}

// The message's number tells nothing about what is asked.
void LdapFront::count(ber_tag_t operation, const std::string& request) {
  ber_int_t id = 0;
  berval rest{};
  const Element in = reader(request);
  ber_scanf(in.get(), "{i", &id);
  ber_skip_raw(in.get(), &rest);
  const std::lock_guard lock(mutex);
  if (operation == LDAP_REQ_BIND) ++traffic.binds;
  if (operation == LDAP_REQ_SEARCH) traffic.searches.emplace_back(rest.bv_val, rest.bv_len);
}

// What the server is asked in place of a search for ranges, which it knows nothing about.
std::string LdapFront::ownRanges(const std::string& request, FirstValues& first) const {
  ber_int_t id = 0;
  ber_int_t scope = 0;
  ber_int_t deref = 0;
  ber_int_t sizeLimit = 0;
  ber_int_t timeLimit = 0;
  ber_int_t typesOnly = 0;
  ber_tag_t operation = 0;
  berval base{};
  berval filter{};
  berval controls{};
  char** raw = nullptr;
  const Element in = reader(request);
  ber_scanf(in.get(), "{it{meeiib", &id, &operation, &base, &scope, &deref, &sizeLimit, &timeLimit,
            &typesOnly);
  ber_skip_raw(in.get(), &filter);
  ber_scanf(in.get(), "{v}}", &raw);
  ber_skip_raw(in.get(), &controls);
  std::vector<std::string> names;
  for (char** name = raw; name != nullptr && *name != nullptr; ++name) {
    names.emplace_back(*name);
    const std::size_t option = names.back().find(";range=");
    if (option == std::string::npos) continue;
    const std::size_t start = std::strtoul(names.back().c_str() + option + 7, nullptr, 10);
    names.back().resize(option);
    first[names.back()] = start;
  }
  ber_memvfree(reinterpret_cast<void**>(raw));
  if (first.empty()) return request;
  std::string gone = "cn=gone";
  if (fault == ENTRY_GONE) base = {gone.size(), gone.data()};
  const Element out(ber_alloc_t(LBER_USE_DER));
  ber_printf(out.get(), "{it{Oeeiib", id, operation, &base, scope, deref, sizeLimit, timeLimit,
             typesOnly);
  ber_write(out.get(), filter.bv_val, filter.bv_len, 0);
  ber_printf(out.get(), "{");
  for (const std::string& name : names) ber_printf(out.get(), "s", name.c_str());
  ber_printf(out.get(), "}}");
  if (controls.bv_len > 0) ber_write(out.get(), controls.bv_val, controls.bv_len, 0);
  ber_printf(out.get(), "}");
  return written(out);
}

std::string LdapFront::inRanges(const std::string& answer, const FirstValues& first) const {
  ber_int_t id = 0;
  ber_tag_t operation = 0;
  berval dn{};
  const Element in = reader(answer);
  ber_scanf(in.get(), "{it{m", &id, &operation, &dn);
  const Element out(ber_alloc_t(LBER_USE_DER));
  ber_printf(out.get(), "{it{O{", id, operation, &dn);
  ber_len_t size = 0;
  char* last = nullptr;
  for (ber_tag_t tag = ber_first_element(in.get(), &size, &last); tag != LBER_DEFAULT;
       tag = ber_next_element(in.get(), &size, last)) {
    berval name{};
    BerVarray values = nullptr;
    ber_scanf(in.get(), "{mW}", &name, &values);
    writeValues(out.get(), name, values, first);
    ber_bvarray_free(values);
  }
  ber_printf(out.get(), "}}}");
  return written(out);
}

// An attribute with more values than are sent at once comes twice: empty, and with the first range.
void LdapFront::writeValues(BerElement* out, const berval& name, const berval* values,
                            const FirstValues& first) const {
  std::size_t count = 0;
  while (values != nullptr && values[count].bv_val != nullptr) ++count;
  const auto wanted = first.find(std::string(name.bv_val, name.bv_len));
  std::size_t start = wanted == first.end() ? 0 : std::min(wanted->second, count);
  if (wanted == first.end() && count > most) ber_printf(out, "{O{}}", &name);
  const Fault now = start > 0 ? fault : NONE;
  if (now == ABSENT) return;
  if (now == STARTS_ANEW) start = 0;
  std::size_t end = std::min(start + most, count);
  std::string label(name.bv_val, name.bv_len);
  if (wanted != first.end() || count > most) {
    const std::size_t told = now == OVERLAPS ? start - 1 : now == LEAVES_OUT ? start + 1 : start;
    label += ";range=" + std::to_string(told) + "-" +
             (end == count ? "*" : std::to_string(end - 1 + told - start));
  }
  if (now == EMPTY) end = start;
  if (now == SHORTER) --end;
  ber_printf(out, "{s{", label.c_str());
  for (; start < end; ++start) ber_printf(out, "O", &values[start]);
  ber_printf(out, "}}");
}
