#include "Operations.h"

#include <functional>
#include <map>
#include <utility>

namespace agent {
namespace {

struct Call {
  Agent& agent;
  const Request& request;
  Answer& answer;

  double wrong(const char* kind) const {
    return agent.misbehaviour.find(request.operation(), kind).value_or(0);
  }
  bool record(const std::string& words = "") const {
    return agent.events.record(request.operation(), words);
  }
};

void test(const Call& call) {
  const double sum = call.request.real("first") + call.request.real("second");
  call.answer.add("accepted", true).add("answer", sum + call.wrong("wrong-sum"));
}

void told(const Call& call) { call.answer.add("accepted", call.record()); }

void sendServiceCmd(const Call& call) {
  const std::int32_t command = call.request.number("command");
  // A wrong echo may pass the largest code.
  const auto echo = static_cast<std::uint32_t>(command) +
                    static_cast<std::uint32_t>(static_cast<std::int64_t>(call.wrong("wrong-echo")));
  call.answer.add("accepted", call.record(std::to_string(command)))
      .add("echo", static_cast<std::int32_t>(echo));
}

template <const char* name>
void code(const Call& call) {
  const bool done = call.record(std::to_string(call.request.number(name)));
  call.answer.add("accepted", done).add("answer", 0);
}

constexpr char event[] = "event";
constexpr char action[] = "action";

void patchSetNotify(const Call& call) {
  constexpr std::size_t longest = 1 << 20;
  const std::string notification = call.request.text("notification");
  call.answer.add("accepted", notification.size() <= longest && call.record(notification));
}

using Work = void (*)(const Call&);

const std::map<std::string, Work>& operations() {
  static const std::map<std::string, Work> table{
      {"test", test},
      {"UnregisterNotify", told},
      {"sendServiceCmd", sendServiceCmd},
      {"sendSysConfigEvnt", code<event>},
      {"PatchSetNotify", patchSetNotify},
      {"PostSetNotify", told},
      {"sendQueueManagerAction", code<action>},
  };
  return table;
}

}  // namespace

bool isOperation(const std::string& name) { return operations().contains(name); }

std::string perform(Agent& agent, const Request& request) {
  const auto operation = operations().find(request.operation());
  if (operation == operations().end()) {
    throw Fault("Client", "there is no operation " + request.operation());
  }
  const bool other = agent.misbehaviour.find(request.operation(), "other-operation").has_value();
  Answer answer(!other                          ? request.operation()
                : request.operation() == "test" ? "PostSetNotify"
                                                : "test");
  operation->second({agent, request, answer});
  return answer.xml();
}

}  // namespace agent
