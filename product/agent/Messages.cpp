// The operations on quarantined messages and on the mail log.
#include <cstring>

#include "Call.h"
#include "Text.h"
#include "product/agent.h"
#include "shared/Boundary.h"

using VESK::agent::Call;
using VESK::agent::copyCut;

namespace hint = VESK::agent::hint;

namespace {

bool takeHeader(Call& call, char* header) {
  *header = '\0';
  std::string text;
  if (!call.accepted() || !call.get("header", text)) return false;
  copyCut(text, header, AgentSOAPClient::headerSize - 1);
  return true;
}

struct Details {
  char* first;
  int firstSize;
  char* second;
  int secondSize;
};

bool takeDetails(Call& call, const Details& details) {
  if (details.firstSize < 0 || details.secondSize < 0)
    return call.succeeded({"a size below 0", hint::CALLER});
  *details.first = *details.second = '\0';
  call.put("firstSize", details.firstSize).put("secondSize", details.secondSize);
  std::string first;
  std::string second;
  if (!call.accepted() || !call.get("first", first) || !call.get("second", second)) return false;
  copyCut(first, details.first, static_cast<std::size_t>(details.firstSize));
  copyCut(second, details.second, static_cast<std::size_t>(details.secondSize));
  return true;
}

// One element of the paging block; those that travel as numbers without a sign are its bits.
struct Paging {
  const char* name;
  bool isUnsigned;
};
constexpr Paging pagingElements[] = {
    {"pagesize", false},   {"pagecount", false}, {"totalcount", false},
    {"pagenumber", false}, {"starttime", false}, {"endtime", false},
    {"inode", true},       {"offset", true},     {"year", false}};
constexpr std::size_t pagingCount = std::size(pagingElements);

bool takePaging(Call& call, int (&paging)[pagingCount]) {
  for (std::size_t i = 0; i < pagingCount; ++i) {
    const Paging& element = pagingElements[i];
    unsigned bits = 0;
    if (!(element.isUnsigned ? call.get(element.name, bits) : call.get(element.name, paging[i])))
      return false;
    if (element.isUnsigned) paging[i] = static_cast<int>(bits);
  }
  return true;
}

// A name that was cut to fit may end within a character.
std::string wholeCharacters(const char* name) {
  std::string text(name, strnlen(name, AgentSOAPClient::fileNameSize - 1));
  if (text.size() < AgentSOAPClient::fileNameSize - 1) return text;
  constexpr std::size_t LONGEST_REST = 5;  // of a character in two surrogates
  for (std::size_t rest = 0; rest <= LONGEST_REST; ++rest) {
    std::string shorter = text.substr(0, text.size() - rest);
    if (VESK::agent::textForXml(shorter)) return shorter;
  }
  return text;
}

}  // namespace

bool AgentSOAPClient::getWholeMsg(const char* endpoint, char* reference, char* target,
                                  bool archived) try {
  Call call(endpoint, "getWholeMsg");
  return call.put("reference", reference)
      .put("target", target)
      .put("archived", archived)
      .accepted();
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getWholeMsg_PE(const char* endpoint, char* reference, char* target) try {
  Call call(endpoint, "getWholeMsg_PE");
  return call.put("reference", reference).put("target", target).accepted();
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getMsgHeader(const char* endpoint, char* reference, bool reserved,
                                   char* header, bool archived) try {
  Call call(endpoint, "getMsgHeader");
  call.put("reference", reference).put("reserved", reserved).put("archived", archived);
  return takeHeader(call, header);
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getMsgHeader_PE(const char* endpoint, char* reference, bool reserved,
                                      char* header) try {
  Call call(endpoint, "getMsgHeader_PE");
  call.put("reference", reference).put("reserved", reserved);
  return takeHeader(call, header);
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getEUQMsgDetail(const char* endpoint, char* reference, bool archived,
                                      char** first, int firstSize, char** second,
                                      int secondSize) try {
  Call call(endpoint, "getEUQMsgDetail");
  call.put("reference", reference).put("archived", archived);
  return takeDetails(call, {*first, firstSize, *second, secondSize});
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getEUQMsgDetail_PE(const char* endpoint, char* reference, char** first,
                                         int firstSize, char** second, int secondSize) try {
  Call call(endpoint, "getEUQMsgDetail_PE");
  call.put("reference", reference);
  return takeDetails(call, {*first, firstSize, *second, secondSize});
}
VESK_AT_BOUNDARY("agent", false)

bool AgentSOAPClient::getMTALog(const char* endpoint, char* keyword, char* fileName, char* events,
                                int mode, int* paging, int pagesize, int pagecount, int totalcount,
                                int pagenumber, int starttime, int endtime, int inode, int offset,
                                int year) try {
  const int asked[] = {pagesize, pagecount, totalcount, pagenumber, starttime,
                       endtime,  inode,     offset,     year};
  std::memcpy(paging, asked, sizeof asked);
  Call call(endpoint, "getMTALog");
  if (pagesize < 0) return call.succeeded({"a page size below 0", hint::CALLER});
  *events = '\0';
  call.put("keyword", keyword).put("fileName", wholeCharacters(fileName).c_str()).put("mode", mode);
  for (std::size_t i = 0; i < pagingCount; ++i) {
    if (pagingElements[i].isUnsigned) {
      call.put(pagingElements[i].name, static_cast<unsigned>(asked[i]));
    } else {
      call.put(pagingElements[i].name, asked[i]);
    }
  }
  int answered[pagingCount] = {};
  std::string name;
  std::string text;
  if (!call.accepted() || !takePaging(call, answered)) return false;
  if (!call.get("fileName", name) || !call.get("events", text)) return false;
  std::memcpy(paging, answered, sizeof answered);
  copyCut(name, fileName, fileNameSize - 1);
  copyCut(text, events, static_cast<std::size_t>(pagesize) * bytesPerEvent);
  return true;
}
VESK_AT_BOUNDARY("agent", false)
