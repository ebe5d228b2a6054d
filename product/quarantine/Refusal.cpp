#include "Refusal.h"

#include "product/log.h"
#include "product/quarantine.h"

namespace VESK::quarantine {

std::atomic<bool> ready = false;

int refuse(const char* step, int code, const char* reason, const char* hint) {
  Log::LogByLevel(LOG_NORMAL, "quarantine: %s refused: %s; hint: %s", step, reason, hint);
  return code;
}

bool isReady(const char* step) {
  if (ready) return true;
  refuse(step, EUQ_NOT_READY, "not initialised", "see why init_euq_lib failed, or call it first");
  return false;
}

}  // namespace VESK::quarantine
