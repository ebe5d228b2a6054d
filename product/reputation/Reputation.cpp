#include "product/reputation.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

#include "Config.h"
#include "Request.h"
#include "product/log.h"
#include "product/settings.h"
#include "shared/Boundary.h"

using namespace VESK::reputation;

namespace {

using Clock = std::chrono::steady_clock;

// What the set functions set.
struct Current {
  std::mutex mutex;
  std::optional<quorServerConfig> server;
  std::optional<quorSSLOptions> tls;
};

Current& current() {
  static Current configuration;
  return configuration;
}

int badConfig(const char* fault) {
  VESK::Log::LogByLevel(VESK::LOG_NORMAL,
                        "reputation: configuration refused: %s; hint: server: host, host:port or "
                        "https://host:port, IPv6 as [2001:db8::1]; proxy: a host and a port",
                        fault);
  return QUOR_BAD_CONFIG;
}

std::string caFileSetting() {
  VESK::GlobalSettingOnMem* settings =
      VESK::GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  std::string value;
  if (settings != nullptr) settings->getValue("ca_file", value, "reputation", 0);
  return value;
}

// The caller's record, or else the one that was set.
template <typename Record>
std::optional<Record> chosen(const Record* given, const std::optional<Record>& set) {
  if (given != nullptr) return *given;
  const std::lock_guard lock(current().mutex);
  return set;
}

void logFailure(const Outcome& outcome, const Target& target, double seconds) {
  VESK::Log::LogByLevel(
      VESK::LOG_NORMAL, "reputation: %s failed at %s%s%s after %.0f ms: %s%s%s%s; hint: %s",
      outcome.step, target.server.c_str(), target.proxy.empty() ? "" : " through ",
      target.proxy.c_str(), seconds * 1000, outcome.reason.c_str(),
      outcome.diagnostic.empty() ? "" : " [", outcome.diagnostic.c_str(),
      outcome.diagnostic.empty() ? "" : "]", outcome.hint);
}

int checkStatus(const quorServerConfig* config, const quorSSLOptions* options, int* limit,
                int* errorCode, double* totalTime) {
  const Clock::time_point begin = Clock::now();
  if (errorCode != nullptr) *errorCode = 0;
  if (totalTime != nullptr) *totalTime = 0;
  const auto server = chosen(config, current().server);
  const auto tls = chosen(options, current().tls);
  if (!server || !tls) return badConfig("no record");
  if (limit == nullptr || *limit < 1) return badConfig("the limit is less than a millisecond");
  Target target;
  const char* fault = read(*server, target);
  if (fault == nullptr) fault = check(*tls);
  if (fault != nullptr) return badConfig(fault);

  const Outcome outcome = askStatus(target, *tls, *limit);
  const std::chrono::duration<double> taken = Clock::now() - begin;
  *limit = std::max(0, *limit - static_cast<int>(taken.count() * 1000));
  if (errorCode != nullptr) *errorCode = outcome.errorCode;
  if (totalTime != nullptr) *totalTime = taken.count();
  if (outcome.result != QUOR_OK) logFailure(outcome, target, taken.count());
  return outcome.result;
}

}  // namespace

int quorLoadDefaultServerConfigEx(int kind, quorServerConfig* config) try {
  if (kind != QUOR_CONFIG_SERVER || config == nullptr) return badConfig("no record, or its kind");
  *config = {};
  config->proxyPort = 8080;
  return QUOR_OK;
}
VESK_AT_BOUNDARY("reputation", QUOR_NO_RESOURCES)

int quorLoadDefaultSSLOptionEx(int kind, quorSSLOptions* options) try {
  if (kind != QUOR_CONFIG_SERVER || options == nullptr) return badConfig("no record, or its kind");
  *options = {1, 1, 1, {}};
  const std::string file = caFileSetting();
  if (file.size() >= sizeof options->caFile)
    return badConfig("the name of the CA file is too long");
  std::memcpy(options->caFile, file.data(), file.size());
  return QUOR_OK;
}
VESK_AT_BOUNDARY("reputation", QUOR_NO_RESOURCES)

int quorSetServerConfigEx(quorServerConfig* config) try {
  Target target;
  const char* fault = config == nullptr ? "no record" : read(*config, target);
  if (fault != nullptr) return badConfig(fault);
  const std::lock_guard lock(current().mutex);
  current().server = *config;
  return QUOR_OK;
}
VESK_AT_BOUNDARY("reputation", QUOR_NO_RESOURCES)

int quorSetSSLOptionsEx(quorSSLOptions* options) try {
  const char* fault = options == nullptr ? "no record" : check(*options);
  if (fault != nullptr) return badConfig(fault);
  const std::lock_guard lock(current().mutex);
  current().tls = *options;
  return QUOR_OK;
}
VESK_AT_BOUNDARY("reputation", QUOR_NO_RESOURCES)

int quorChkServerStatusEx(quorServerConfig* config, quorSSLOptions* options, int* limit,
                          int* errorCode, double* totalTime) try {
  return checkStatus(config, options, limit, errorCode, totalTime);
}
VESK_AT_BOUNDARY("reputation", QUOR_NO_RESOURCES)
