// The records of the caller, checked and in the form that a request needs.
#ifndef VESK_PRODUCT_REPUTATION_CONFIG_H
#define VESK_PRODUCT_REPUTATION_CONFIG_H

#include <string>

#include "product/reputation.h"

namespace VESK::reputation {

struct Target {
  std::string url;     // with the path
  std::string server;  // host and port, for the log
  std::string proxy;   // http://host:port; empty: none
  std::string proxyUser;
  std::string proxyPassword;
};

// What is wrong with the record; null when `target` is set.
const char* read(const quorServerConfig& config, Target& target);

// What is wrong with the record; null when it can be used.
const char* check(const quorSSLOptions& options);

}  // namespace VESK::reputation

#endif
