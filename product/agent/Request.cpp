#include "Request.h"

#include <charconv>
#include <cmath>

#include "Text.h"

namespace VESK::agent {

namespace {

struct StringWriter final : pugi::xml_writer {
  void write(const void* bytes, std::size_t size) override {
    text.append(static_cast<const char*>(bytes), size);
  }
  std::string text;
};

}  // namespace

Request::Request(const char* operation) {
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  pugi::xml_node envelope = document.append_child("soap:Envelope");
  envelope.append_attribute("xmlns:soap") = SOAP_NAMESPACE;
  body = envelope.append_child("soap:Body").append_child(operation);
  body.append_attribute("xmlns") = AGENT_NAMESPACE;
}

void Request::append(const char* name, const char* text) {
  body.append_child(name).append_child(pugi::node_pcdata).set_value(text);
}

void Request::put(const char* name, const char* text) {
  const auto sendable = text == nullptr ? std::nullopt : textForXml(text);
  if (sendable) {
    append(name, sendable->c_str());
  } else {
    refused = name;
  }
}

void Request::put(const char* name, bool value) { append(name, value ? "true" : "false"); }
void Request::put(const char* name, int value) { append(name, std::to_string(value).c_str()); }
void Request::put(const char* name, unsigned value) { append(name, std::to_string(value).c_str()); }

void Request::put(const char* name, double value) {
  if (std::isnan(value)) return append(name, "NaN");
  if (std::isinf(value)) return append(name, value > 0 ? "INF" : "-INF");
  char text[32] = {};  // the shortest form that reads back as the same number
  std::to_chars(text, text + sizeof text - 1, value);
  append(name, text);
}

std::string Request::bytes() const {
  StringWriter writer;
  document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
  return std::move(writer.text);
}

}  // namespace VESK::agent
