// The operations on components, without locks of this process.
#ifndef VESK_UPDATE_UPDATER_H
#define VESK_UPDATE_UPDATER_H

#include <chrono>
#include <optional>
#include <string>

#include "Failure.h"
#include "Manifest.h"
#include "Options.h"
#include "Source.h"
#include "Store.h"
#include "product/update.h"

namespace VESK::update {

class Updater {
 public:
  explicit Updater(const std::string& installRoot);

  BvUpdateRet download(const std::string& component, bool force);
  BvUpdateRet goBack(const std::string& component);
  // The version at the source; empty when it has none or cannot be read.
  std::string available(const std::string& component, bool cached);

 private:
  using Clock = std::chrono::steady_clock;

  bool open(Failure& failure);
  // Null when the source gave none that can be believed. What was read, or why it could not be, is
  // good for `age`.
  const Manifest* manifest(Clock::duration age, Failure& failure);
  bool fetchManifest(Manifest& fresh, Failure& failure);
  // What may be believed under the lock; its serial is kept.
  const Manifest* acceptManifest(Failure& failure);
  std::optional<std::uint64_t> lastSerial(const std::string& signer) const;
  bool isOutdated(const Manifest& seen) const;
  bool keepSerial(const Manifest& accepted, Failure& failure);

  BvUpdateRet update(Store& store, const std::string& component, bool force, Failure& failure);
  // Whether there is something to fetch; says in the log or in the failure why not.
  bool wanted(const Store& store, const std::string& component, const Package& package, bool force,
              Failure& failure) const;
  bool fetchPackage(const Store& store, const Package& package, Failure& failure);
  bool install(Store& store, const Package& package, Failure& failure);

  const std::string& home;
  Options options;
  std::optional<Source> source;
  Manifest known;
  Failure knownFailure;
  std::optional<Clock::time_point> read;
};

}  // namespace VESK::update

#endif
