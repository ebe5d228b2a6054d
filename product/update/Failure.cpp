#include "Failure.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "product/log.h"

namespace VESK::update {

bool Failure::set(const char* where, std::string why, std::string words, const char* advice) {
  if (!happened()) *this = {where, std::move(why), std::move(words), advice};
  return false;
}

bool Failure::setSystem(const char* where, const std::string& path, int error) {
  const std::string words = path + ": " + std::generic_category().message(error);
  if (error == ENOSPC || error == EDQUOT) {
    return set(where, "disk full", words,
               "make room below data/update; the version in use was not touched");
  }
  return set(where, "system error", words, "check the folder, its rights and the disk");
}

void logFailure(const std::string& what, const std::string& peer, const Failure& failure,
                const Stopwatch& since) {
  const bool silent = failure.diagnostic.empty();
  Log::LogByLevel(LOG_NORMAL, "update: %s: %s failed at %s after %lld ms: %s%s%s%s; hint: %s",
                  what.c_str(), failure.step, peer.c_str(), since.milliseconds(),
                  failure.reason.c_str(), silent ? "" : " [", failure.diagnostic.c_str(),
                  silent ? "" : "]", failure.hint);
}

}  // namespace VESK::update
