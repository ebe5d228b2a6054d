#include "Failure.h"

#include "Text.h"
#include "product/log.h"

namespace VESK::agent {

long long millisSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

void logFailure(const std::string& peer, const char* operation, long long millis,
                const Failure& failure) {
  const std::string detail = oneLine(failure.detail);
  Log::LogByLevel(LOG_NORMAL, "agent: %s failed at %s after %lld ms: %s%s%s%s; hint: %s", operation,
                  peer.c_str(), millis, failure.reason.c_str(), detail.empty() ? "" : " [",
                  detail.c_str(), detail.empty() ? "" : "]", failure.hint);
}

}  // namespace VESK::agent
