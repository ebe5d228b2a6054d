// One request for the server's status.
#ifndef VESK_PRODUCT_REPUTATION_REQUEST_H
#define VESK_PRODUCT_REPUTATION_REQUEST_H

#include <string>

#include "Config.h"

namespace VESK::reputation {

struct Outcome {
  quorResult result = QUOR_NO_RESOURCES;
  int errorCode = 0;
  const char* step = "start";  // that failed
  std::string reason{};
  std::string diagnostic{};  // the component's
  const char* hint = "";
};

// Takes at most `milliseconds`.
Outcome askStatus(const Target& target, const quorSSLOptions& options, int milliseconds);

}  // namespace VESK::reputation

#endif
