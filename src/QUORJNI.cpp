#include <algorithm>
#include <iterator>
#include <string>

#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QUORJNI.h"
#include "product/log.h"
#include "product/reputation.h"

namespace {

using VESK::Log;

constexpr int checkLimit = 4000;  // milliseconds

// Each byte becomes one character, and one from 0x80 up a negative one, on purpose: only ASCII
// reaches the library as it is.
std::wstring widened(const std::string& text) {
  std::wstring wide;
  for (const char byte : text) wide += static_cast<wchar_t>(static_cast<signed char>(byte));
  return wide;
}

// Into a field of zeros, which ends the text. One that is too long fills its field to the end, and
// the library refuses it, as it would not a password that lacks its last characters.
template <std::size_t Size>
void put(wchar_t (&field)[Size], const std::string& text) {
  const std::wstring wide = widened(text);
  std::wcsncpy(field, wide.c_str(), std::min(wide.size(), Size));
}

struct Proxy {
  bool enabled;
  const char* server;
  int port;
  const char* user;
  const char* password;
};

void fill(quorServerConfig& config, const char* server, const Proxy& proxy,
          const std::string& proxyServer) {
  put(config.serverAddr, server);
  if (!proxy.enabled) return;
  config.useProxy = true;
  put(config.proxyServer, proxyServer);
  config.proxyPort = proxy.port;
  put(config.proxyUser, proxy.user);
  put(config.proxyPassword, proxy.password);
}

std::string bracketed(const char* server) {
  std::string text = server;
  if (text.find(':') == std::string::npos) return text;
  text = '[' + text + ']';
  Log::LogByLevel(3, "IPV6 ProxyServer:%s", text.c_str());
  return text;
}

// Returns the code of the step that ended the check.
int check(const char* server, const Proxy& proxy, int& errorCode) try {
  const std::string proxyServer = bracketed(proxy.server);
  quorServerConfig config{};
  if (const int code = quorLoadDefaultServerConfigEx(QUOR_CONFIG_SERVER, &config); code != 0) {
    Log::LogByLevel(1, "load default Server configEx failed");
    return code;
  }
  fill(config, server, proxy, proxyServer);
  if (const int code = quorSetServerConfigEx(&config); code != 0) {
    Log::LogByLevel(1, "[quor Handler] quorSetServerConfigEx failed, (%s:%d)", __FILE_NAME__,
                    __LINE__);
    return code;
  }
  Log::LogByLevel(3, "[quor Handler] quorSetServerConfigEx succeed, (%s:%d)", __FILE_NAME__,
                  __LINE__);
  quorSSLOptions ssl{};
  quorLoadDefaultSSLOptionEx(QUOR_CONFIG_SERVER, &ssl);
  ssl.requireStapling = 0;
  quorSetSSLOptionsEx(&ssl);
  int limit = checkLimit;
  double totalTime = 0;
  const int code = quorChkServerStatusEx(&config, &ssl, &limit, &errorCode, &totalTime);
  // A failure's level, on purpose: the result of every check reaches the log.
  Log::LogByLevel(1, "[quor Handler] quor server rc=(%d), errorCode=(%d), totalTime=(%f), (%s:%d)",
                  code, errorCode, totalTime, __FILE_NAME__, __LINE__);
  return code;
} catch (const std::bad_alloc&) {
  logNoMemory("QUORJNI_quorChkServerStatus");
  return QUOR_NO_RESOURCES;
}

}  // namespace

VESK_JNI(jintArray, QUORJNI, quorChkServerStatus)
(JNIEnv* env, jobject, jstring serverAddr, jint enableProxy, jstring proxyServer, jint proxyPort,
 jstring proxyUser, jstring proxyPassword) {
  Log::LogByLevel(3, "QUORJNI::quorChkServerStatus Enter");
  const VeskJniString server(env, serverAddr);
  const VeskJniString host(env, proxyServer);
  const VeskJniString user(env, proxyUser);
  const VeskJniString password(env, proxyPassword);
  Log::LogByLevel(3, "CairnServerAddr:%s", server.str);
  Log::LogByLevel(3, "EnableProxy:%d", enableProxy);
  Log::LogByLevel(3, "ProxyServer:%s", host.str);
  Log::LogByLevel(3, "ProxyPort:%d", proxyPort);
  Log::LogByLevel(3, "ProxyUserName:%s", user.str);
  jintArray answer = env->NewIntArray(2);
  if (answer == nullptr) return nullptr;  // the VM throws its own OutOfMemoryError
  const Proxy proxy{enableProxy == 1, host.str, proxyPort, user.str, password.str};
  int errorCode = 0;
  const int code = check(server.str, proxy, errorCode);
  const jint values[] = {code, errorCode};
  env->SetIntArrayRegion(answer, 0, 2, values);
  return answer;
}
