// An update of a large component from a web server against the commands that do the same without
// keeping the version in use safe. Arguments: a free folder, the tool that makes a source.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "Compare.h"
#include "product/update.h"
#include "support/Home.h"
#include "support/Web.h"

namespace {

using bench::require;
using std::string;

constexpr int FILES = 26;
constexpr std::size_t FILE_SIZE = 10'000'000;  // of which six bits in eight are left when packed

void run(const string& command) { require(std::system(command.c_str()) == 0, command.c_str()); }

void writeComponent(const string& folder) {
  std::filesystem::create_directories(folder);
  std::mt19937 random(7);
  string text(FILE_SIZE, '\0');
  for (int file = 0; file < FILES; ++file) {
    for (char& c : text) c = static_cast<char>('0' + (random() & 63));
    std::ofstream(folder + "/" + std::to_string(file)) << text;
  }
}

string nameIn(const string& folder, const char* ending) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ending) return entry.path().filename();
  }
  require(false, "no package in the source");
  return {};
}

// The peak of this process, without the commands that it starts.
double peakMemory() {
  std::ifstream status("/proc/self/status");
  string word;
  while (status >> word && word != "VmHWM:") {
  }
  double kibibytes = 0;
  status >> kibibytes;
  return kibibytes / 1024;
}

void update() {
  string version;
  require(
      BvUpdate(UPDATE_KIND_COMPONENTS).download(UPDATE_VIRUS_PATTERN, version, true) == UPDATE_DONE,
      "no update, see the log");
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3, "usage: update FOLDER TOOL");
  const string folder = argv[1], source = folder + "/source", key = folder + "/key.pem";
  writeComponent(folder + "/component");
  run(string(argv[2]) + " --dir " + source + " --key " + key + " virus-pattern=1=" + folder +
      "/component");
  const Web web(source);
  const string home = folder + "/home";
  std::filesystem::create_directories(home + "/config");
  std::filesystem::copy(key + ".pub", home + "/config/update-key.pem");
  Home::instance();
  Home::set("update", "source", web.url());
  Home::set("update", "ca_file", web.authority());
  BvUpdateInit init;
  require(init.Init(home), "no install root");
  update();
  bench::report("memory of an update of 200 MB", "library's process, at most", peakMemory(), "MiB",
                1);
  const string file = folder + "/package", out = folder + "/out";
  const string commands = "rm -rf " + out + " && mkdir " + out + " && curl -sS --cacert " +
                          web.authority() + " -o " + file + " " + web.url() + "/" +
                          nameIn(source, ".zst") + " && sha256sum " + file +
                          " >/dev/null && tar -xf " + file + " -C " + out;
  const string sync = " && find " + out + " -type f -exec sync {} +";
  bench::compare("update of 200 MB", 5,
                 {{"curl to a file, sha256sum, tar -x", [&] { run(commands); }},
                  {"the same, and sync of the files", [&] { run(commands + sync); }},
                  {"library", update}});
}
