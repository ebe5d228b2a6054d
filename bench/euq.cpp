// The transfer of quarantined messages against the same done on SQLite directly, and how long a
// cancelled one takes to end. The install root is in VESK_HOME.
//   euq prepare                      makes the quarantine with its areas 1 and 2
//   euq MESSAGES SIZE FOLDER         measures, with so many messages in area 1
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>

#include "Compare.h"
#include "euqfloor.h"
#include "product/log.h"
#include "product/quarantine.h"

namespace {

using bench::require;
using Clock = std::chrono::steady_clock;

constexpr int BATCH = 1000;
constexpr int OFTEN = 500;  // microseconds

class Quarantine {
 public:
  Quarantine() {
    require(init_euq_lib() && regist_euq("one") == 0 && regist_euq("two") == 0, "no quarantine");
  }

  const char* store() const { return file.c_str(); }
  int other() { return target = 3 - target; }
  int inTarget() const {
    const std::string sql = "SELECT count(*) FROM message WHERE area = " + std::to_string(target);
    return euq_floor_count(store(), sql.c_str());
  }

  void start() { require(transfer_euq_data(other()) == 0, "transfer not started"); }
  int end() {
    while (is_transferring_euq_data()) usleep(OFTEN);
    int code = -1;
    std::string text;
    require(get_transfer_euq_result(code, text), "no result");
    return code;
  }

 private:
  const std::string file = std::string(std::getenv("VESK_HOME")) + "/data/euq/euq.db";
  int target = 1;
};

// From the call to the end that the console sees; the longest of all.
void measureCancel(Quarantine& quarantine, int times) {
  double longest = 0;
  int cancelled = 0;
  for (int i = 0; i < times; ++i) {
    quarantine.start();
    usleep(static_cast<useconds_t>(50'000 + 40'000 * i));
    const auto asked = Clock::now();
    if (cancel_transfer_euq_data() != 0) continue;
    cancelled += quarantine.end() == 9;
    longest =
        std::max(longest, std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
  }
  require(cancelled > 0, "nothing was cancelled");
  bench::report("cancel a transfer, longest of " + std::to_string(cancelled), "library", longest,
                "ms", 1);
}

}  // namespace

int main(int argc, char** argv) {
  VESK::Log::Init(nullptr, VESK::LOG_NORMAL);
  Quarantine quarantine;
  if (argc == 2) return 0;
  require(argc == 4, "usage: euq MESSAGES SIZE FOLDER");
  const int messages = std::atoi(argv[1]);
  const std::string copies = std::string(argv[3]) + "/copies.db";
  euq_floor_make(copies.c_str(), messages, std::atoi(argv[2]));
  int from = 1;
  const auto copy = [&] {
    euq_floor_copy(copies.c_str(), from, 3 - from, messages, BATCH);
    from = 3 - from;
    const std::string sql = "SELECT count(*) FROM area" + std::to_string(from);
    require(euq_floor_count(copies.c_str(), sql.c_str()) == messages, "copies are missing");
  };
  const auto update = [&] {
    euq_floor_update(quarantine.store(), quarantine.other(), BATCH);
    require(quarantine.inTarget() == messages, "updates are missing");
  };
  const auto transfer = [&] {
    quarantine.start();
    require(quarantine.end() == 0 && quarantine.inTarget() == messages, "transfer is incomplete");
  };
  bench::compare("transfer of " + std::to_string(messages) + " messages", 5,
                 {{"INSERT ... SELECT and DELETE, plain C", copy},
                  {"UPDATE in the library's tables, plain C", update},
                  {"library", transfer}});
  measureCancel(quarantine, 10);
}
