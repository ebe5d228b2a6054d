#include "Options.h"

#include <charconv>

#include "product/log.h"
#include "product/settings.h"

namespace VESK::directory {

namespace {

// libldap trusts nobody unless it is told a file, and what the machine's ldap.conf names is none of
// ours.
constexpr const char* SYSTEM_CA_FILE = "/etc/ssl/certs/ca-certificates.crt";

std::string text(GlobalSetting* store, const char* key, const char* fallback) {
  std::string value;
  if (store != nullptr) store->getValue(key, value, "LDAP", 0);
  return value.empty() ? fallback : value;
}

int number(GlobalSetting* store, const char* key, int fallback, int highest) {
  const std::string written = text(store, key, "");
  if (written.empty()) return fallback;
  int value = 0;
  const char* end = written.data() + written.size();
  const auto [stop, error] = std::from_chars(written.data(), end, value);
  if (error == std::errc() && stop == end && value >= 1 && value <= highest) return value;
  Log::LogByLevel(1,
                  "directory: setting %s=%s in section LDAP is not a number from 1 to %d; using %d",
                  key, written.c_str(), highest, fallback);
  return fallback;
}

Security securityOf(const std::string& word, int port) {
  if (word == "none") return Security::NONE;
  if (word == "starttls") return Security::STARTTLS;
  if (word == "ldaps") return Security::LDAPS;
  if (word != "auto") return Security::UNKNOWN;
  return port == 636 || port == 3269 ? Security::LDAPS : Security::NONE;
}

}  // namespace

Options loadOptions(int port) {
  GlobalSetting* store =
      GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  constexpr int HOUR = 3600;
  Options options;
  options.securityWord = text(store, "security", "auto");
  options.security = securityOf(options.securityWord, port);
  options.caFile = text(store, "ca_file", SYSTEM_CA_FILE);
  options.connectTimeout = std::chrono::seconds(number(store, "connect_timeout", 5, HOUR));
  options.operationTimeout = std::chrono::seconds(number(store, "operation_timeout", 30, HOUR));
  options.pageSize = number(store, "page_size", 500, 1000000);
  return options;
}

}  // namespace VESK::directory
