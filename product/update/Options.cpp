#include "Options.h"

#include <charconv>

#include "product/log.h"
#include "product/settings.h"

namespace VESK::update {

namespace {

std::string setting(const char* key) {
  GlobalSettingOnMem* store =
      GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  std::string value;
  if (store != nullptr) store->getValue(key, value, "update", 0);
  return value;
}

// A number that is none, or out of range, is the default, and the log says so.
long number(const char* key, long lowest, long highest, long standard) {
  const std::string text = setting(key);
  if (text.empty()) return standard;
  long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc() && end == text.data() + text.size() && value >= lowest &&
      value <= highest) {
    return value;
  }
  Log::LogByLevel(LOG_NORMAL,
                  "update: settings: %s = %s is not a number from %ld to %ld; %ld is used", key,
                  text.c_str(), lowest, highest, standard);
  return standard;
}

// An account in it would reach the log.
bool hasAccount(const std::string& source) {
  const std::size_t host = source.find("//") + 2;
  return source.substr(host, source.find('/', host) - host).find('@') != std::string::npos;
}

bool isAllowed(const std::string& source) {
  return source.starts_with("https://") || source.starts_with("file:///") ||
         (source.starts_with("http://") && setting("allow_http") == "yes");
}

std::string below(const std::string& home, const std::string& path) {
  return path.empty() || path.front() == '/' ? path : home + "/" + path;
}

}  // namespace

bool readOptions(const std::string& home, Options& options, Failure& failure) {
  options.source = setting("source");
  if (options.source.empty() || hasAccount(options.source)) {
    const bool none = options.source.empty();
    options.source.clear();
    return failure.set("settings", none ? "no source" : "source not usable: it names an account",
                       "", "set source in section update");
  }
  if (!isAllowed(options.source)) {
    return failure.set("settings", "source not usable", options.source,
                       "give https://, file:///, or http:// with allow_http = yes");
  }
  if (options.source.back() != '/') options.source += '/';
  options.caFile = below(home, setting("ca_file"));
  options.keyFile = setting("key_file");
  if (options.keyFile.empty()) options.keyFile = "config/update-key.pem";
  options.keyFile = below(home, options.keyFile);
  options.connectTimeout = number("connect_timeout", 1, 3600, 5);
  options.stallTimeout = number("stall_timeout", 1, 3600, 30);
  options.timeout = number("timeout", 1, 86400, 1800);
  options.maxPackage = static_cast<std::uint64_t>(number("max_package", 1, 65536, 1024)) << 20;
  return true;
}

}  // namespace VESK::update
