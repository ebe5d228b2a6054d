// The product's client of its scanner agents: SOAP 1.1 over HTTP, as agent.wsdl describes it.
//
// `endpoint` is "http://host:port", to which "/agent" is appended; one that has a path already,
// more than "/", is taken as it is. Texts are NUL-terminated UTF-8; a supplementary character may
// arrive as the Java VM writes it (two three-byte surrogates) and is normalised before it is sent.
// A text that XML 1.0 cannot hold is not sent: the call is false. Every call makes its own
// connection, ends within its time-outs and keeps nothing; all of them may be called from several
// threads at once. Redirects and the machine's proxy settings are not followed.
//
// A call is true only when the agent answered it: HTTP 200, a well-formed answer of at most 16 MiB
// (64 KiB to a notification) to the very operation asked, without a DOCTYPE, with every element
// there and of its type. Else it is false, the outputs are as each function says, and one line in
// the log names the agent, the operation and the reason. Bytes that are no UTF-8 are let pass, and
// arrive as U+FFFD. Texts longer than their buffer are cut at the end of a character and always
// terminated.
//
// Settings read, section "agent": "connect_timeout" (seconds, default 5), "timeout" (seconds for
// one whole request, default 30), "max_connections" (of one notification at a time, default and at
// most 256; fewer where the process's descriptor limit asks for it), "scanners" (the agents of a
// patch notification, "host:port" joined by commas or blanks; default none).
#ifndef VESK_PRODUCT_AGENT_H
#define VESK_PRODUCT_AGENT_H

#include <string>
#include <vector>

class AgentSOAPClient {
 public:
  // The agent adds the operands; `answer` is its sum, 0 when the call is false. NaN as the sum of
  // operands that have another one makes the call false.
  static bool test(const char* endpoint, double first, double second, double& answer);
  static bool UnregisterNotify(const char* endpoint);
  // `echo` is the code as the agent understood it, 0 when the call is false.
  static bool sendServiceCmd(const char* endpoint, int command, int& echo);
  static bool sendSysConfigEvnt(const char* endpoint, int event, int& answer);
  static bool sendQueueManagerAction(const char* endpoint, int action, int& answer);

  // Tell every agent, on the calling thread, each of them once however often it is listed, and as
  // many at once as max_connections allows: among these a dead one delays nobody, and those that
  // wait for a place do so for its time-out at most. An address is "host:port" or
  // "http://host:port". `reply` has a line for each, in the order given, "host:port ok 12 ms" or
  // "host:port failed: reason 5003 ms". The log has a line for each as well: of a failure as of
  // every call, of the others at level DETAIL only.
  //
  // The agents of "scanners". 0: all were told; -n: n of them were not; 1: none is set.
  static int PatchSetNotify(const std::string& notification, std::string& reply);
  // The number of agents when all of them were told, -n when n were not; 0 for an empty list.
  static int PostSetNotifyAllScanners(const std::vector<std::string>& agents, std::string& reply);

  // A quarantined message. `reference` is the agent's own name for it, as its quarantine lists it.
  // With `archived`, the message is looked for in the archive instead; the _PE forms look among the
  // messages whose delivery is postponed.
  //
  // The agent writes the whole message, as it came, to the file `target` in its export folder: a
  // plain name, or a full path that lies in there.
  static bool getWholeMsg(const char* endpoint, char* reference, char* target, bool archived);
  static bool getWholeMsg_PE(const char* endpoint, char* reference, char* target);
  // The header block, decoded, a line each; `header` has room for headerSize bytes. `reserved` is
  // sent along; agents do not look at it. An empty text when the call is false.
  static constexpr int headerSize = 2048;
  static bool getMsgHeader(const char* endpoint, char* reference, bool reserved, char* header,
                           bool archived);
  static bool getMsgHeader_PE(const char* endpoint, char* reference, bool reserved, char* header);
  // The beginning of the message's text, decoded, to *first, and a line for each attachment (name,
  // type, size in bytes) to *second. The sizes are the most bytes of text; the buffers have one
  // more for the terminator. The pointers themselves stay. Empty texts when the call is false.
  static bool getEUQMsgDetail(const char* endpoint, char* reference, bool archived, char** first,
                              int firstSize, char** second, int secondSize);
  static bool getEUQMsgDetail_PE(const char* endpoint, char* reference, char** first, int firstSize,
                                 char** second, int secondSize);

  // One page of the mail transfer agent's log, out of the lines from `starttime` to `endtime`
  // (seconds since the epoch, 0 for no limit) that hold `keyword` (any line when it is empty;
  // capitals matter). `mode` is 0 for the newest events first, 1 for the oldest first.
  //
  // `fileName` (fileNameSize bytes) goes in as the log file that the last page ended in, empty for
  // the first page, and comes out as the one that this page ended in. `events` has room for
  // pagesize x bytesPerEvent bytes and a terminator: a line for each event, at most 523 bytes and a
  // newline; a text that is longer all the same is cut at the end of a character.
  //
  // `paging` has nine numbers, in the order of the arguments behind it. On the first page
  // pagecount, totalcount, inode, offset and year are 0 and pagenumber is 1. The answer has what
  // the next call is to be given as it is, but for pagenumber, which the caller raises by one:
  // pagecount and totalcount are counted with the first page only, inode and offset (bit patterns
  // of 32 bits without a sign) are where the next page begins, and `year` is the year of the last
  // event, for logs whose dates have none. A page number that does not follow from the last page is
  // looked for from the beginning. When the call is false, `paging` has what was asked, `events` is
  // empty and `fileName` stays.
  static constexpr int fileNameSize = 128;
  static constexpr int bytesPerEvent = 524;
  static bool getMTALog(const char* endpoint, char* keyword, char* fileName, char* events, int mode,
                        int* paging, int pagesize, int pagecount, int totalcount, int pagenumber,
                        int starttime, int endtime, int inode, int offset, int year);
};

#endif
