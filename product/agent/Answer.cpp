#include "Answer.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "Markup.h"
#include "Request.h"
#include "Text.h"

namespace VESK::agent {

namespace {

std::string_view localName(pugi::xml_node node) {
  const std::string_view name = node.name();
  return name.substr(name.find(':') + 1);
}

std::string_view namespaceOf(pugi::xml_node node) {
  const std::string_view name = node.name();
  const std::size_t colon = name.find(':');
  std::string declaration = "xmlns";
  if (colon != std::string_view::npos) declaration += ":" + std::string(name.substr(0, colon));
  for (; node; node = node.parent()) {
    if (const pugi::xml_attribute found = node.attribute(declaration.c_str())) return found.value();
  }
  return {};
}

bool is(pugi::xml_node node, std::string_view name, std::string_view space) {
  return node.type() == pugi::node_element && localName(node) == name && namespaceOf(node) == space;
}

pugi::xml_node childOf(pugi::xml_node node, std::string_view name, std::string_view space) {
  return node.find_child([&](pugi::xml_node child) { return is(child, name, space); });
}

// False when there are elements inside.
bool textOf(pugi::xml_node node, std::string& text) {
  text.clear();
  for (const pugi::xml_node child : node) {
    if (child.type() == pugi::node_element) return false;
    text += child.value();
  }
  return true;
}

std::string_view trimmed(std::string_view text) {
  constexpr const char* BLANKS = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
  return text.substr(0, text.find_last_not_of(BLANKS) + 1);
}

template <typename Number>
bool numberOf(std::string_view text, Number& value) {
  text = trimmed(text);
  // XML Schema allows a plus sign, from_chars does not.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return !text.empty() && error == std::errc() && stop == end;
}

bool doubleOf(std::string_view text, double& value) {
  text = trimmed(text);
  using Limits = std::numeric_limits<double>;
  if (text == "NaN") return value = Limits::quiet_NaN(), true;
  if (text == "INF") return value = Limits::infinity(), true;
  if (text == "-INF") return value = -Limits::infinity(), true;
  // from_chars takes other spellings of these too.
  if (text.find_first_not_of("0123456789+-.eE") != text.npos) return false;
  if (numberOf(text, value)) return true;
  // Too near to zero for a double.
  long double wide = 1;
  if (!numberOf(text, wide) || std::fabs(wide) >= 1) return false;
  value = static_cast<double>(wide);
  return true;
}

Failure faultOf(pugi::xml_node fault) {
  std::string code;
  std::string words;
  textOf(fault.child("faultcode"), code);
  textOf(fault.child("faultstring"), words);
  return {"a SOAP fault", hint::REFUSED, code + ": " + words};
}

std::string httpReason(long status) {
  const bool redirect = status >= 300 && status < 400;
  return "HTTP status " + std::to_string(status) + (redirect ? ", which is not followed" : "");
}

Failure parse(pugi::xml_document& document, std::string& bytes) {
  if (const char* markup = refusedMarkup(bytes)) return {markup, hint::DIALECT};
  // An element of blanks only has them as its text.
  constexpr unsigned HOW =
      pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_declaration;
  const pugi::xml_parse_result parsed =
      document.load_buffer_inplace(bytes.data(), bytes.size(), HOW, pugi::encoding_utf8);
  if (!parsed) {
    return {"not a whole XML document", hint::DIALECT,
            std::string(parsed.description()) + " at byte " + std::to_string(parsed.offset)};
  }
  const char* encoding = document.first_child().attribute("encoding").value();
  if (*encoding != '\0' && strcasecmp(encoding, "utf-8") != 0 &&
      strcasecmp(encoding, "us-ascii") != 0) {
    return {"not in UTF-8", hint::DIALECT, encoding};
  }
  return {};
}

}  // namespace

Failure Answer::read(std::string text, long status, const char* operation) {
  bytes = std::move(text);
  Failure malformed = parse(document, bytes);
  const pugi::xml_node body =
      childOf(childOf(document, "Envelope", SOAP_NAMESPACE), "Body", SOAP_NAMESPACE);
  const pugi::xml_node first =
      body.find_child([](pugi::xml_node child) { return child.type() == pugi::node_element; });
  if (!malformed && is(first, "Fault", SOAP_NAMESPACE)) return faultOf(first);
  if (status != 200) return {httpReason(status), hint::DIALECT};
  if (malformed) return malformed;
  if (!body) {
    return {"no SOAP 1.1 envelope", hint::DIALECT,
            std::string(namespaceOf(document.document_element()))};
  }
  response = first;
  if (is(response, std::string(operation) + "Response", AGENT_NAMESPACE)) return {};
  return {"an answer to something else", hint::DIALECT,
          std::string(namespaceOf(response)) + " " + response.name()};
}

Failure Answer::find(const char* name, std::string& text) const {
  pugi::xml_node found;
  for (const pugi::xml_node child : response) {
    if (!is(child, name, AGENT_NAMESPACE)) continue;
    if (found) return {std::string(name) + " twice in the answer", hint::DIALECT};
    found = child;
  }
  if (!found) return {std::string("no ") + name + " in the answer", hint::DIALECT};
  if (!textOf(found, text)) return {std::string("elements in ") + name, hint::DIALECT};
  return {};
}

namespace {

Failure wrongType(const char* name, const char* type, const std::string& text) {
  return {std::string(name) + " is not of type " + type, hint::DIALECT, text};
}

}  // namespace

Failure Answer::get(const char* name, bool& value) const {
  std::string text;
  if (Failure missing = find(name, text)) return missing;
  const std::string_view word = trimmed(text);
  value = word == "true" || word == "1";
  return value || word == "false" || word == "0" ? Failure{} : wrongType(name, "boolean", text);
}

Failure Answer::get(const char* name, int& value) const {
  std::string text;
  if (Failure missing = find(name, text)) return missing;
  return numberOf(text, value) ? Failure{} : wrongType(name, "int", text);
}

Failure Answer::get(const char* name, unsigned& value) const {
  std::string text;
  if (Failure missing = find(name, text)) return missing;
  return numberOf(text, value) ? Failure{} : wrongType(name, "unsignedInt", text);
}

Failure Answer::get(const char* name, double& value) const {
  std::string text;
  if (Failure missing = find(name, text)) return missing;
  return doubleOf(text, value) ? Failure{} : wrongType(name, "double", text);
}

Failure Answer::get(const char* name, std::string& value) const {
  std::string text;
  if (Failure missing = find(name, text)) return missing;
  value = validUtf8(text);
  return {};
}

}  // namespace VESK::agent
