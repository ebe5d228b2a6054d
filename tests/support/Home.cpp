#include "support/Home.h"

#include "product/log.h"
#include "product/settings.h"

using VESK::GlobalSettingOnMem;
using VESK::LogMsgBvCLM;

namespace {

GlobalSettingOnMem* store(const char* path) {
  return GlobalSettingOnMem::Instance(path, true, nullptr, nullptr, nullptr, nullptr, true);
}

}  // namespace

Home& Home::instance() {
  static Home home;
  return home;
}

Home::Home() {
  dir.write("log/adminui.log", "");
  setenv("VESK_HOME", dir.path("").c_str(), 1);
  GlobalSettingOnMem* settings = store(dir.write("config/vesk.ini", "[LDAP]\n").c_str());
  VESK::Log::Init(LogMsgBvCLM::Instance(VESK::LOGGING_PROCESS_CONSOLE, settings, true,
                                        VESK::BV_SYNC_WRITTEN, "test"),
                  VESK::LOG_DEBUG);
}

void Home::set(const char* section, const char* key, const std::string& value) {
  if (store(nullptr)->_replace_create_item_on_mem(section, key, value.c_str()) != 1) {
    throw std::runtime_error(std::string("setting not set: ") + key);
  }
}

std::string Home::newLog() {
  const std::string all = dir.read("log/adminui.log");
  const std::string fresh = all.substr(std::min(read, all.size()));
  read = all.size();
  return fresh;
}
