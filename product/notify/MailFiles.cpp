#include "product/log.h"
#include "product/notify.h"

int NotifyMailCompose(const char*, const char* queueDirectory, const char*, const char*,
                      const char*, const char*, const char*, std::vector<std::string>&, const char*,
                      const char*) {
  VESK::Log::LogByLevel(1, "notify: no mail is written to %s: not yet able to", queueDirectory);
  return VESK::NOTIFY_NOT_WRITTEN;
}
