#include "Resources.h"

#include <glib.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "product/log.h"

namespace VESK::notify {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* SUMS = "SHA256SUMS";

bool readFile(const std::string& path, std::string& content) {
  errno = 0;
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  if (!(text << stream.rdbuf())) return false;
  content = text.str();
  return true;
}

class Opener {
 public:
  Opener(const std::string& resourceFolder, const std::string& moduleName)
      : folder(resourceFolder), module(moduleName) {}

  // The names of the files there are, with their checksums.
  bool readSums() {
    std::string text;
    if (!readFile(folder + "/" + SUMS, text)) {
      return fail(SUMS, std::generic_category().message(errno == 0 ? EIO : errno));
    }
    std::istringstream lines(text);
    for (std::string sum, name; lines >> sum >> name;) sums[name] = sum;
    return true;
  }

  bool has(const std::string& locale) const { return sums.count(locale + ".res") != 0; }

  Bundle open(const std::string& locale) const {
    if (!isIntact(locale + ".res")) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    const Bundle bundle(ures_openDirect(folder.c_str(), locale.c_str(), &status));
    Bundle table(ures_getByKey(bundle.get(), module.c_str(), nullptr, &status));
    if (U_SUCCESS(status)) return table;
    fail((locale + ".res").c_str(), module + ": " + u_errorName(status));
    return nullptr;
  }

 private:
  // ICU believes what a file says of itself: one wrong byte can end the process.
  bool isIntact(const std::string& name) const {
    const auto expected = sums.find(name);
    if (expected == sums.end()) return fail(name.c_str(), std::string("not in ") + SUMS);
    std::string content;
    if (!readFile(folder + "/" + name, content)) {
      return fail(name.c_str(), std::generic_category().message(errno == 0 ? EIO : errno));
    }
    gchar* sum = g_compute_checksum_for_data(
        G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(content.data()), content.size());
    const bool same = expected->second == sum;
    g_free(sum);
    return same || fail(name.c_str(), std::string("differs from ") + SUMS);
  }

  bool fail(const char* file, const std::string& reason) const {
    const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    Log::LogByLevel(LOG_NORMAL,
                    "notify: open texts failed at %s/%s after %lld ms: %s; English serves; hint: "
                    "install the folder again and restart the console",
                    folder.c_str(), file, static_cast<long long>(taken.count()), reason.c_str());
    return false;
  }

  const std::string& folder;
  const std::string& module;
  const Clock::time_point start = Clock::now();
  std::map<std::string, std::string> sums;
};

// The names to try, English first: "de_DE.UTF-8@euro" gives root, de, de_DE.
std::vector<std::string> chainOf(const std::string& locale) {
  constexpr std::size_t LONGEST = 64;
  std::vector<std::string> chain{"root"};
  const std::string name = locale.substr(0, locale.find_first_of(".@"));
  if (name.empty() || name.size() > LONGEST) return chain;
  for (std::size_t end = 0; end != std::string::npos;) {
    end = name.find('_', end + 1);
    chain.push_back(name.substr(0, end));
  }
  return chain;
}

}  // namespace

// From English upwards: ICU opens the languages below a name along with it.
std::vector<Bundle> openTables(const std::string& folder, const std::string& module,
                               const std::string& locale) {
  std::vector<Bundle> tables;
  Opener opener(folder, module);
  if (!opener.readSums()) return tables;
  for (const std::string& name : chainOf(locale)) {
    if (!tables.empty() && !opener.has(name)) continue;
    Bundle table = opener.open(name);
    if (table == nullptr) break;
    tables.insert(tables.begin(), std::move(table));
  }
  return tables;
}

}  // namespace VESK::notify
