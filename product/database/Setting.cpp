#include "Setting.h"

#include <cstdlib>

#include "ConnectionText.h"
#include "product/database.h"
#include "product/settings.h"

namespace VESK::database {

namespace {

GlobalSettingOnMem* store() {
  return GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr, true);
}

std::string valueOf(const char* key, const char* otherwise) {
  std::string value;
  if (GlobalSettingOnMem* settings = store()) settings->getValue(key, value, "admin_db", 0);
  return value.empty() ? otherwise : value;
}

std::string below(const std::string& path) {
  if (path.empty() || path[0] == '/') return path;
  const char* home = std::getenv("VESK_HOME");
  return std::string(home != nullptr ? home : "/opt/brelvik/vesk") + "/" + path;
}

}  // namespace

std::string passwordFile() { return below(valueOf("password_file", "")); }

}  // namespace VESK::database

bool VeskConfigFileManager::getAdminDBSetting(AdminDBSetting& setting) {
  using namespace VESK::database;
  setting.driver = valueOf("driver", "SQLite3");
  setting.server = valueOf("server", "");
  const bool isFile = dialectOf(setting.driver) == Dialect::SQLITE;
  setting.database = valueOf("database", isFile ? "data/admin.db" : "");
  if (isFile) setting.database = below(setting.database);
  setting.user = valueOf("user", "");
  setting.passwordFile = passwordFile();
  const VESK::GlobalSettingOnMem* settings = store();
  return settings != nullptr && settings->isLoaded();
}
