// A reputation server on the loopback addresses; tools/private-reputation starts it.
//   reputation-server FOLDER PORT[=CERTIFICATE]...
// FOLDER/answer, read at each request, is a line with the HTTP status and a time to wait in
// milliseconds, and then the body. FOLDER/requests gets a line for each request.
#include <httplib.h>
#include <sys/socket.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

namespace {

using ServerHandle = std::unique_ptr<httplib::Server>;

void answer(const std::string& folder, const httplib::Request& request,
            httplib::Response& response) {
  std::ofstream(folder + "/requests", std::ios::app)
      << request.method + " " + request.path + " " + request.get_header_value("Host") + "\n";
  std::ifstream file(folder + "/answer");
  int milliseconds = 0;
  std::ostringstream body;
  file >> response.status >> milliseconds;
  file.ignore(1);
  body << file.rdbuf();
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  response.set_content(body.str(), "application/json");
}

// A port that another program has is refused, but not one whose old connections are dying away.
void reuseAddress(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

ServerHandle makeServer(const std::string& folder, const std::string& certificate) {
  const std::string base = folder + "/tls/" + certificate;
  ServerHandle server;
  if (certificate.empty()) {
    server = std::make_unique<httplib::Server>();
  } else {
    server = std::make_unique<httplib::SSLServer>((base + ".pem").c_str(), (base + ".key").c_str());
  }
  server->set_socket_options(reuseAddress);
  server->set_keep_alive_max_count(1);
  server->new_task_queue = [] { return new httplib::ThreadPool(2); };
  server->Get("/status", [folder](const httplib::Request& request, httplib::Response& response) {
    answer(folder, request, response);
  });
  return server;
}

}  // namespace

int main(int count, char** words) {
  std::list<ServerHandle> servers;
  std::list<std::jthread> threads;
  for (int i = 2; i < count; ++i) {
    const std::string word = words[i];
    const std::size_t sign = word.find('=');
    const int port = std::stoi(word);
    for (const char* host : {"127.0.0.1", "::1"}) {
      ServerHandle server = makeServer(words[1], sign == word.npos ? "" : word.substr(sign + 1));
      // Not every machine has IPv6.
      if (!server->is_valid() || !server->bind_to_port(host, port)) {
        if (host[0] == ':') continue;
        std::cerr << "reputation-server: cannot serve " << word << "\n";
        std::_Exit(1);
      }
      threads.emplace_back([raw = server.get()] { raw->listen_after_bind(); });
      servers.push_back(std::move(server));
    }
  }
  return 0;  // when the threads end, which they do not
}
