#include "KdcExchange.h"

#include <profile.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <memory>
#include <span>

#include "Transport.h"

namespace VESK::directory {

namespace {

constexpr int KERBEROS_PORT = 88;
constexpr std::uint32_t MAX_ANSWER = 1024 * 1024;  // a larger one is taken for garbage

struct ReleaseProfile {
  void operator()(_profile_t* profile) const { profile_release(profile); }
};
struct FreeValues {
  void operator()(char** values) const { profile_free_list(values); }
};

// The port after the last colon, unless the text is a bare IPv6 address; `host` loses it.
int splitPort(std::string& host) {
  const auto colon = host.rfind(':');
  const bool bracketed = host.starts_with('[');
  const bool written =
      colon != std::string::npos && (bracketed ? host[colon - 1] == ']' : host.find(':') == colon);
  int port = KERBEROS_PORT;
  if (written) {
    std::from_chars(host.data() + colon + 1, host.data() + host.size(), port);
    host.resize(colon);
  }
  if (bracketed && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return port;
}

std::vector<std::string> configured(krb5_context context, const std::string& realm) {
  profile_t rawProfile = nullptr;
  if (krb5_get_profile(context, &rawProfile) != 0) return {};
  const std::unique_ptr<_profile_t, ReleaseProfile> profile(rawProfile);
  const char* path[] = {"realms", realm.c_str(), "kdc", nullptr};
  char** rawValues = nullptr;
  if (profile_get_values(profile.get(), path, &rawValues) != 0) return {};
  const std::unique_ptr<char*, FreeValues> values(rawValues);
  std::vector<std::string> texts;
  for (char** value = rawValues; *value != nullptr; ++value) texts.emplace_back(*value);
  return texts;
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
  Servers& servers = serversOf(realm);
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

KdcExchange::Servers& KdcExchange::serversOf(const std::string& realm) {
  const auto [entry, isNew] = known.try_emplace(realm);
  if (isNew) {
    for (std::string host : configured(context, realm)) {
      const int port = splitPort(host);
      entry->second.push_back({host, port});
    }
  }
  return entry->second;
}

bool KdcExchange::askOne(const Server& server, Clock::time_point deadline, std::string_view request,
                         std::string& answer) {
  asked = "KDC " + server.host + ":" + std::to_string(server.port);
  Transport transport;
  if (const auto failure = transport.connect(server.host, server.port, deadline);
      !failure.reason.empty()) {
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
