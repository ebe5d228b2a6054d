// What an LDAP result code means to the caller and to the administrator who reads the log.
#ifndef VESK_DIRECTORY_FAILURE_H
#define VESK_DIRECTORY_FAILURE_H

#include <ldap.h>

#include <string>

#include "TimeBudget.h"

namespace VESK::directory {

struct Failure {
  const char* step;
  std::string peer;
  Millis elapsed;
  int code;
  std::string diagnostic;  // the server's or the TLS library's own words
};

void logFailure(const Failure& failure);

std::string diagnosticOf(LDAP* handle);

// BvLDAPAbstractConnection::LastError of a result code.
int lastErrorOf(int code);

// True when the connection cannot be used any more.
bool isWireFailure(int code);

}  // namespace VESK::directory

#endif
