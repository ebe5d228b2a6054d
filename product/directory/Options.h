// The settings of section "LDAP" that connections read.
#ifndef VESK_DIRECTORY_OPTIONS_H
#define VESK_DIRECTORY_OPTIONS_H

#include <string>

#include "TimeBudget.h"

namespace VESK::directory {

enum class Security { NONE, STARTTLS, LDAPS, UNKNOWN };

struct Options {
  Security security = Security::UNKNOWN;
  std::string securityWord;  // as written, for messages
  std::string caFile;
  Millis connectTimeout{};
  Millis operationTimeout{};
  int pageSize = 0;
};

// With the defaults where the settings store is missing or says nothing. `port` decides what "auto"
// means.
Options loadOptions(int port);

}  // namespace VESK::directory

#endif
