// A SOAP answer that came in.
#ifndef VESK_AGENT_ANSWER_H
#define VESK_AGENT_ANSWER_H

#include <pugixml.hpp>
#include <string>

#include "Failure.h"

namespace VESK::agent {

class Answer {
 public:
  // Takes the text over. `status` is HTTP's.
  Failure read(std::string text, long status, const char* operation);

  // The element of this name, if it is there once and of the type that is asked for.
  Failure get(const char* name, bool& value) const;
  Failure get(const char* name, int& value) const;
  Failure get(const char* name, unsigned& value) const;
  Failure get(const char* name, double& value) const;
  Failure get(const char* name, std::string& value) const;

 private:
  Failure find(const char* name, std::string& text) const;

  std::string bytes;  // the document's names and values lie in here
  pugi::xml_document document;
  pugi::xml_node response;
};

}  // namespace VESK::agent

#endif
