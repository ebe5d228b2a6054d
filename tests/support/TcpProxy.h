// A bad network between a client and a server on the loopback address.
#ifndef VESK_TESTS_SUPPORT_TCP_PROXY_H
#define VESK_TESTS_SUPPORT_TCP_PROXY_H

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/Network.h"

class TcpProxy {
 public:
  enum End { GOES_ON, CLOSES, STALLS };

  // What happens to the server's answer on each connection.
  struct Fault {
    int bytes = 0;                       // so many come through whole, then:
    End end = GOES_ON;                   // what follows them
    std::string garbage{};               // sent before a connection closes or stalls
    int piece = 65536;                   // bytes that are handed on at once ...
    std::chrono::milliseconds pause{0};  // ... and the time before each
  };

  TcpProxy(int serverPort, Fault fault);
  ~TcpProxy();
  TcpProxy(const TcpProxy&) = delete;
  TcpProxy& operator=(const TcpProxy&) = delete;

  int port() const { return portOf(listener); }

 private:
  struct Line {
    Socket client;
    Socket server;
    int answered = 0;
    bool over = false;  // stalls
  };

  void run();
  void take();
  bool serve(Line& line, bool clientReady, bool serverReady);
  bool forwardAnswer(Line& line);

  int target;
  Fault fault;
  Socket listener;
  Socket stopReader;
  Socket stopWriter;
  std::vector<Line> lines;
  std::thread thread;
};

#endif
