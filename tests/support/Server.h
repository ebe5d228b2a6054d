// A server on a loopback port, started by one of the project's tools and ended with its owner.
#ifndef VESK_TESTS_SUPPORT_SERVER_H
#define VESK_TESTS_SUPPORT_SERVER_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class Server {
 public:
  using Words = std::vector<std::string>;

  Server() = default;
  ~Server() { stop(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // A command is the name of a tool, or a full path, and its arguments.
  //
  // Runs it to its end; gives its status. Input and output are files; "" is no input.
  static int run(const Words& command, const std::string& output);

  // True when the port takes connections.
  bool start(const Words& command, int port, const std::string& output,
             const std::string& input = "/dev/null");
  // True when `ready` is.
  bool start(const Words& command, const std::function<bool()>& ready, const std::string& output,
             const std::string& input = "/dev/null");
  void stop();
  pid_t pid() const { return child; }  // -1 when it does not run

 private:
  pid_t child = -1;
};

#endif
