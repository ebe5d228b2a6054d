#include <cstdio>
#include <memory>

#include "AgentEndpoint.h"
#include "JniCommon.h"
#include "VeskVer.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemMonitorJNI.h"
#include "product/agent.h"
#include "product/log.h"
#include "product/settings.h"

namespace {

using VESK::Log;

// Not of the common scheme: the console asks only whether it was written.
constexpr jint notWritten = -1;

// As of one agent: nobody knows how many were told.
constexpr jint notTold = -1;

struct DeleteLocal {
  JNIEnv* env;
  void operator()(jstring string) const { env->DeleteLocalRef(string); }
};
using LocalString = std::unique_ptr<_jstring, DeleteLocal>;

// Logged one by one, as they are taken over.
std::vector<std::string> addressesOf(JNIEnv* env, jobject list) {
  const jint size = env->CallIntMethod(list, jArrLSize);
  const bool threw = env->ExceptionCheck();
  Log::LogByLevel(3, "IpPortList.size()=%d", size);
  std::vector<std::string> addresses;
  for (jint i = 0; i < size && !threw; ++i) {
    const LocalString element(static_cast<jstring>(env->CallObjectMethod(list, jArrLGet, i)),
                              {env});
    if (env->ExceptionCheck()) break;
    const VeskJniString address(env, element.get());
    Log::LogByLevel(3, "ipPortStr=%s", address.str);
    addresses.emplace_back(address.str);
  }
  return addresses;
}

}  // namespace

VESK_JNI(jint, SystemMonitorJNI, getVESKVersion)(JNIEnv* env, jobject, jobject list) {
  char banner[512];
  std::snprintf(banner, sizeof banner, "%s", GetVeskVersionStr());
  static_cast<void>(formJArrListStr(env, banner, list));
  return result::success;
}

// The agent proves by a sum that it worked on the request; an exact one, so no tolerance.
VESK_JNI(jint, SystemMonitorJNI, testConnection)
(JNIEnv* env, jobject, jstring host, jint port, jobject list) try {
  if (host == nullptr) return result::nullArgument;
  AgentEndpoint endpoint(env, host, port);
  // Told whatever comes of it: the console shows which address was tried.
  static_cast<void>(formJArrListStr(env, endpoint.text(), list));
  double answer = 0;
  const bool answered = AgentSOAPClient::test(endpoint.text(), 1980.0, 722.0, answer);
  return answered && answer == 2702.0 ? result::success : result::agentFailed;
}
VESK_ON_NO_MEMORY(result::agentFailed)

// 1 for success and 0 for failure, on purpose: the reverse of its neighbours.
VESK_JNI(jint, SystemMonitorJNI, UnregisterNotify)
(JNIEnv* env, jobject, jstring host, jint port) try {
  if (host == nullptr) return result::nullArgument;
  AgentEndpoint endpoint(env, host, port);
  return AgentSOAPClient::UnregisterNotify(endpoint.text()) ? 1 : 0;
}
VESK_ON_NO_MEMORY(JNI_FALSE)

VESK_JNI(jint, SystemMonitorJNI, sendServiceCmd)
(JNIEnv* env, jobject, jstring host, jint port, jint command) try {
  if (host == nullptr) return result::nullArgument;
  AgentEndpoint endpoint(env, host, port);
  int echo = 0;
  const bool answered = AgentSOAPClient::sendServiceCmd(endpoint.text(), command, echo);
  return answered && echo == command ? result::success : result::agentFailed;
}
VESK_ON_NO_MEMORY(result::agentFailed)

VESK_JNI(jint, SystemMonitorJNI, updateGlobalSetting)
(JNIEnv* env, jobject, jstring first, jstring second, jstring third) try {
  if (anyNull(first, second, third)) return notWritten;
  const VeskJniString value(env, first);
  const VeskJniString section(env, second);
  const VeskJniString key(env, third);
  requireRead(value, section, key);  // an empty value would take the place of the old one
  char path[512] = {};
  std::snprintf(path, sizeof path, "%s/config/%s", getVeskHome(), "vesk.ini");
  VESK::GlobalSettingOnMem* store =
      VESK::GlobalSettingOnMem::Instance(path, true, nullptr, nullptr, nullptr, nullptr, true);
  if (store == nullptr) return notWritten;
  // The first argument goes last, on purpose.
  const int written = store->_replace_create_item_on_mem(section.str, key.str, value.str);
  return written != 0 ? result::success : notWritten;
}
VESK_ON_NO_MEMORY(notWritten)

// The client's own result; what each agent answered is in the log.
VESK_JNI(jint, SystemMonitorJNI, PatchSetNotify)(JNIEnv* env, jobject, jstring notification) try {
  if (notification == nullptr) return result::nullArgument;
  const VeskJniString text(env, notification);
  requireRead(text);
  std::string reply;
  return AgentSOAPClient::PatchSetNotify(text.str, reply);
}
VESK_ON_NO_MEMORY(notTold)

VESK_JNI(jint, SystemMonitorJNI, PostSetNotifyAllScanners)(JNIEnv* env, jobject, jobject list) try {
  if (list == nullptr) return result::nullArgument;
  const std::vector<std::string> addresses = addressesOf(env, list);
  std::string reply;
  const int told = AgentSOAPClient::PostSetNotifyAllScanners(addresses, reply);
  return told > 0 ? result::success : told;
}
VESK_ON_NO_MEMORY(notTold)
