#include <atomic>
#include <string>

#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_EuqJNI.h"
#include "product/quarantine.h"

namespace {

// The result of a job, frozen from the first time that it could be fetched to the next start of the
// job: code, text and whether it was fetched in one pointer to what does not change, so that no
// thread sees half of it. A result is never freed, on purpose: another thread may be reading it.
struct JobResult {
  int code = -1;
  std::string text;
};
using ResultCache = std::atomic<const JobResult*>;

ResultCache s_TransferResult{nullptr};
ResultCache s_RemoveResult{nullptr};

// Null, which answers with -1 or "", as long as the library has none.
template <typename Fetch>
const JobResult* fetchOnce(ResultCache& cache, const Fetch& fetch) {
  const JobResult* known = cache;
  if (known != nullptr) return known;
  JobResult fetched;
  if (!fetch(fetched.code, fetched.text)) return nullptr;
  known = new JobResult(fetched);
  cache = known;
  return known;
}

jint codeOf(const JobResult* result) { return result != nullptr ? result->code : -1; }

jstring textOf(JNIEnv* env, const JobResult* result) {
  return env->NewStringUTF(ModifiedUtf8(result != nullptr ? result->text.c_str() : "").c_str());
}

}  // namespace

// Each hands the library's answer on as it is.
#define EUQ_CALL(result, method, function) \
  VESK_JNI(result, EuqJNI, method)(JNIEnv*, jobject) { return function(); }
#define EUQ_RESULT(cache, method, method_s, function)                                             \
  VESK_JNI(jint, EuqJNI, method)(JNIEnv*, jobject) { return codeOf(fetchOnce(cache, function)); } \
  VESK_JNI(jstring, EuqJNI, method_s)(JNIEnv * env, jobject) {                                    \
    return textOf(env, fetchOnce(cache, function));                                               \
  }

EUQ_CALL(jboolean, init_1euq_1lib, init_euq_lib)
EUQ_CALL(jint, enableEuq, enable_euq)
EUQ_CALL(jint, disableEuq, disable_euq)
EUQ_CALL(jint, restartEuq, restart_euq)
EUQ_CALL(jboolean, isEuqEnable, is_euq_enable)
EUQ_CALL(jint, enableDlMaintain, enable_dl_maintain)
EUQ_CALL(jint, disableDlMaintain, disable_dl_maintain)
EUQ_CALL(jboolean, isDlMaintainEnable, is_dl_maintain_enable)
EUQ_CALL(jint, cancelTransferEuqData, cancel_transfer_euq_data)
EUQ_CALL(jboolean, isTransferringEuqData, is_transferring_euq_data)
EUQ_CALL(jboolean, isRemovingEuqData, is_removing_euq_data)
EUQ_RESULT(s_TransferResult, getTransferEuqResult, getTransferEuqResult_1s, get_transfer_euq_result)
EUQ_RESULT(s_RemoveResult, getRemoveEuqResult, getRemoveEuqResult_1s, get_remove_euq_result)

// The VM's copy of the name is never given back, on purpose. A null name is the library's to
// refuse.
VESK_JNI(jint, EuqJNI, registEuq)(JNIEnv* env, jobject, jstring name) {
  return regist_euq(name != nullptr ? keptText(env, name) : nullptr);
}

VESK_JNI(jint, EuqJNI, unregistEuq)(JNIEnv*, jobject, jint area) { return unregist_euq(area); }

VESK_JNI(jint, EuqJNI, transferEuqData)(JNIEnv*, jobject, jint area) {
  s_TransferResult = nullptr;
  return transfer_euq_data(area);
}

VESK_JNI(jint, EuqJNI, removeEuqData)(JNIEnv*, jobject) {
  s_RemoveResult = nullptr;
  return remove_euq_data();
}
