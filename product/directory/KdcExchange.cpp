#include "KdcExchange.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "Transport.h"

namespace VESK::directory {

namespace {

constexpr std::uint32_t MAX_ANSWER = 1024 * 1024;  // a larger one is taken for garbage

// Looks the name up once: each time may take long.
Transport::Failure locate(KdcServer& server) {
  if (server.port == 0) return {"krb5.conf", "neither HOST nor HOST:PORT"};
  if (server.addresses != nullptr) return {"", {}};
  return {"resolve", resolve(server.host, server.port, server.addresses)};
}

// MIT's key server keeps five waiting connections and lets the system drop the rest, which it would
// only try again after a second: several binds at once are common here.
Transport::Failure reach(Transport& transport, const Addresses& addresses,
                         Clock::time_point deadline) {
  for (Millis patience(100);; patience *= 2) {
    const auto until = std::min(deadline, Clock::now() + patience);
    auto failure = transport.connect(addresses, until);
    if (failure.reason.empty() || !transport.timedOut() || until == deadline) return failure;
  }
}

std::array<char, 4> lengthPrefix(std::size_t length) {
  return {static_cast<char>(length >> 24), static_cast<char>(length >> 16),
          static_cast<char>(length >> 8), static_cast<char>(length)};
}

std::uint32_t lengthOf(const std::array<char, 4>& prefix) {
  std::uint32_t length = 0;
  for (const char byte : prefix) length = length << 8 | static_cast<unsigned char>(byte);
  return length;
}

std::string receiveAnswer(Transport& transport, std::string& answer) {
  std::array<char, 4> prefix{};
  if (std::string reason = transport.receiveWhole(prefix); !reason.empty()) return reason;
  const std::uint32_t length = lengthOf(prefix);
  if (length == 0 || length > MAX_ANSWER) return "no answer of a key server";
  answer.resize(length);
  return transport.receiveWhole(answer);
}

// Why another server may know more, or nothing. Each answer begins with what it is.
std::string faultOf(krb5_context context, std::string& answer) {
  constexpr char TICKETS = 0x6b;
  constexpr char TICKET = 0x6d;
  constexpr char REFUSAL = 0x7e;
  const char kind = answer.front();
  if (kind == TICKETS || kind == TICKET) return {};
  krb5_data encoded{};
  encoded.data = answer.data();
  encoded.length = static_cast<unsigned>(answer.size());
  krb5_error* raw = nullptr;
  if (kind != REFUSAL || krb5_rd_error(context, &encoded, &raw) != 0) {
    return "no answer of a key server";
  }
  constexpr auto OUT_OF_SERVICE = KRB5KDC_ERR_SVC_UNAVAILABLE - ERROR_TABLE_BASE_krb5;
  const bool serves = raw->error != OUT_OF_SERVICE;
  krb5_free_error(context, raw);
  return serves ? "" : "out of service";
}

}  // namespace

krb5_error_code KdcExchange::ask(const std::string& realm, std::string_view request,
                                 std::string& answer) {
  const auto [entry, isNew] = known.try_emplace(realm);
  KdcServers& servers = entry->second;
  if (isNew) servers = kdcServersOf(context, realm, ends);
  if (servers.empty()) return KRB5_REALM_UNKNOWN;
  auto left = static_cast<int>(servers.size());
  for (auto server = servers.begin(); server != servers.end(); ++server, --left) {
    if (askOne(*server, left, request, answer)) {
      std::rotate(servers.begin(), server, server + 1);  // the next question goes to it
      return 0;
    }
  }
  return KRB5_KDC_UNREACH;
}

bool KdcExchange::askOne(KdcServer& server, int sharers, std::string_view request,
                         std::string& answer) {
  asked = "KDC " + server.host;
  if (server.port != 0) asked += ":" + std::to_string(server.port);
  Transport transport;
  Transport::Failure failure = locate(server);
  const auto deadline = Clock::now() + remaining(ends) / sharers;
  if (failure.reason.empty()) failure = reach(transport, server.addresses, deadline);
  if (!failure.reason.empty()) {
    reason = failure.step + (": " + failure.reason);
    return false;
  }
  transport.endAt(deadline);
  reason = converse(transport, request, answer);
  return reason.empty();
}

std::string KdcExchange::converse(Transport& transport, std::string_view request,
                                  std::string& answer) {
  const auto prefix = lengthPrefix(request.size());
  const std::string message = std::string(prefix.begin(), prefix.end()).append(request);
  std::string problem = transport.sendWhole(message);
  if (!problem.empty()) return "send: " + problem;
  problem = receiveAnswer(transport, answer);
  if (problem.empty()) problem = faultOf(context, answer);
  return problem.empty() ? problem : "answer: " + problem;
}

}  // namespace VESK::directory
