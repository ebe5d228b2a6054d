#include "ScriptedAgent.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

std::string http(const std::string& body, const std::string& status) {
  return "HTTP/1.1 " + status +
         "\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

std::string soap(const std::string& operation, const std::string& values) {
  const std::string name = operation + "Response";
  return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body><" + name +
         " xmlns=\"urn:brelvik:vesk:agent:1\">" + values + "</" + name + "></e:Body></e:Envelope>";
}

ScriptedAgent::ScriptedAgent(Play what) : play(std::move(what)), listener(listenOnLoopback(1024)) {
  int ends[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error("no socket pair");
  stopReader = Socket(ends[0]);
  stopWriter = Socket(ends[1]);
  acceptor = std::thread([this] { run(); });
}

ScriptedAgent::~ScriptedAgent() {
  stopWriter = Socket();
  acceptor.join();
  for (std::thread& line : lines) line.join();
}

bool ScriptedAgent::stopsWithin(std::chrono::milliseconds time) const {
  pollfd stop{stopReader.get(), POLLIN, 0};
  return poll(&stop, 1, static_cast<int>(time.count())) > 0;
}

void ScriptedAgent::run() {
  for (;;) {
    pollfd ready[] = {{listener.get(), POLLIN, 0}, {stopReader.get(), POLLIN, 0}};
    poll(ready, 2, -1);
    if (ready[1].revents != 0) return;
    Socket client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client.open()) continue;
    ++taken;
    most = std::max(most.load(), ++open);
    lines.emplace_back([this, taking = std::move(client)]() mutable { serve(std::move(taking)); });
  }
}

std::string ScriptedAgent::readRequest(const Socket& client) {
  std::string request;
  std::size_t whole = std::string::npos;
  while (request.size() < whole) {
    pollfd ready[] = {{client.get(), POLLIN, 0}, {stopReader.get(), POLLIN, 0}};
    poll(ready, 2, -1);
    char bytes[65536];
    const ssize_t count = ready[1].revents != 0 ? 0 : recv(client.get(), bytes, sizeof bytes, 0);
    if (count <= 0) return {};
    request.append(bytes, static_cast<std::size_t>(count));
    const std::size_t head = request.find("\r\n\r\n");
    const std::size_t length = request.find("Content-Length: ");
    if (head != std::string::npos && length != std::string::npos)
      whole = head + 4 + std::stoul(request.substr(length + 16));
  }
  return request;
}

void ScriptedAgent::send(const Socket& client, const Script& script) {
  const bool stops = stopsWithin(script.wait);
  --open;  // before the client can know that it may open another one
  if (stops) return;
  for (std::size_t from = 0; from < script.bytes.size(); from += script.piece) {
    const std::size_t length = std::min(script.piece, script.bytes.size() - from);
    if (::send(client.get(), &script.bytes[from], length, MSG_NOSIGNAL) < 0) return;
    if (script.pause.count() > 0 && stopsWithin(script.pause)) return;
  }
  pollfd ready[] = {{client.get(), POLLIN, 0}, {stopReader.get(), POLLIN, 0}};
  if (script.keepsOpen) poll(ready, 2, -1);
}

void ScriptedAgent::serve(Socket client) {
  const std::string request = readRequest(client);
  if (!request.empty()) {
    const std::unique_lock lock(guard);
    last = request;
  }
  send(client, request.empty() ? Script{} : play(request));
  // What is left unread would turn the end into a reset.
  shutdown(client.get(), SHUT_WR);
}

std::string ScriptedAgent::lastRequest() {
  const std::unique_lock lock(guard);
  return last;
}
