// A server on the loopback address that answers each request as it is told, well or badly.
#ifndef VESK_TESTS_PRODUCT_AGENT_SCRIPTED_AGENT_H
#define VESK_TESTS_PRODUCT_AGENT_SCRIPTED_AGENT_H

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/Network.h"

struct Script {
  std::string bytes;  // of the whole answer, with HTTP's part of it
  std::chrono::milliseconds wait{0};
  std::size_t piece = 1 << 20;
  std::chrono::milliseconds pause{0};  // between pieces
  bool keepsOpen = false;              // when all is sent
};

std::string repeated(const std::string& text, std::size_t times);

// HTTP around a body, and SOAP around the values of an operation's answer.
std::string http(const std::string& body, const std::string& status = "200 OK");
std::string soap(const std::string& operation, const std::string& values);

class ScriptedAgent {
 public:
  using Play = std::function<Script(const std::string& request)>;

  explicit ScriptedAgent(Play play);
  ~ScriptedAgent();
  ScriptedAgent(const ScriptedAgent&) = delete;
  ScriptedAgent& operator=(const ScriptedAgent&) = delete;

  std::string endpoint() const { return "http://127.0.0.1:" + std::to_string(portOf(listener)); }

  // What arrived last, head and body.
  std::string lastRequest();
  int requests() const { return taken; }
  int mostAtOnce() const { return most; }

 private:
  void run();
  void serve(Socket client);
  std::string readRequest(const Socket& client);
  void send(const Socket& client, const Script& script);
  // True when it is time to stop, after this time at the latest.
  bool stopsWithin(std::chrono::milliseconds time) const;

  Play play;
  Socket listener;
  Socket stopReader;
  Socket stopWriter;
  std::atomic<int> taken = 0;
  std::atomic<int> open = 0;
  std::atomic<int> most = 0;
  std::mutex guard;
  std::string last;
  std::vector<std::thread> lines;
  std::thread acceptor;
};

#endif
