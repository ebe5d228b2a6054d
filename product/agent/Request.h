// A SOAP request on its way out.
#ifndef VESK_AGENT_REQUEST_H
#define VESK_AGENT_REQUEST_H

#include <pugixml.hpp>
#include <string>

namespace VESK::agent {

class Request {
 public:
  explicit Request(const char* operation);

  void put(const char* name, const char* text);
  void put(const char* name, bool value);
  void put(const char* name, int value);
  void put(const char* name, unsigned value);
  void put(const char* name, double value);

  // The name of a text that cannot be sent, or null.
  const char* unsendable() const { return refused; }
  std::string bytes() const;

 private:
  void append(const char* name, const char* text);

  pugi::xml_document document;
  pugi::xml_node body;
  const char* refused = nullptr;
};

inline constexpr const char* SOAP_NAMESPACE = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr const char* AGENT_NAMESPACE = "urn:brelvik:vesk:agent:1";

}  // namespace VESK::agent

#endif
