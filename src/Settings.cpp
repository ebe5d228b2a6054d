#include "Settings.h"

#include "product/settings.h"

VESK::GlobalSetting* loadedSettings() {
  return VESK::GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr,
                                            true);
}

std::string settingText(VESK::GlobalSetting* store, const char* section, const char* key,
                        const char* fallback) {
  std::string value;
  if (store != nullptr) store->getValue(key, value, section, 0);
  return value.empty() ? fallback : value;
}
