#include <atomic>
#include <string>

#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_EuqJNI.h"
#include "product/quarantine.h"

namespace {

// When memory ends on the way to the store or back.
constexpr jint storeFailed = EUQ_DATABASE;

// The result of a job, frozen from the first time that it could be fetched to the next start of the
// job: code, text and whether it was fetched in one pointer to what does not change, so that no
// thread sees half of it. All are kept, in a chain, until the process ends: another thread may be
// reading one, and a start is known by the address of the result that it put here.
struct JobResult {
  bool fetched = false;
  int code = -1;
  std::string text;
  const JobResult* next = nullptr;
};
std::atomic<const JobResult*> keptResults{nullptr};

const JobResult* keep(const JobResult& result) {
  auto* kept = new JobResult(result);
  kept->next = keptResults;
  while (!keptResults.compare_exchange_weak(kept->next, kept)) {
  }
  return kept;
}

using ResultCache = std::atomic<const JobResult*>;

const JobResult notFetched;
ResultCache s_TransferResult{&notFetched};
ResultCache s_RemoveResult{&notFetched};

// Fresh, with -1 and "", as long as the library has none. A start that comes while the library is
// asked has the last word: what was asked for is then the result of the job before.
template <typename Fetch>
const JobResult* fetchOnce(ResultCache& cache, const Fetch& fetch) {
  const JobResult* known = cache;
  if (known->fetched) return known;
  JobResult now;
  now.fetched = true;
  if (!fetch(now.code, now.text)) return &notFetched;
  const JobResult* const made = keep(now);
  cache.compare_exchange_strong(known, made);
  return made;
}

// Once more behind the start: until it took effect, another thread could still fetch the old
// result. Both are made before, so that a job that was started is told as one.
template <typename Start>
jint started(ResultCache& cache, const Start& start) {
  const JobResult* const none = keep({});
  const JobResult* const noneSince = keep({});
  cache = none;
  const int code = start();
  cache = noneSince;
  return code;
}

jstring textOf(JNIEnv* env, const JobResult* result) {
  return env->NewStringUTF(ModifiedUtf8(result->text.c_str()).c_str());
}

}  // namespace

// Each hands the library's answer on as it is.
#define EUQ_CALL(method, function)                                            \
  VESK_JNI(jint, EuqJNI, method)(JNIEnv*, jobject) try { return function(); } \
  VESK_ON_NO_MEMORY(storeFailed)
#define EUQ_QUESTION(method, function)                                            \
  VESK_JNI(jboolean, EuqJNI, method)(JNIEnv*, jobject) try { return function(); } \
  VESK_ON_NO_MEMORY(JNI_FALSE)
#define EUQ_RESULT(cache, method, method_s, function)              \
  VESK_JNI(jint, EuqJNI, method)(JNIEnv*, jobject) try {           \
    return fetchOnce(cache, function)->code;                       \
  }                                                                \
  VESK_ON_NO_MEMORY(notFetched.code)                               \
  VESK_JNI(jstring, EuqJNI, method_s)(JNIEnv * env, jobject) try { \
    return textOf(env, fetchOnce(cache, function));                \
  }                                                                \
  VESK_ON_NO_MEMORY(textOf(env, &notFetched))

EUQ_QUESTION(init_1euq_1lib, init_euq_lib)
EUQ_CALL(enableEuq, enable_euq)
EUQ_CALL(disableEuq, disable_euq)
EUQ_CALL(restartEuq, restart_euq)
EUQ_QUESTION(isEuqEnable, is_euq_enable)
EUQ_CALL(enableDlMaintain, enable_dl_maintain)
EUQ_CALL(disableDlMaintain, disable_dl_maintain)
EUQ_QUESTION(isDlMaintainEnable, is_dl_maintain_enable)
EUQ_CALL(cancelTransferEuqData, cancel_transfer_euq_data)
EUQ_QUESTION(isTransferringEuqData, is_transferring_euq_data)
EUQ_QUESTION(isRemovingEuqData, is_removing_euq_data)
EUQ_RESULT(s_TransferResult, getTransferEuqResult, getTransferEuqResult_1s, get_transfer_euq_result)
EUQ_RESULT(s_RemoveResult, getRemoveEuqResult, getRemoveEuqResult_1s, get_remove_euq_result)

// The VM's copy of the name is never given back, on purpose. A null name is the library's to
// refuse.
VESK_JNI(jint, EuqJNI, registEuq)(JNIEnv* env, jobject, jstring name) try {
  return regist_euq(name != nullptr ? keptText(env, name) : nullptr);
}
VESK_ON_NO_MEMORY(storeFailed)

VESK_JNI(jint, EuqJNI, unregistEuq)(JNIEnv*, jobject, jint area) try { return unregist_euq(area); }
VESK_ON_NO_MEMORY(storeFailed)

VESK_JNI(jint, EuqJNI, transferEuqData)(JNIEnv*, jobject, jint area) try {
  return started(s_TransferResult, [area] { return transfer_euq_data(area); });
}
VESK_ON_NO_MEMORY(storeFailed)

VESK_JNI(jint, EuqJNI, removeEuqData)(JNIEnv*, jobject) try {
  return started(s_RemoveResult, remove_euq_data);
}
VESK_ON_NO_MEMORY(storeFailed)
