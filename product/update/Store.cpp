#include "Store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string_view>
#include <vector>

#include "Files.h"
#include "Version.h"
#include "shared/Folder.h"

namespace VESK::update {

namespace {

constexpr std::size_t LONGEST_SWITCH = 1024;
constexpr std::size_t SUFFIX = sizeof ".XXXXXX" - 1;
constexpr const char* PACKAGE = "package.";
constexpr const char* DECIDED =
    "mend the cause below data/update; the change is decided already, the next call carries it out";

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  forEachIn(folder, [&](const char* name, int) { names.emplace_back(name); });
  return names;
}

// Without a stream, which would take memory that ends for the end of the text.
std::string takeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  return std::string(line);
}

}  // namespace

Store::Store(const std::string& home, const std::string& component)
    : folder(home + "/data/update/" + component) {}

// A link that leads nowhere stands for nothing.
std::string Store::versionOf(const char* link) const {
  const std::string target = readLink(at(link));
  struct stat status {};
  const std::size_t start = target.rfind('/') + 1;
  if (target.size() <= start + SUFFIX || ::stat(at(link).c_str(), &status) != 0) return {};
  const std::string version = target.substr(start, target.size() - start - SUFFIX);
  return isVersion(version) ? version : std::string();
}

std::string Store::left() const { return readFile(at("left"), LONGEST_SWITCH); }

std::string Store::packagePath(const std::string& sha256) const { return at(PACKAGE) + sha256; }

bool Store::recover(Failure& failure) {
  for (const std::string& path : {folder, at("versions")}) {
    if (!makeFolder(path)) return failure.setSystem("prepare", path, errno);
  }
  if (!finish(failure)) return false;
  clean();
  return true;
}

// Drafts of links and files, and versions that nothing leads to.
void Store::clean() {
  for (const char* draft : {"current.new", "previous.new", "left.new", "switch.new"}) {
    ::unlink(at(draft).c_str());
  }
  const std::set<std::string> used{readLink(at("current")), readLink(at("previous"))};
  for (const std::string& name : namesIn(at("versions"))) {
    const std::string target = "versions/" + name;
    if (!used.contains(target)) removeTree(folder + "/" + target);
  }
}

void Store::forgetPackages(const std::string& except) {
  for (const std::string& name : namesIn(folder)) {
    if (name.starts_with(PACKAGE) && name != PACKAGE + except) {
      ::unlink((folder + "/" + name).c_str());
    }
  }
}

std::string Store::makeStaging(Failure& failure) {
  std::string path = at("versions") + "/.XXXXXX";
  if (::mkdtemp(path.data()) != nullptr && ::chmod(path.c_str(), FOLDER_MODE) == 0) return path;
  failure.setSystem("unpack", at("versions"), errno);
  return {};
}

bool Store::install(const std::string& staging, const std::string& version, Failure& failure) {
  const std::string target = "versions/" + version + staging.substr(staging.size() - SUFFIX);
  if (::rename(staging.c_str(), (folder + "/" + target).c_str()) != 0) {
    return failure.setSystem("switch", staging, errno);
  }
  const bool sameAgain = version == this->version();
  const Switch change{target, readLink(at(sameAgain ? "previous" : "current")), ""};
  return syncFolder(at("versions"), failure) && carryOut(change, failure);
}

bool Store::goBack(Failure& failure) {
  const Switch change{readLink(at("previous")), "", version()};
  return carryOut(change, failure);
}

bool Store::carryOut(const Switch& change, Failure& failure) {
  const std::string text = change.current + "\n" + change.previous + "\n" + change.left + "\n";
  if (draft(change, failure) && replaceFile(at("switch"), text, failure)) return finish(failure);
  if (isDecided()) {
    failure.hint = DECIDED;
  } else {
    clean();
  }
  return false;
}

// Also when nobody can tell: what it leads to must stay then.
bool Store::isDecided() const {
  struct stat status {};
  return ::lstat(at("switch").c_str(), &status) == 0 || errno != ENOENT;
}

bool Store::draft(const Switch& change, Failure& failure) {
  return draftLink(at("current"), change.current, failure) &&
         draftLink(at("previous"), change.previous, failure) &&
         draftFile(at("left"), change.left, failure);
}

// Can be done again from any point on, until "switch" is gone.
bool Store::finish(Failure& failure) {
  const std::string text = readFile(at("switch"), LONGEST_SWITCH);
  if (text.empty()) {
    // One that cannot be read is decided all the same.
    if (errno == 0 || errno == ENOENT) return true;
    failure.setSystem("switch", at("switch"), errno);
    failure.hint = DECIDED;
    return false;
  }
  std::string_view rest = text;
  const Switch change{takeLine(rest), takeLine(rest), takeLine(rest)};
  if (!place(change, failure)) {
    failure.hint = DECIDED;
    return false;
  }
  ::unlink(at("switch").c_str());
  clean();
  return true;
}

bool Store::place(const Switch& change, Failure& failure) {
  return placeLink(at("current"), change.current, failure) &&
         placeLink(at("previous"), change.previous, failure) &&
         placeFile(at("left"), change.left, failure) && syncFolder(folder, failure);
}

}  // namespace VESK::update
