#include "Soap.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include "Text.h"
#include "product/agent/Markup.h"

namespace agent {
namespace {

constexpr const char* soapNamespace = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr const char* agentNamespace = "urn:brelvik:vesk:agent:1";

const char* localName(const pugi::xml_node& node) {
  const char* colon = std::strchr(node.name(), ':');
  return colon == nullptr ? node.name() : colon + 1;
}

std::string namespaceOf(const pugi::xml_node& node) {
  std::string declaration = "xmlns";
  if (const char* colon = std::strchr(node.name(), ':')) {
    declaration += ':' + std::string(static_cast<const char*>(node.name()), colon);
  }
  for (pugi::xml_node at = node; at; at = at.parent()) {
    if (const auto attribute = at.attribute(declaration.c_str())) return attribute.value();
  }
  return "";
}

bool is(const pugi::xml_node& node, const char* space, const char* name) {
  return std::strcmp(localName(node), name) == 0 && namespaceOf(node) == space;
}

pugi::xml_node firstElement(const pugi::xml_node& parent) {
  return parent.find_child([](const auto& node) { return node.type() == pugi::node_element; });
}

pugi::xml_node elementAfter(pugi::xml_node node) {
  do node = node.next_sibling();
  while (node && node.type() != pugi::node_element);
  return node;
}

void skipHeader(pugi::xml_node& part) {
  if (!is(part, soapNamespace, "Header")) return;
  for (auto entry = firstElement(part); entry; entry = elementAfter(entry)) {
    for (const auto& attribute : entry.attributes()) {
      const std::string_view name = attribute.name();
      if (name.ends_with(":mustUnderstand") && std::strcmp(attribute.value(), "1") == 0) {
        throw Fault("MustUnderstand", std::string("header ") + localName(entry) + " is not known");
      }
    }
  }
  part = elementAfter(part);
}

Fault wrongType(const char* name, const char* type) {
  return {"Client", std::string("element ") + name + " is no " + type};
}

template <typename Number>
Number integer(std::string_view word, const char* name, const char* type) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc{} || end != word.data() + word.size()) throw wrongType(name, type);
  return value;
}

}  // namespace

Request::Request(const std::string& body) {
  // The same rules as for answers. A tree of nothing but markup is twenty times as large as it.
  if (const char* reason = VESK::agent::refusedMarkup(body)) throw Fault("Client", reason);
  constexpr unsigned options = pugi::parse_default | pugi::parse_ws_pcdata;
  const auto result = document.load_buffer(body.data(), body.size(), options);
  if (!result) throw Fault("Client", std::string("not well-formed: ") + result.description());
  const auto envelope = document.document_element();
  if (std::strcmp(localName(envelope), "Envelope") != 0) throw Fault("Client", "no SOAP envelope");
  if (namespaceOf(envelope) != soapNamespace) throw Fault("VersionMismatch", "not SOAP 1.1");
  auto part = firstElement(envelope);
  skipHeader(part);
  if (!is(part, soapNamespace, "Body")) throw Fault("Client", "no SOAP body");
  call = firstElement(part);
  if (!call || elementAfter(call)) throw Fault("Client", "the body must have one element");
  if (namespaceOf(call) != agentNamespace) {
    throw Fault("Client", std::string("the request is not in ") + agentNamespace);
  }
}

std::string Request::operation() const { return localName(call); }

std::string Request::text(const char* name) const {
  pugi::xml_node element;
  for (const auto& child : call.children()) {
    if (!is(child, agentNamespace, name)) continue;
    if (element) throw Fault("Client", std::string("element ") + name + " is there twice");
    element = child;
  }
  if (!element) throw Fault("Client", std::string("element ") + name + " is missing");
  std::string joined;
  for (const auto& node : element.children()) {
    if (node.type() == pugi::node_element) throw wrongType(name, "text");
    joined += node.value();
  }
  return cleanText(joined);
}

std::string Request::word(const char* name) const {
  const std::string all = text(name);
  const auto first = all.find_first_not_of(" \t\n");
  if (first == std::string::npos) return "";
  return all.substr(first, all.find_last_not_of(" \t\n") - first + 1);
}

std::int32_t Request::number(const char* name) const {
  return integer<std::int32_t>(word(name), name, "int");
}

std::uint32_t Request::unsignedNumber(const char* name) const {
  return integer<std::uint32_t>(word(name), name, "unsignedInt");
}

double Request::real(const char* name) const {
  std::string digits = word(name);
  if (digits == "INF") return std::numeric_limits<double>::infinity();
  if (digits == "-INF") return -std::numeric_limits<double>::infinity();
  if (digits == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (digits.starts_with('+')) digits.erase(0, 1);
  double value = 0;
  const char* last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, value);
  // from_chars knows words for infinity that the schema does not.
  if (error != std::errc{} || end != last || !std::isfinite(value)) throw wrongType(name, "double");
  return value;
}

bool Request::flag(const char* name) const {
  const std::string value = word(name);
  if (value == "true" || value == "1") return true;
  if (value == "false" || value == "0") return false;
  throw wrongType(name, "boolean");
}

namespace {

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

pugi::xml_node startEnvelope(pugi::xml_document& document) {
  auto declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  auto envelope = document.append_child("soap:Envelope");
  envelope.append_attribute("xmlns:soap") = soapNamespace;
  return envelope.append_child("soap:Body");
}

std::string save(const pugi::xml_document& document) {
  StringWriter writer;
  document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
  return writer.text;
}

}  // namespace

Answer::Answer(const std::string& operation) {
  body = startEnvelope(document).append_child((operation + "Response").c_str());
  body.append_attribute("xmlns") = agentNamespace;
}

Answer& Answer::add(const char* name, const std::string& text) {
  body.append_child(name).append_child(pugi::node_pcdata).set_value(text.c_str());
  return *this;
}

Answer& Answer::add(const char* name, double value) {
  if (std::isnan(value)) return add(name, std::string("NaN"));
  if (std::isinf(value)) return add(name, std::string(value < 0 ? "-INF" : "INF"));
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return add(name, std::string(digits, end));
}

std::string Answer::xml() const { return save(document); }

std::string faultXml(const Fault& fault) {
  pugi::xml_document document;
  auto element = startEnvelope(document).append_child("soap:Fault");
  element.append_child("faultcode").text() = (std::string("soap:") + fault.code()).c_str();
  element.append_child("faultstring").text() = cleanText(oneLine(fault.what()), 500).c_str();
  return save(document);
}

}  // namespace agent
