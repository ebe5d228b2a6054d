// Double of the agent client. A call succeeds unless its answer in the journal is another than 0.
#include "product/agent.h"

#include <cstring>

#include "doubles/Product.h"

namespace {

// The next of product.texts, as far as `size` bytes reach.
void write(char* buffer, std::size_t size) {
  if (product.texts.empty()) return;
  std::strncpy(buffer, product.texts.front().c_str(), size);
  product.texts.erase(product.texts.begin());
}

bool details(int answer, char** first, int firstSize, char** second, int secondSize) {
  write(*first, static_cast<std::size_t>(firstSize));
  write(*second, static_cast<std::size_t>(secondSize));
  return answer == 0;
}

bool number(int answer, int& out) {
  out = static_cast<int>(product.number);
  return answer == 0;
}

}  // namespace

bool AgentSOAPClient::test(const char* endpoint, double first, double second, double& answer) {
  answer = product.number;
  return ask("test %s %.1f %.1f", endpoint, first, second) == 0;
}
bool AgentSOAPClient::UnregisterNotify(const char* endpoint) {
  return ask("unregister %s", endpoint) == 0;
}
bool AgentSOAPClient::sendServiceCmd(const char* endpoint, int command, int& echo) {
  return number(ask("service %s %d", endpoint, command), echo);
}
bool AgentSOAPClient::sendSysConfigEvnt(const char* endpoint, int event, int& answer) {
  return number(ask("event %s %d", endpoint, event), answer);
}
bool AgentSOAPClient::sendQueueManagerAction(const char* endpoint, int action, int& answer) {
  return number(ask("queue %s %d %d", endpoint, action, answer), answer);
}
int AgentSOAPClient::PatchSetNotify(const std::string& notification, std::string& reply) {
  return ask("patch %s%s", notification.c_str(), reply.c_str());
}
int AgentSOAPClient::PostSetNotifyAllScanners(const std::vector<std::string>& agents,
                                              std::string& reply) {
  std::string all;
  for (const std::string& agent : agents) all += "<" + agent + ">";
  return ask("post %s%s", all.c_str(), reply.c_str());
}
bool AgentSOAPClient::getWholeMsg(const char* endpoint, char* reference, char* target,
                                  bool archived) {
  return ask("whole %s %s %s %d", endpoint, reference, target, archived) == 0;
}
bool AgentSOAPClient::getWholeMsg_PE(const char* endpoint, char* reference, char* target) {
  return ask("wholePE %s %s %s", endpoint, reference, target) == 0;
}
bool AgentSOAPClient::getMsgHeader(const char* endpoint, char* reference, bool reserved,
                                   char* header, bool archived) {
  write(header, headerSize - 1);
  return ask("header %s %s %d %d", endpoint, reference, reserved, archived) == 0;
}
bool AgentSOAPClient::getMsgHeader_PE(const char* endpoint, char* reference, bool reserved,
                                      char* header) {
  write(header, headerSize - 1);
  return ask("headerPE %s %s %d", endpoint, reference, reserved) == 0;
}
bool AgentSOAPClient::getEUQMsgDetail(const char* endpoint, char* reference, bool archived,
                                      char** first, int firstSize, char** second, int secondSize) {
  return details(ask("detail %s %s %d %d %d", endpoint, reference, archived, firstSize, secondSize),
                 first, firstSize, second, secondSize);
}
bool AgentSOAPClient::getEUQMsgDetail_PE(const char* endpoint, char* reference, char** first,
                                         int firstSize, char** second, int secondSize) {
  return details(ask("detailPE %s %s %d %d", endpoint, reference, firstSize, secondSize), first,
                 firstSize, second, secondSize);
}
bool AgentSOAPClient::getMTALog(const char* endpoint, char* keyword, char* fileName, char* events,
                                int mode, int* paging, int pagesize, int pagecount, int totalcount,
                                int pagenumber, int starttime, int endtime, int inode, int offset,
                                int year) {
  const int answer =
      ask("mtalog %s %s %s %d %d %d %d %d %d %d %d %d %d", endpoint, keyword, fileName, mode,
          pagesize, pagecount, totalcount, pagenumber, starttime, endtime, inode, offset, year);
  for (int i = 0; i < 9; ++i) paging[i] = 100 + i;
  write(fileName, fileNameSize - 1);
  write(events, static_cast<std::size_t>(pagesize) * bytesPerEvent);
  return answer == 0;
}
