// Reading the settings store.
#ifndef VESK_SETTINGS_H
#define VESK_SETTINGS_H

#include <string>

namespace VESK {
class GlobalSetting;
}

// The store as initializeJNI loaded it; null when it did not.
[[nodiscard]] VESK::GlobalSetting* loadedSettings();

// The value of `key` in `section`, or `fallback` when the value is missing or empty.
[[nodiscard]] std::string settingText(VESK::GlobalSetting* store, const char* section,
                                      const char* key, const char* fallback = "");

#endif
