#include "CorsaJNI.h"

#include <atomic>
#include <memory>
#include <new>

#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "VeskVer.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_CorsaJNI.h"
#include "product/database.h"
#include "product/log.h"
#include "product/signon.h"

namespace {

using VESK::Log;

constexpr int sessionLifetime = 300;  // seconds

// The GUIDs of consoles whose sessions were accepted, each once, in a chain that only grows and is
// kept until the process ends: another thread may be reading one.
struct AcceptedGuid {
  const std::string text;
  const AcceptedGuid* next;
};
std::atomic<const AcceptedGuid*> acceptedGuids{nullptr};

// Of the console whose session was accepted last; null before the first. One pointer to a text that
// does not change, so that no thread sees half of it; which of two sign-ons at the same moment
// comes last is open.
std::atomic<const AcceptedGuid*> guid{nullptr};

void keepGuid(const std::string& text) {
  const AcceptedGuid* first = acceptedGuids.load();
  for (const AcceptedGuid* known = first; known != nullptr; known = known->next) {
    if (known->text == text) {
      guid = known;
      return;
    }
  }
  auto* fresh = new AcceptedGuid{text, first};
  while (!acceptedGuids.compare_exchange_weak(fresh->next, fresh)) {
  }
  guid = fresh;
}

struct ReleaseStatement {
  VESK::BvDBConnection* connection;
  void operator()(VESK::BvDBStatement* statement) const { connection->releaseStatement(statement); }
};
using Statement = std::unique_ptr<VESK::BvDBStatement, ReleaseStatement>;

// Whatever ends the rows ends the list, without being an error.
void appendRows(VESK::BvDBStatement& statement, std::vector<std::string>& guids) {
  VESK::BvDBResultset* rows = nullptr;
  if (statement.excuteQuery(&rows) != 0) return;
  const char* value = nullptr;
  while (rows->next() == 0 && rows->getString("value", &value) == 0) {
    guids.emplace_back(value);
    Log::LogByLevel(3, "CORSAJNI::GetGuids guid=%s", value);
  }
}

bool isOfConsole(int code) {
  // One that has expired comes from the console all the same, on purpose.
  return code == SSO_PKI_SUCCESS || code == SSO_PKI_EXPIRED;
}

}  // namespace

std::string GetSSOPKIMessage(int code) {
  switch (code) {
    case SSO_PKI_SUCCESS:
      return "success";
    case SSO_PKI_EXPIRED:
      return "session expired";
    case SSO_PKI_WRONG_DESTINATION:
      return "wrong destinaton";
    case SSO_PKI_INVALID_SOURCE:
      return "invalid source";
    case SSO_PKI_DECRYPT_FAIL:
      return "decrypt fail";
    case SSO_PKI_WRONG_SESSION:
      return "wrong session";
    case SSO_PKI_WRONG_GUID:
      return "wrong guid";
    case SSO_PKI_WRONG_ARGS:
      return "wrong args";
    default:
      return "Unknown";
  }
}

std::string GetPublicKeyFileName() {
  static const std::string FileName = std::string(getVeskHome()) + "/config/SSO_PKI_PublicKey.pem";
  return FileName;
}

int GetGuids(std::vector<std::string>& guids) {
  static constexpr const char* query =
      "select value from tb_global_setting where section='cmagent' and notes='Guid';";
  Log::LogByLevel(3, "CORSAJNI::GetGuids Enter");
  AdminDBSetting db;
  VeskConfigFileManager::getAdminDBSetting(db);
  const std::unique_ptr<VESK::BvDBConnection> connection(new (std::nothrow)
                                                             VESK::BvDBConnection(ODBC_VERSION));
  if (!connection || connection->connect(db.driver.c_str(), db.server.c_str(), db.database.c_str(),
                                         db.user.c_str(), 30, 1, 10, 0) != 0) {
    Log::LogByLevel(3, "CORSAJNI::GetGuids connect (%s,%s,%s,%s) failed", db.driver.c_str(),
                    db.server.c_str(), db.database.c_str(), db.user.c_str());
    return -2;
  }
  VESK::BvDBStatement* prepared = nullptr;
  if (connection->prepareStatement(query, &prepared) != 0) {
    Log::LogByLevel(3, "CORSAJNI::GetGuids prepareStatement(%s) failed", query);
    return -3;
  }
  {
    const Statement statement(prepared, {connection.get()});
    appendRows(*statement, guids);
  }
  Log::LogByLevel(3, "CORSAJNI::GetGuids Leave");
  return static_cast<int>(guids.size());
}

VESK_JNI(jint, CorsaJNI, isSessionFromCORSA)(JNIEnv* env, jobject, jstring sessionData) try {
  Log::LogByLevel(3, "CORSAJNI::isSessionFromCorsa Enter");
  const VeskJniString session(env, sessionData);
  Log::LogByLevel(3, "CORSAJNI::pSessionData=%s", session.str);
  std::vector<std::string> guids;
  if (GetGuids(guids) <= 0) {
    Log::LogByLevel(3, "CORSAJNI::isSessionFromCorsa Guids is empty,leave");
    return result::noConsoleGuid;
  }
  const std::string keyFile = GetPublicKeyFileName();
  Log::LogByLevel(3, "CORSAJNI::public key file is %s", keyFile.c_str());
  int code = SSO_PKI_WRONG_GUID;
  for (const std::string& known : guids) {
    Log::LogByLevel(3, "CORSAJNI::GUID=%s", known.c_str());
    code =
        En_SSO_PKI_IsSessionExpired(known.c_str(), session.str, keyFile.c_str(), sessionLifetime);
    Log::LogByLevel(3, "CORSAJNI::En_SSO_PKI_IsSessionExpired result=%d,msg=%s", code,
                    GetSSOPKIMessage(code).c_str());
    if (!isOfConsole(code)) continue;
    keepGuid(known);
    Log::LogByLevel(3, "CORSAJNI::isSessionFromCorsa ture,leave");
    return result::success;
  }
  Log::LogByLevel(3, "CORSAJNI::isSessionFromCorsa false,leave");
  return code;
}
VESK_ON_NO_MEMORY(result::noConsoleGuid)

VESK_JNI(jstring, CorsaJNI, CreateReponse)(JNIEnv* env, jobject, jstring sessionData) try {
  Log::LogByLevel(3, "CORSAJNI::CreateReponse Enter");
  const VeskJniString session(env, sessionData);
  Log::LogByLevel(3, "CORSAJNI::CreateReponse pSessionData=%s", session.str);
  const std::string keyFile = GetPublicKeyFileName();
  Log::LogByLevel(3, "CORSAJNI::CreateReponse public key file is %s", keyFile.c_str());
  char response[SSO_PKI_RESPONSE_SIZE] = {};
  const AcceptedGuid* accepted = guid;
  // Its result is not looked at: without an answer the text is empty.
  En_SSO_PKI_CreateSessionResponse(accepted != nullptr ? accepted->text.c_str() : "", session.str,
                                   keyFile.c_str(), response);
  Log::LogByLevel(3, "CORSAJNI::CreateReponse Response=%s", response);
  return env->NewStringUTF(ModifiedUtf8(response).c_str());
}
VESK_ON_NO_MEMORY(env->NewStringUTF(""))
