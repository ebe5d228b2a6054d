// A folder that goes when its owner goes.
#ifndef VESK_TESTS_SUPPORT_TEMP_DIR_H
#define VESK_TESTS_SUPPORT_TEMP_DIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

class TempDir {
 public:
  TempDir() : folder((std::filesystem::temp_directory_path() / "vesk.XXXXXX").string()) {
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path(const std::string& name) const { return folder + "/" + name; }

  std::string read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path(name), std::ios::binary).rdbuf();
    return text.str();
  }

  // Gives the file's path; folders on the way are made.
  std::string write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }

 private:
  std::string folder;
};

#endif
