// Pages of a large mail log, from the reference agent through the product's client, against grep.
// Arguments: the log, a small log of the same kind.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Compare.h"
#include "product/agent.h"
#include "support/Agent.h"
#include "support/Home.h"

namespace {

using bench::require;

constexpr int pageSize = 50;

struct CloseProcess {
  void operator()(std::FILE* stream) const { pclose(stream); }
};

long grepCount(const std::string& keyword, const std::string& log) {
  const std::string command = "LC_ALL=C grep -cF -- '" + keyword + "' '" + log + "'";
  const std::unique_ptr<std::FILE, CloseProcess> output(popen(command.c_str(), "r"));
  long count = -1;
  require(output && std::fscanf(output.get(), "%ld", &count) == 1, "grep gave no count");
  return count;
}

class Pager {
 public:
  Pager(const Agent& agent, const std::string& wanted, int order)
      : endpoint(agent.endpoint()), keyword(wanted), mode(order) {}

  void turn() {
    ++block[3];
    std::array<int, 9> answer{};
    const auto& b = block;
    require(AgentSOAPClient::getMTALog(endpoint.c_str(), keyword.data(), file.data(), events.data(),
                                       mode, answer.data(), b[0], b[1], b[2], b[3], b[4], b[5],
                                       b[6], b[7], b[8]),
            "a page was not answered");
    block = answer;
  }
  int total() const { return block[2]; }
  bool full() const {
    const std::string_view page = events.c_str();
    return std::count(page.begin(), page.end(), '\n') == pageSize;
  }

 private:
  std::string endpoint;
  std::string keyword;
  int mode;
  std::array<int, 9> block{pageSize, 0, 0, 0, 0, 0, 0, 0, 0};
  std::array<char, AgentSOAPClient::fileNameSize> file{};
  std::string events = std::string(pageSize * AgentSOAPClient::bytesPerEvent + 1, '\0');
};

// Kilobytes, the most that the process has had in memory until now.
long peak(const Agent& agent) {
  std::ifstream status("/proc/" + std::to_string(agent.pid()) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::atol(line.c_str() + 6);
  }
  require(false, "the agent's memory cannot be read");
  return 0;
}

void firstPages(const Agent& agent, const std::string& log, const std::string& keyword, int mode) {
  const std::string figure = "50 of " + std::to_string(grepCount(keyword, log)) + " events, '" +
                             keyword + (mode == 0 ? "', newest first" : "', oldest first");
  long counted = 0;
  bench::compare(figure, 7,
                 {{"grep", [&] { counted = grepCount(keyword, log); }},
                  {"first page", [&] {
                     Pager pager(agent, keyword, mode);
                     pager.turn();
                     require(pager.full() && (counted == 0 || pager.total() == counted),
                             "the page does not have what grep found");
                   }}});
}

// One page after the other, each time the one that follows.
void nextPages(const Agent& large, const Agent& small, int mode) {
  Pager inLarge(large, "status=deferred", mode);
  Pager inSmall(small, "status=deferred", mode);
  const auto next = [](Pager& pager) {
    pager.turn();
    require(pager.full(), "the log is too short for its pages");
  };
  next(inLarge);
  next(inSmall);
  bench::compare(mode == 0 ? "next page, newest first" : "next page, oldest first", 61,
                 {{"log of a 16th", [&] { next(inSmall); }}, {"log", [&] { next(inLarge); }}});
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3, "usage: maillog LOG SMALL-LOG");
  Home::instance();
  const Agent large({"--maillog", argv[1]});
  const Agent small({"--maillog", argv[2]});
  for (const int mode : {0, 1}) {
    firstPages(large, argv[1], "status=deferred", mode);
    firstPages(large, argv[1], "User unknown", mode);
    firstPages(large, argv[1], "", mode);
  }
  for (const int mode : {0, 1}) nextPages(large, small, mode);
  bench::report("memory of the agent", "log of a 16th", static_cast<double>(peak(small)), "KiB", 1);
  bench::report("memory of the agent", "log", static_cast<double>(peak(large)), "KiB",
                static_cast<double>(peak(large)) / static_cast<double>(peak(small)));
}
