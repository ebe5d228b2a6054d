#include "Options.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "product/log.h"
#include "product/settings.h"

namespace VESK::quarantine {

namespace {

struct Number {
  const char* key;
  int Options::*place;
  int least;
  int most;
};
constexpr Number NUMBERS[] = {{"busy_timeout", &Options::busyTimeout, 0, 60'000},
                              {"batch", &Options::batch, 1, 100'000}};

std::string setting(const char* key) {
  std::string value;
  GlobalSetting* settings =
      GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
  if (settings != nullptr) settings->getValue(key, value, "euq", 0);
  return value;
}

std::optional<int> usable(const Number& number, const std::string& text) {
  int value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value < number.least || value > number.most) return {};
  return value;
}

}  // namespace

Options readOptions() {
  const char* set = std::getenv("VESK_HOME");
  const std::string home = set != nullptr && *set != '\0' ? set : "/opt/brelvik/vesk";
  Options options;
  std::error_code failed;
  options.home = std::filesystem::absolute(home, failed).string();
  if (failed) options.home = home;
  for (const Number& number : NUMBERS) {
    int& value = options.*number.place;
    value = usable(number, setting(number.key)).value_or(value);
  }
  return options;
}

void complainOfSettings() {
  const Options defaults;
  for (const Number& number : NUMBERS) {
    const std::string text = setting(number.key);
    if (text.empty() || usable(number, text)) continue;
    Log::LogByLevel(LOG_NORMAL,
                    "quarantine settings: bad value: [euq] %s = %s; hint: %d serves, give a number "
                    "from %d to %d",
                    number.key, text.c_str(), defaults.*number.place, number.least, number.most);
  }
}

}  // namespace VESK::quarantine
