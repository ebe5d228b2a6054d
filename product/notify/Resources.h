// Compiled texts, opened only when they are as they were made.
#ifndef VESK_NOTIFY_RESOURCES_H
#define VESK_NOTIFY_RESOURCES_H

#include <unicode/ures.h>

#include <memory>
#include <string>
#include <vector>

namespace VESK::notify {

struct CloseBundle {
  void operator()(UResourceBundle* bundle) const { ures_close(bundle); }
};
using Bundle = std::unique_ptr<UResourceBundle, CloseBundle>;

// The tables of `module` in `folder` for `locale`, the most particular one first and English last.
// Empty when not even English can be had. What is damaged is left out and logged.
std::vector<Bundle> openTables(const std::string& folder, const std::string& module,
                               const std::string& locale);

}  // namespace VESK::notify

#endif
