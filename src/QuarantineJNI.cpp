#include <cstdlib>

#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QuarantineJNI.h"
#include "product/agent.h"

// The VM's copies of the strings are never given back here, on purpose.

namespace {

// The peer's answers, apart from 500.
constexpr jint failed = 0;
constexpr jint fetched = 1;

constexpr int detailSize = 8192;
constexpr int secondSize = 512;
constexpr int postponedSecondSize = 256;
constexpr jint queueAction = 1;  // the only one there is

// A zeroed buffer, which the client reaches through its pointer.
struct Buffer {
  char* text;
  explicit Buffer(int size)
      : text(static_cast<char*>(std::calloc(static_cast<std::size_t>(size), 1))) {}
  ~Buffer() { std::free(text); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
};

// The client takes texts as writable, so that it gets copies of just their size.
template <typename Fetch>
jint fetchWhole(JNIEnv* env, jstring endpoint, jstring reference, jstring target,
                const Fetch& fetch) {
  if (anyNull(endpoint, reference, target)) return result::nullArgument;
  const char* agent = keptText(env, endpoint);
  std::string message = keptText(env, reference);
  std::string third = keptText(env, target);
  if (*agent == '\0' || message.empty() || third.empty()) return failed;
  return fetch(agent, message.data(), third.data()) ? fetched : failed;
}

// Header first, then both details, the second of at most `size` bytes.
template <typename Header, typename Details>
jint fetchTexts(JNIEnv* env, jstring endpoint, jstring reference, jobject list, int size,
                const Header& getHeader, const Details& getDetails) {
  if (anyNull(endpoint, reference)) return result::nullArgument;
  const char* agent = keptText(env, endpoint);
  std::string message = keptText(env, reference);
  if (*agent == '\0' || message.empty()) return failed;
  Buffer header(AgentSOAPClient::headerSize);
  Buffer first(detailSize + 1);
  Buffer second(size + 1);
  if (anyNull(header.text, first.text, second.text)) throw std::bad_alloc();
  if (!getHeader(agent, message.data(), header.text) ||
      !getDetails(agent, message.data(), &first.text, &second.text)) {
    return failed;
  }
  std::vector<std::string> texts{header.text, first.text, second.text};
  static_cast<void>(formJArrListStr(env, texts, list));
  return fetched;
}

}  // namespace

VESK_JNI(jint, QuarantineJNI, getEmail)
(JNIEnv* env, jobject, jstring endpoint, jstring reference, jstring target, jboolean flag) try {
  return fetchWhole(env, endpoint, reference, target, [&](const char* agent, char* ref, char* to) {
    return AgentSOAPClient::getWholeMsg(agent, ref, to, flag != JNI_FALSE);
  });
}
VESK_ON_NO_MEMORY(failed)

VESK_JNI(jint, QuarantineJNI, getEmail_1P)
(JNIEnv* env, jobject, jstring endpoint, jstring reference, jstring target) try {
  return fetchWhole(env, endpoint, reference, target, AgentSOAPClient::getWholeMsg_PE);
}
VESK_ON_NO_MEMORY(failed)

VESK_JNI(jint, QuarantineJNI, getMsgHeaderOrBody)
(JNIEnv* env, jobject, jstring endpoint, jstring reference, jboolean flag, jobject list) try {
  const bool chosen = flag != JNI_FALSE;
  return fetchTexts(
      env, endpoint, reference, list, secondSize,
      [&](const char* agent, char* ref, char* header) {
        return AgentSOAPClient::getMsgHeader(agent, ref, false, header, chosen);
      },
      [&](const char* agent, char* ref, char** first, char** second) {
        return AgentSOAPClient::getEUQMsgDetail(agent, ref, chosen, first, detailSize, second,
                                                secondSize);
      });
}
VESK_ON_NO_MEMORY(failed)

VESK_JNI(jint, QuarantineJNI, getMsgHeaderOrBody_1P)
(JNIEnv* env, jobject, jstring endpoint, jstring reference, jobject list) try {
  return fetchTexts(
      env, endpoint, reference, list, postponedSecondSize,
      [](const char* agent, char* ref, char* header) {
        return AgentSOAPClient::getMsgHeader_PE(agent, ref, false, header);
      },
      [](const char* agent, char* ref, char** first, char** second) {
        return AgentSOAPClient::getEUQMsgDetail_PE(agent, ref, first, detailSize, second,
                                                   postponedSecondSize);
      });
}
VESK_ON_NO_MEMORY(failed)

// What the agent makes of it is not told, on purpose.
VESK_JNI(jint, QuarantineJNI, sendQueueManagementAction)
(JNIEnv* env, jobject, jstring endpoint) try {
  if (endpoint == nullptr) return result::nullArgument;
  const char* agent = keptText(env, endpoint);
  if (*agent == '\0') return result::success;
  int answer = 0;
  AgentSOAPClient::sendQueueManagerAction(agent, queueAction, answer);
  return result::success;
}
VESK_ON_NO_MEMORY(result::success)
