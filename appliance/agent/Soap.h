// Requests and answers in SOAP 1.1, document/literal, as agent.wsdl describes them.
#ifndef VESK_APPLIANCE_AGENT_SOAP_H
#define VESK_APPLIANCE_AGENT_SOAP_H

#include <cstdint>
#include <pugixml.hpp>
#include <string>

#include "Fault.h"

namespace agent {

class Request {
 public:
  // Throws a Fault for what is no request: broken XML, a DOCTYPE, too deep, too much
  // markup, not SOAP 1.1.
  explicit Request(const std::string& body);

  std::string operation() const;

  // Operands by name; each throws a Fault when it is missing, there twice or not of its
  // type.
  std::string text(const char* name) const;
  std::int32_t number(const char* name) const;
  std::uint32_t unsignedNumber(const char* name) const;
  double real(const char* name) const;
  bool flag(const char* name) const;

 private:
  std::string word(const char* name) const;  // without the blanks around it

  pugi::xml_document document;
  pugi::xml_node call;
};

// The elements of an answer, in the order of the schema.
class Answer {
 public:
  explicit Answer(const std::string& operation);

  Answer& add(const char* name, const std::string& text);
  Answer& add(const char* name, bool value) {
    return add(name, std::string(value ? "true" : "false"));
  }
  Answer& add(const char* name, std::int32_t value) { return add(name, std::to_string(value)); }
  Answer& add(const char* name, std::uint32_t value) { return add(name, std::to_string(value)); }
  Answer& add(const char* name, double value);
  Answer& add(const char* name, const char* value) = delete;  // it would be taken for a bool

  std::string xml() const;

 private:
  pugi::xml_document document;
  pugi::xml_node body;
};

std::string faultXml(const Fault& fault);

}  // namespace agent

#endif
