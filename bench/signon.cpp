// A sign-on with many registered consoles, the last of which has issued the session, against the
// database query and one signature check in plain C. Arguments: file with the session, GUIDs.
#include <jni.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Compare.h"
#include "CorsaJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_CorsaJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "product/signon.h"
#include "signonfloor.h"

namespace {

using bench::require;

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

JNIEnv* startVm() {
  JavaVMOption options[] = {{const_cast<char*>("-Xmx256m"), nullptr}};
  JavaVMInitArgs arguments{JNI_VERSION_1_8, std::size(options), options, JNI_FALSE};
  JavaVM* vm = nullptr;
  void* env = nullptr;
  require(JNI_CreateJavaVM(&vm, &env, &arguments) == JNI_OK, "no Java VM");
  require(PEER(JniInit, initializeJNI)(static_cast<JNIEnv*>(env), nullptr) == 0,
          "initializeJNI failed");
  return static_cast<JNIEnv*>(env);
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3, "usage: signon SESSION-FILE GUIDS");
  const char* home = std::getenv("VESK_HOME");
  require(home != nullptr, "VESK_HOME is not set");
  const std::string database = std::string(home) + "/data/admin.db";
  const std::string keyFile = std::string(home) + "/config/SSO_PKI_PublicKey.pem";
  const int count = std::atoi(argv[2]);
  std::vector<floor_guid> guids(static_cast<std::size_t>(count) + 1);
  std::string session;
  std::getline(std::ifstream(argv[1]), session);
  JNIEnv* env = startVm();
  jstring text = env->NewStringUTF(session.c_str());
  const auto query = [&] {
    require(floor_guids(database.c_str(), guids.data(), count + 1) == count, "GUIDs are missing");
  };
  const auto verify = [&] {
    require(floor_verify(keyFile.c_str(), session.c_str()) == 1, "the floor's signature check");
  };
  const auto bridge = [=] {
    require(PEER(CorsaJNI, isSessionFromCORSA)(env, nullptr, text) == 0, "session not accepted");
  };
  const auto guidsOfBridge = [=] {
    std::vector<std::string> all;
    require(GetGuids(all) == count, "GUIDs are missing");
  };
  query();
  // A session just parsed is known, so that this is the refusal alone.
  const auto refusals = [&] {
    for (int i = 0; i < count; ++i) {
      require(En_SSO_PKI_IsSessionExpired(guids[0].text, session.c_str(), keyFile.c_str(), 300) ==
                  SSO_PKI_WRONG_GUID,
              "a wrong GUID was taken");
    }
  };
  bench::compare("sign-on, " + std::to_string(count) + " GUIDs", 101,
                 {{"C floor: query and signature", [&] { query(), verify(); }},
                  {"CorsaJNI.isSessionFromCORSA", bridge},
                  {"C floor: the query alone", query},
                  {"bridge: the query alone", guidsOfBridge},
                  {"C floor: the signature alone", verify},
                  {"library: the wrong GUIDs alone", refusals}},
                 5);
}
