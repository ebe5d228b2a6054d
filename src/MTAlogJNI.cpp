#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_MTAlogJNI.h"
#include "product/agent.h"
#include "product/log.h"

namespace {

using VESK::Log;

constexpr jsize pagingLength = 9;
constexpr long long largestBuffer = INT32_MAX;

struct Free {
  void operator()(char* block) const { std::free(block); }
};
using EventText = std::unique_ptr<char, Free>;

// The caller's block, written back at the end of the scope.
class PagingBlock {
 public:
  PagingBlock(JNIEnv* jniEnv, jintArray javaBlock)
      : env(jniEnv), block(javaBlock), elements(env->GetIntArrayElements(block, nullptr)) {}
  ~PagingBlock() {
    if (elements != nullptr) env->ReleaseIntArrayElements(block, elements, 0);
  }
  PagingBlock(const PagingBlock&) = delete;
  PagingBlock& operator=(const PagingBlock&) = delete;
  explicit operator bool() const { return elements != nullptr; }
  jint& operator[](std::size_t index) { return elements[index]; }

 private:
  JNIEnv* env;
  jintArray block;
  jint* elements;
};

void logTime(const char* what, jint seconds) {
  const std::time_t time = seconds;
  std::tm local{};
  localtime_r(&time, &local);
  Log::LogByLevel(3, "%s time: %d-%d-%d %d:%d:%d", what, local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

void logQuery(PagingBlock& page, const char* fileName, const char* server, const char* keyword) {
  Log::LogByLevel(3,
                  "getMTAEventSubmit para pagesize=%d pagecount=%d totalcount=%d pagenumber=%d "
                  "starttime=%d endtime=%d inode=%d offset=%d year=%d",
                  page[0], page[1], page[2], page[3], page[4], page[5], page[6], page[7], page[8]);
  Log::LogByLevel(3, "filename:%s, srvUrl:%s, keyword:%s", fileName, server, keyword);
  logTime("start", page[4]);
  logTime("end", page[5]);
}

// Zeroed; null when it cannot be had. A page size below 0, or whose buffer no int could count, is
// refused like one that memory has no room for.
EventText eventBuffer(jint pageSize) {
  const long long size = static_cast<long long>(pageSize) * AgentSOAPClient::bytesPerEvent + 1;
  Log::LogByLevel(3, "getMTAEventSubmit msg len=%lld", size);
  if (size < 1 || size > largestBuffer) return nullptr;
  return EventText(static_cast<char*>(std::calloc(static_cast<std::size_t>(size), 1)));
}

}  // namespace

// A failed query answers 0 too; the log tells.
VESK_JNI(jint, MTAlogJNI, getMTAEventSubmit)
(JNIEnv* env, jobject, jstring server, jstring keyword, jint mode, jintArray paging,
 jstring fileName, jobject list) try {
  Log::LogByLevel(3, "Enter MTAlogJNI_getMTAEventSubmit");
  if (server == nullptr) return result::nullArgument;
  const jsize length = paging != nullptr ? env->GetArrayLength(paging) : 0;
  if (length != pagingLength) {
    Log::LogByLevel(3, "getMTAEventSubmit para wrong length=%d", length);
    return result::nullArgument;
  }
  PagingBlock page(env, paging);
  if (!page) throw std::bad_alloc();
  const VeskJniString file(env, fileName);
  const VeskJniString url(env, server);
  const VeskJniString word(env, keyword);
  requireRead(file, url, word);
  logQuery(page, file.str, url.str, word.str);
  std::string sought = word.str;  // the client takes texts as writable
  int state[pagingLength];        // the client sets all of it, whatever becomes of the query
  char name[AgentSOAPClient::fileNameSize] = {};
  std::snprintf(name, sizeof name, "%s", file.str);
  const EventText events = eventBuffer(page[0]);
  if (!events) {
    Log::LogByLevel(3, "getMTAEventSubmit msg malloc failed");
    return result::success;
  }
  const bool answered = AgentSOAPClient::getMTALog(url.str, sought.data(), name, events.get(), mode,
                                                   state, page[0], page[1], page[2], page[3],
                                                   page[4], page[5], page[6], page[7], page[8]);
  Log::LogByLevel(
      3, answered ? "getMTAEventSubmit getMTALog OK" : "getMTAEventSubmit getMTALog failed");
  for (std::size_t i = 0; i < pagingLength; ++i) page[i] = state[i];
  std::vector<std::string> texts{name, events.get()};
  static_cast<void>(formJArrListStr(env, texts, list));
  return result::success;
}
VESK_ON_NO_MEMORY(result::success)
