// Why a request cannot be served at all; it becomes a SOAP fault.
#ifndef VESK_APPLIANCE_AGENT_FAULT_H
#define VESK_APPLIANCE_AGENT_FAULT_H

#include <stdexcept>
#include <string>

namespace agent {

class Fault : public std::runtime_error {
 public:
  // `code`: Client, Server, VersionMismatch or MustUnderstand. `reason` is one line.
  Fault(const char* code, const std::string& reason)
      : std::runtime_error(reason), faultCode(code) {}
  const char* code() const { return faultCode; }

 private:
  const char* faultCode;
};

}  // namespace agent

#endif
