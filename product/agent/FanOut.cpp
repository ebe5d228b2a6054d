#include "FanOut.h"

#include <algorithm>

#include "Answer.h"

namespace VESK::agent {

namespace {

struct FreeMulti {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

// A handle that does one exchange after the other.
struct Line {
  EasyHandle handle = newHandle();
  std::unique_ptr<Exchange> exchange{};
  Told* agent = nullptr;
  Clock::time_point started{};
};

class FanOut {
 public:
  FanOut(std::vector<Told>& list, const char* name, const Post& request)
      : agents(list), operation(name), post(request), multi(curl_multi_init()) {}
  ~FanOut() {
    for (Line& line : lines) {
      if (line.agent != nullptr) curl_multi_remove_handle(multi.get(), line.handle.get());
    }
  }
  FanOut(const FanOut&) = delete;
  FanOut& operator=(const FanOut&) = delete;

  void run();

 private:
  void start(Line& line);
  void finishThoseDone();
  void finish(Line& line, CURLcode code);
  Failure outcome(Line& line, CURLcode code) const;

  std::vector<Told>& agents;
  const char* operation;
  const Post& post;
  std::unique_ptr<CURLM, FreeMulti> multi;
  std::vector<Line> lines;  // their place is known to the handles
  std::size_t next = 0;
  std::size_t busy = 0;
};

void FanOut::run() {
  lines.reserve(std::min(connectionLimit(), agents.size()));
  bool works = multi != nullptr;
  while (works && lines.size() < lines.capacity() && next < agents.size()) {
    lines.emplace_back();
    start(lines.back());
  }
  constexpr int LONGEST_WAIT = 1000;  // ms; libcurl's own time-outs end it earlier
  while (works && busy > 0) {
    int running = 0;
    works = curl_multi_perform(multi.get(), &running) == CURLM_OK;
    finishThoseDone();
    if (busy > 0)
      works = works && curl_multi_poll(multi.get(), nullptr, 0, LONGEST_WAIT, nullptr) == CURLM_OK;
  }
}

void FanOut::start(Line& line) {
  line.agent = nullptr;
  while (next < agents.size() && agents[next].address.url.empty()) ++next;
  if (next == agents.size() || !line.handle) return;
  line.exchange = std::make_unique<Exchange>();
  if (!line.exchange->prepare(line.handle.get(), agents[next].address.url, post)) return;
  curl_easy_setopt(line.handle.get(), CURLOPT_PRIVATE, &line);
  if (curl_multi_add_handle(multi.get(), line.handle.get()) != CURLM_OK) return;
  line.agent = &agents[next++];
  line.started = Clock::now();
  ++busy;
}

void FanOut::finishThoseDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    Line* line = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &line);
    finish(*line, code);
    start(*line);
  }
}

void FanOut::finish(Line& line, CURLcode code) {
  curl_multi_remove_handle(multi.get(), line.handle.get());
  --busy;
  line.agent->failure = outcome(line, code);
  line.agent->millis = millisSince(line.started);
}

Failure FanOut::outcome(Line& line, CURLcode code) const {
  if (Failure failed = line.exchange->failure(line.handle.get(), code)) return failed;
  long status = 0;
  curl_easy_getinfo(line.handle.get(), CURLINFO_RESPONSE_CODE, &status);
  Answer answer;
  if (Failure failed = answer.read(line.exchange->takeAnswer(), status, operation)) return failed;
  bool accepted = false;
  if (Failure failed = answer.get("accepted", accepted)) return failed;
  return accepted ? Failure{} : Failure{"the agent did not accept it", hint::REFUSED};
}

}  // namespace

void tellAll(std::vector<Told>& agents, const char* operation, const Post& post) {
  for (Told& agent : agents) {
    agent.failure = agent.address.failure;
    if (!agent.failure) agent.failure = {"libcurl cannot start", hint::MEMORY};
  }
  FanOut(agents, operation, post).run();
}

}  // namespace VESK::agent
