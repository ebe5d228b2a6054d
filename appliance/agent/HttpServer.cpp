#include "HttpServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

#include "Text.h"
#include "Workers.h"
#include "Wsdl.h"

namespace agent {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr std::size_t largestBody = 16u << 20;
constexpr std::size_t mostThreads = 640;
constexpr const char* xmlType = "text/xml; charset=utf-8";

// Only the address: the library would also share the port with any other server that does so.
void reuseAddress(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

// A SOAPAction that names another operation than the body is a mix-up; any other text is let pass.
void checkAction(const httplib::Request& http, const std::string& operation) {
  std::string action = http.get_header_value("SOAPAction");
  std::erase(action, '"');
  action.erase(0, action.find_last_of("#/") + 1);
  if (action != operation && isOperation(action)) {
    throw Fault("Client", "SOAPAction " + action + " does not match the body's " + operation);
  }
}

bool plainHost(const std::string& host) {
  constexpr auto fits = [](unsigned char letter) {
    return std::isalnum(letter) != 0 || std::strchr(".:[]-_", letter) != nullptr;
  };
  return !host.empty() && std::all_of(host.begin(), host.end(), fits);
}

}  // namespace

HttpServer::HttpServer(Agent& theAgent) : agent(theAgent) {
  new_task_queue = [] { return new Workers(mostThreads); };
  set_socket_options(reuseAddress);
  set_payload_max_length(largestBody);
  // A console makes a connection for each call; one kept open would keep a thread.
  set_keep_alive_max_count(1);
  set_keep_alive_timeout(2);
  set_tcp_nodelay(true);
  Post("/agent",
       [this](const auto& http, auto& reply, const auto& reader) { serve(http, reply, reader); });
  Get("/agent", [this](const auto& http, auto& reply) { describe(http, reply); });
}

HttpServer::~HttpServer() {
  {
    const std::lock_guard lock(mutex);
    ending = true;
  }
  ends.notify_all();
  stop();
  if (listener.joinable()) listener.join();
}

int HttpServer::start(const std::string& host, int port) {
  const int taken = port == 0 ? bind_to_any_port(host) : bind_to_port(host, port) ? port : 0;
  if (taken <= 0) return 0;
  // The library keeps five connections waiting; hundreds of clients may come at once.
  ::listen(svr_sock_, SOMAXCONN);
  address =
      (host.find(':') == std::string::npos ? host : '[' + host + ']') + ':' + std::to_string(taken);
  listener = std::thread([this] { listen_after_bind(); });
  while (!is_running()) std::this_thread::sleep_for(1ms);
  return taken;
}

void HttpServer::serve(const httplib::Request& http, httplib::Response& reply,
                       const httplib::ContentReader& reader) {
  reply.status = 415;
  if (http.is_multipart_form_data()) return;
  std::string body;
  const bool whole = reader([&body](const char* data, std::size_t length) {
    // Counted here as well: a compressed body is longer than its announced length.
    if (length > largestBody - body.size()) return false;
    body.append(data, length);
    return true;
  });
  reply.status = 413;
  if (whole) answer(http, body, reply);
}

void HttpServer::answer(const httplib::Request& http, const std::string& body,
                        httplib::Response& reply) {
  reply.status = 500;
  try {
    const Request request(body);
    checkAction(http, request.operation());
    const std::string xml = perform(agent, request);
    reply.status = 200;
    misbehave(request.operation(), xml, reply);
  } catch (const Fault& fault) {
    reply.set_content(faultXml(fault), xmlType);
  } catch (const std::exception& failure) {
    std::cerr << "vesk-agent: " + oneLine(failure.what()) + '\n';
    reply.set_content(faultXml({"Server", "the agent is busy or broken"}), xmlType);
  }
}

void HttpServer::misbehave(const std::string& operation, const std::string& xml,
                           httplib::Response& reply) {
  const auto rule = [&](const char* kind) { return agent.misbehaviour.find(operation, kind); };
  if (const auto delay = rule("delay")) pause(std::chrono::duration<double, std::milli>(*delay));
  if (rule("never")) pause(10min);  // no client waits so long
  if (rule("fault")) throw Fault("Server", "told to fail");
  if (const auto status = rule("http")) {
    reply.status = static_cast<int>(*status);
    if (reply.status / 100 == 3) reply.set_header("Location", "http://" + address + "/agent");
    return;
  }
  const std::string sent = rule("garbage") ? "\x16\x03\0<\xFF not XML"s : xml;
  if (const auto bytes = rule("cut")) {
    const std::size_t part = *bytes < 0 ? sent.size() / 2 : static_cast<std::size_t>(*bytes);
    reply.set_content_provider(sent.size(), xmlType, [sent, part](auto, auto, auto& sink) {
      sink.write(sent.data(), std::min(part, sent.size()));
      return false;
    });
  } else if (const auto each = rule("drip")) {
    reply.set_content_provider(sent.size(), xmlType,
                               [this, sent, each](std::size_t at, auto, auto& sink) {
                                 return pause(std::chrono::duration<double, std::milli>(*each)) &&
                                        sink.write(sent.data() + at, 1);
                               });
  } else {
    reply.set_content(sent, xmlType);
  }
}

void HttpServer::describe(const httplib::Request& http, httplib::Response& reply) const {
  if (!http.has_param("wsdl") && !http.has_param("WSDL")) {
    reply.status = 405;
    return;
  }
  constexpr std::string_view attribute = "location=\"";
  const std::string host = http.get_header_value("Host");
  std::string text(wsdl);
  const auto first = text.find(attribute) + attribute.size();
  text.replace(first, text.find('"', first) - first,
               "http://" + (plainHost(host) ? host : address) + "/agent");
  reply.set_content(text, xmlType);
}

bool HttpServer::pause(std::chrono::duration<double, std::milli> time) {
  std::unique_lock lock(mutex);
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(time);
  return !ends.wait_for(lock, whole, [this] { return ending; });
}

}  // namespace agent
