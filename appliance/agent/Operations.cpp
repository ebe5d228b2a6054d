#include "Operations.h"

#include <algorithm>
#include <map>
#include <utility>

#include "Message.h"

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

Area areaOf(const Call& call, bool postponed) {
  if (postponed) return Area::postponed;
  return call.request.flag("archived") ? Area::archive : Area::quarantine;
}

template <bool postponed>
void getWholeMsg(const Call& call) {
  const Area area = areaOf(call, postponed);
  const std::string target = call.request.text("target");
  Descriptor message = call.agent.quarantine.open(area, call.request.text("reference"));
  call.answer.add("accepted",
                  message && call.agent.quarantine.exportTo(target, std::move(message)));
}

// More than a console takes is not sent.
constexpr std::size_t longestHeader = 2047;

template <bool postponed>
void getMsgHeader(const Call& call) {
  const Area area = areaOf(call, postponed);
  const Message message(call.agent.quarantine.open(area, call.request.text("reference")));
  call.answer.add("accepted", message.readable())
      .add("header", message.readable() ? message.header(longestHeader) : "");
}

std::size_t sizeOf(const Call& call, const char* name) {
  constexpr std::int32_t largest = 1 << 20;
  const std::int32_t size = call.request.number(name);
  if (size < 0) throw Fault("Client", std::string("element ") + name + " is negative");
  return static_cast<std::size_t>(std::min(size, largest));
}

template <bool postponed>
void getEUQMsgDetail(const Call& call) {
  const Area area = areaOf(call, postponed);
  const std::size_t first = sizeOf(call, "firstSize");
  const std::size_t second = sizeOf(call, "secondSize");
  const Message message(call.agent.quarantine.open(area, call.request.text("reference")));
  const bool readable = message.readable();
  call.answer.add("accepted", readable)
      .add("first", readable ? message.text(first) : "")
      .add("second", readable ? message.attachments(second) : "");
}

struct LogNumber {
  const char* name;
  std::int32_t LogPage::*member;
};
// In the order of the answer, where inode and offset come before the last.
constexpr LogNumber logNumbers[] = {
    {"pagesize", &LogPage::pagesize},     {"pagecount", &LogPage::pagecount},
    {"totalcount", &LogPage::totalcount}, {"pagenumber", &LogPage::pagenumber},
    {"starttime", &LogPage::starttime},   {"endtime", &LogPage::endtime},
};

void getMTALog(const Call& call) {
  LogPage page;
  page.keyword = call.request.text("keyword");
  page.fileName = call.request.text("fileName");
  page.mode = call.request.number("mode");
  for (const LogNumber& number : logNumbers) {
    page.*number.member = call.request.number(number.name);
  }
  page.inode = call.request.unsignedNumber("inode");
  page.offset = call.request.unsignedNumber("offset");
  page.year = call.request.number("year");
  call.answer.add("accepted", call.agent.mailLog.get(page))
      .add("fileName", page.fileName)
      .add("events", page.events);
  for (const LogNumber& number : logNumbers) call.answer.add(number.name, page.*number.member);
  call.answer.add("inode", page.inode).add("offset", page.offset).add("year", page.year);
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
      {"getWholeMsg", getWholeMsg<false>},
      {"getWholeMsg_PE", getWholeMsg<true>},
      {"getMsgHeader", getMsgHeader<false>},
      {"getMsgHeader_PE", getMsgHeader<true>},
      {"getEUQMsgDetail", getEUQMsgDetail<false>},
      {"getEUQMsgDetail_PE", getEUQMsgDetail<true>},
      {"getMTALog", getMTALog},
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
