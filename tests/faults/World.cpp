#include "World.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <stdexcept>

#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "product/settings.h"

namespace fs = std::filesystem;

namespace {

VESK::GlobalSettingOnMem* store() {
  return VESK::GlobalSettingOnMem::Instance(nullptr, true, nullptr, nullptr, nullptr, nullptr,
                                            true);
}

}  // namespace

World::World() {
  const fs::path built = VESK_BINARY_DIR "/share/vesk";
  fs::copy(built, home(), fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  fs::create_directories(home() + "/log");
  write(home() + "/config/vesk.ini", "[log_level]\nui = DEBUG\n");
  if (NATIVE(JniInit, initializeJNI)(vm.env, nullptr) != 0)
    throw std::runtime_error("not initialised");
}

void World::set(const char* section, const char* key, const std::string& value) {
  if (store()->_replace_create_item_on_mem(section, key, value.c_str()) != 1) {
    throw std::runtime_error(std::string("setting not set: ") + key);
  }
}

std::string World::get(const char* section, const char* key) {
  std::string value;
  store()->getValue(key, value, section, 0);
  return value;
}

const std::string& World::home() {
  static const std::string path = std::getenv("VESK_HOME");
  return path;
}

std::string World::filesOf(const std::string& folder) {
  std::map<std::string, std::string> found;
  std::error_code none;
  for (const auto& entry : fs::recursive_directory_iterator(folder, none)) {
    const std::string name = fs::relative(entry.path(), folder);
    if (entry.is_symlink()) {
      found[name] = "-> " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_regular_file() && entry.path().extension() != ".lock") {
      found[name] = read(entry.path());
    }
  }
  std::string all;
  for (const auto& [name, content] : found) all += name + ": " + content + "\n";
  return all;
}

std::string World::namesOf(const std::string& folder) {
  std::multiset<std::string> found;
  for (const auto& entry : fs::directory_iterator(folder)) {
    found.insert(entry.path().extension().string() + " " + std::to_string(entry.file_size()) +
                 "\n");
  }
  return std::accumulate(found.begin(), found.end(), std::string());
}

std::string World::read(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void World::write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}
