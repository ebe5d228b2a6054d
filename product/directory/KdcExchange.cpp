#include "KdcExchange.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "Transport.h"

namespace VESK::directory {

namespace {

constexpr std::uint32_t MAX_ANSWER = 1024 * 1024;  // a larger one is taken for garbage

// MIT's key server keeps five waiting connections and lets the system drop the rest, which it would
// only try again after a second: several binds at once are common here.
Transport::Failure reach(Transport& transport, const KdcServer& server,
                         Clock::time_point deadline) {
  for (Millis patience(100);; patience *= 2) {
    const auto until = std::min(deadline, Clock::now() + patience);
    auto failure = transport.connect(server.host, server.port, until);
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

}  // namespace

krb5_error_code KdcExchange::ask(const std::string& realm, std::string_view request,
                                 std::string& answer) {
  const auto [entry, isNew] = known.try_emplace(realm);
  KdcServers& servers = entry->second;
  if (isNew) servers = kdcServersOf(context, realm, ends);
  if (servers.empty()) return KRB5_REALM_UNKNOWN;
  auto left = static_cast<int>(servers.size());
  for (auto server = servers.begin(); server != servers.end(); ++server, --left) {
    if (askOne(*server, Clock::now() + remaining(ends) / left, request, answer)) {
      std::rotate(servers.begin(), server, server + 1);  // the next question goes to it
      return 0;
    }
  }
  return KRB5_KDC_UNREACH;
}

bool KdcExchange::askOne(const KdcServer& server, Clock::time_point deadline,
                         std::string_view request, std::string& answer) {
  asked = "KDC " + server.host + ":" + std::to_string(server.port);
  Transport transport;
  if (const auto failure = reach(transport, server, deadline); !failure.reason.empty()) {
    reason = failure.step + (": " + failure.reason);
    return false;
  }
  transport.endAt(deadline);
  const auto prefix = lengthPrefix(request.size());
  const std::string message = std::string(prefix.begin(), prefix.end()).append(request);
  if (const std::string problem = transport.sendWhole(message); !problem.empty()) {
    reason = "send: " + problem;
  } else if (const std::string missing = receiveAnswer(transport, answer); !missing.empty()) {
    reason = "answer: " + missing;
  } else {
    return true;
  }
  return false;
}

}  // namespace VESK::directory
