#include "Updater.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <optional>
#include <string_view>

#include "Archive.h"
#include "Download.h"
#include "Files.h"
#include "Lock.h"
#include "Version.h"
#include "product/log.h"

namespace VESK::update {

namespace {

using namespace std::chrono_literals;

// How long one object believes what it read. Ten components of one click share a manifest, and a
// dead source costs that click one time-out.
constexpr auto ONE_CLICK = 60s;
constexpr std::size_t LARGEST_MANIFEST = 1 << 20;
constexpr std::size_t LARGEST_SIGNATURE = 1024;

// What the log calls the source before it is known.
std::string peerOf(const Options& options) {
  return options.source.empty() ? "no source" : options.source;
}

std::string serialPath(const std::string& home) { return home + "/data/update/serial"; }

}  // namespace

Updater::Updater(const std::string& installRoot) : home(installRoot) {}

bool Updater::open(Failure& failure) {
  if (!readOptions(home, options, failure)) return false;
  if (!source) source.emplace(options);
  return true;
}

const Manifest* Updater::manifest(Clock::duration age, Failure& failure) {
  const auto now = Clock::now();
  if (!read || now - *read > age) {
    knownFailure = Failure();
    known = Manifest();
    if (open(knownFailure)) fetchManifest(known, knownFailure);
    read = Clock::now();
  }
  failure = knownFailure;
  return failure.happened() ? nullptr : &known;
}

bool Updater::fetchManifest(Manifest& fresh, Failure& failure) {
  std::string text, signature;
  if (!source->fetchText("manifest.json", LARGEST_MANIFEST, text, failure) ||
      !source->fetchText("manifest.json.sig", LARGEST_SIGNATURE, signature, failure) ||
      !readManifest(text, signature, options.keyFile, options.maxPackage, fresh, failure)) {
    return false;
  }
  const std::optional<std::uint64_t> accepted = lastSerial(fresh.signer);
  if (!accepted) return failure.setSystem("manifest", serialPath(home), errno);
  const std::uint64_t last = *accepted;
  if (fresh.serial >= last) return true;
  return failure.set("manifest", "older than one accepted before",
                     "serial " + std::to_string(fresh.serial) + " of " + fresh.issued +
                         " after serial " + std::to_string(last),
                     "somebody replays an old manifest, or the source was set back");
}

// A new key begins anew. None when the file is there and cannot be read: whoever took that for no
// serial would take any old manifest.
std::optional<std::uint64_t> Updater::lastSerial(const std::string& signer) const {
  const std::string text = readFile(serialPath(home), 128);
  if (text.empty() && errno != 0 && errno != ENOENT) return std::nullopt;
  std::uint64_t serial = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), serial);
  const std::string_view rest(end, static_cast<std::size_t>(text.data() + text.size() - end));
  return error == std::errc() && rest == " " + signer + "\n" ? serial : 0;
}

// Whether the last one that any process accepted is later, or of another key.
bool Updater::isOutdated(const Manifest& seen) const {
  const std::optional<std::uint64_t> last = lastSerial(seen.signer);
  return !last || *last > seen.serial || (*last == 0 && !readFile(serialPath(home), 1).empty());
}

const Manifest* Updater::acceptManifest(Failure& failure) {
  const Manifest* offer = manifest(ONE_CLICK, failure);
  if (offer != nullptr && isOutdated(*offer)) {
    // Others may have been at work since it was read. A new key's first manifest is read twice.
    read.reset();
    offer = manifest(ONE_CLICK, failure);
  }
  return offer != nullptr && keepSerial(*offer, failure) ? offer : nullptr;
}

bool Updater::keepSerial(const Manifest& accepted, Failure& failure) {
  const std::optional<std::uint64_t> last = lastSerial(accepted.signer);
  if (!last) return failure.setSystem("manifest", serialPath(home), errno);
  if (*last >= accepted.serial) return true;
  return replaceFile(serialPath(home),
                     std::to_string(accepted.serial) + " " + accepted.signer + "\n", failure);
}

BvUpdateRet Updater::download(const std::string& component, bool force) {
  const Stopwatch since;
  Failure failure;
  Lock lock;
  Store store(home, component);
  BvUpdateRet result = UPDATE_FAILED;
  if (lock.takeComponents(home, component + " download", failure) && store.recover(failure)) {
    result = update(store, component, force, failure);
  }
  if (failure.happened()) {
    logFailure(component + " download", peerOf(options), failure, since);
    return UPDATE_FAILED;
  }
  return result;
}

BvUpdateRet Updater::update(Store& store, const std::string& component, bool force,
                            Failure& failure) {
  const Manifest* offer = acceptManifest(failure);
  if (offer == nullptr) return UPDATE_FAILED;
  const auto entry = offer->packages.find(component);
  if (entry == offer->packages.end()) {
    failure.set("manifest", "the source has no such component", "", "ask its publisher");
    return UPDATE_FAILED;
  }
  const Package& package = entry->second;
  const bool fetch = wanted(store, component, package, force, failure);
  store.forgetPackages(fetch ? package.sha256 : "");
  if (!fetch) return UPDATE_NO_CHANGE;
  const std::string before = store.version();
  if (!install(store, package, failure)) return UPDATE_FAILED;
  Log::LogByLevel(LOG_DETAIL, "update: %s: %s is in use now, before it was %s", component.c_str(),
                  package.version.c_str(), before.empty() ? "none" : before.c_str());
  return UPDATE_DONE;
}

bool Updater::wanted(const Store& store, const std::string& component, const Package& package,
                     bool force, Failure& failure) const {
  const std::string inUse = store.version();
  const auto order = compareVersions(package.version, inUse);
  if (!inUse.empty() && std::is_lt(order)) {
    return failure.set("compare", "the source's version is older than the one in use",
                       package.version + " after " + inUse,
                       "there is no downgrade; a rollback goes back one version");
  }
  if (force || inUse.empty()) return true;
  if (package.version == store.left()) {
    Log::LogByLevel(LOG_DETAIL, "update: %s: %s was rolled back and is not fetched again",
                    component.c_str(), package.version.c_str());
    return false;
  }
  return std::is_gt(order);
}

bool Updater::fetchPackage(const Store& store, const Package& package, Failure& failure) {
  const std::string path = store.packagePath(package.sha256);
  return hasRoom(store.path(), path, package, failure) &&
         Download(package, path, failure).complete(*source);
}

bool Updater::install(Store& store, const Package& package, Failure& failure) {
  if (!fetchPackage(store, package, failure)) return false;
  const std::string staging = store.makeStaging(failure);
  const bool done = !staging.empty() &&
                    unpack(store.packagePath(package.sha256), staging, package.unpacked, failure) &&
                    store.install(staging, package.version, failure);
  store.forgetPackages("");
  // Gone by then if it was installed.
  if (!done && !staging.empty()) removeTree(staging);
  return done;
}

BvUpdateRet Updater::goBack(const std::string& component) {
  const Stopwatch since;
  Failure failure;
  Lock lock;
  Store store(home, component);
  if (lock.takeComponents(home, component + " rollback", failure) && store.recover(failure)) {
    if (store.previousVersion().empty()) {
      Log::LogByLevel(LOG_DETAIL, "update: %s: no version before to go back to", component.c_str());
      return UPDATE_ROLLBACK_UNAVAILABLE;
    }
    if (store.goBack(failure)) return UPDATE_DONE;
  }
  logFailure(component + " rollback", store.path(), failure, since);
  return UPDATE_FAILED;
}

std::string Updater::available(const std::string& component, bool cached) {
  const Stopwatch since;
  Failure failure;
  const bool again = cached && read.has_value();
  const Manifest* offer =
      manifest(cached ? Clock::duration::max() : Clock::duration::min(), failure);
  if (offer == nullptr) {
    // Ten questions that one dead source cannot answer are one line.
    if (!again) logFailure("versions", peerOf(options), failure, since);
    return {};
  }
  const auto entry = offer->packages.find(component);
  return entry == offer->packages.end() ? std::string() : entry->second.version;
}

}  // namespace VESK::update
