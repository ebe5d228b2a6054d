// The connection recipe that all directory operations share.
#ifndef VESK_BRIDGE_DIRECTORY_SESSION_H
#define VESK_BRIDGE_DIRECTORY_SESSION_H

#include <jni.h>

#include <memory>

#include "JniCommon.h"
#include "product/directory.h"

// The connection parameters as the console passes them on every call; nothing comes from the saved
// settings, so that an administrator can test what is not saved yet. No string may be null. Vendor
// and authentication type are passed on unchecked: the directory library knows which it serves.
class DirectoryArguments {
 public:
  DirectoryArguments(JNIEnv* env, jint vendorValue, jint authValue, jstring host, jint portNumber,
                     jstring bindUser, jstring bindPassword, jstring baseDN)
      : vendor(static_cast<VESK::BvLDAPAbstractConnection::LDAPVendor>(vendorValue)),
        authType(static_cast<VESK::BvLDAPAbstractConnection::AuthenType>(authValue)),
        port(portNumber),
        hostText(env, host),
        userText(env, bindUser),
        passwordText(env, bindPassword),
        baseText(env, baseDN) {}

  const VESK::BvLDAPAbstractConnection::LDAPVendor vendor;
  const VESK::BvLDAPAbstractConnection::AuthenType authType;
  const int port;
  const char* host() const { return hostText.str; }
  const char* bindUser() const { return userText.str; }
  const char* bindPassword() const { return passwordText.str; }
  const char* baseDN() const { return baseText.str; }

 private:
  VeskJniString hostText;
  VeskJniString userText;
  VeskJniString passwordText;
  VeskJniString baseText;
};

// One connection for one call. Once connected it is disconnected and then deleted, on every way
// out; one that never connected is only deleted.
class DirectorySession {
 public:
  DirectorySession() = default;
  ~DirectorySession();
  DirectorySession(const DirectorySession&) = delete;
  DirectorySession& operator=(const DirectorySession&) = delete;

  // Connects and binds; 0, 200 or 201.
  [[nodiscard]] jint open(const DirectoryArguments& arguments);
  // The same, and then loads the vendor's script, so that a change of vendor between two calls
  // takes effect at once.
  [[nodiscard]] jint openWithScript(const DirectoryArguments& arguments);
  // Connects without a bind; 0, 200 or 201.
  [[nodiscard]] jint openAnonymously(VESK::BvLDAPAbstractConnection::LDAPVendor vendor,
                                     VESK::BvLDAPAbstractConnection::AuthenType authType,
                                     const char* host, int port);

  // The moments of release are part of what the operations promise; the destructor is the safety
  // net.
  void close();                    // disconnect, then delete
  void deleteWithoutDisconnect();  // after a refused bind
  void leaveOpen();                // forget the connection: it stays open until the process ends

  // Reads the last error, closes the session, and gives the code of a failed query: 206, 207 or
  // 205.
  [[nodiscard]] jint closeAfterFailedQuery();

  VESK::BvLDAPConnection* get() const { return connection.get(); }
  VESK::BvLDAPConnection* operator->() const { return connection.get(); }

 private:
  std::unique_ptr<VESK::BvLDAPConnection> connection;
  bool connected = false;

  template <typename Connect>
  jint create(VESK::BvLDAPAbstractConnection::LDAPVendor vendor,
              VESK::BvLDAPAbstractConnection::AuthenType authType, const Connect& connect);
};

// The code of a failed query for a connection's last error.
[[nodiscard]] jint queryFailure(int lastError);

#endif
