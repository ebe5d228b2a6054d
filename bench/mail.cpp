// A notification mail's pair of files against the same bytes written and synced in plain C.
// Arguments: what to call the place, a folder there.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Compare.h"
#include "mailfloor.h"
#include "product/notify.h"

namespace {

using bench::require;

class Queue {
 public:
  explicit Queue(const std::string& place) : folder(place + "/vesk-bench-XXXXXX") {
    require(mkdtemp(folder.data()) != nullptr, "no temporary folder");
  }
  ~Queue() { std::filesystem::remove_all(folder); }
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  void compose() {
    const std::string name = std::to_string(++count);
    std::vector<std::string> to{"Ann Lee <ann@example.com>", "oncall@example.com"};
    const int code = NotifyMailCompose(
        nullptr, folder.c_str(), (name + ".AF").c_str(), (name + ".DF").c_str(), "us-ascii",
        "vesk@example.com", "vesk@example.com", to, "LDAP Cache Server Synchronization Failed",
        "Schedule synchronization for LDAP Cache Server failed, please check your LDAP settings "
        "and connections.");
    require(code == 0, "no mail composed");
  }

  void write(const std::string& data, const std::string& control) {
    const std::string path = folder + "/" + std::to_string(++count);
    floor_write((path + ".DF").c_str(), data.data(), data.size());
    // Or the control file could outlive a power cut without its message.
    floor_sync_folder(folder.c_str());
    floor_write((path + ".AF").c_str(), control.data(), control.size());
    floor_sync_folder(folder.c_str());
  }

  std::string read(const char* name) const {
    std::ostringstream text;
    text << std::ifstream(folder + "/" + name, std::ios::binary).rdbuf();
    require(!text.str().empty(), "a file of the pair is missing");
    return text.str();
  }

 private:
  std::string folder;
  int count = 0;
};

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3, "usage: mail NAME FOLDER");
  Queue queue(argv[2]);
  queue.compose();
  const std::string data = queue.read("1.DF");
  const std::string control = queue.read("1.AF");
  bench::compare(std::string("mail pair, ") + argv[1], 41,
                 {{"C floor: the same bytes and syncs", [&] { queue.write(data, control); }},
                  {"library", [&] { queue.compose(); }}},
                 5);
}
