// SOAP over HTTP: POST /agent, and the service description for GET /agent?wsdl.
#ifndef VESK_APPLIANCE_AGENT_HTTP_SERVER_H
#define VESK_APPLIANCE_AGENT_HTTP_SERVER_H

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "Operations.h"

namespace agent {

class HttpServer : private httplib::Server {
 public:
  explicit HttpServer(Agent& agent);
  ~HttpServer() override;

  // Port 0 takes a free one. Gives the port, 0 when it is not to be had. Serves in threads of its
  // own until the end of this object.
  int start(const std::string& host, int port);

 private:
  void serve(const httplib::Request& http, httplib::Response& reply,
             const httplib::ContentReader& reader);
  void answer(const httplib::Request& http, const std::string& body, httplib::Response& reply);
  void misbehave(const std::string& operation, const std::string& xml, httplib::Response& reply);
  void describe(const httplib::Request& http, httplib::Response& reply) const;
  bool pause(std::chrono::duration<double, std::milli> time);  // false when the server ends

  Agent& agent;
  std::string address;
  std::thread listener;
  std::mutex mutex;
  std::condition_variable ends;
  bool ending = false;
};

}  // namespace agent

#endif
