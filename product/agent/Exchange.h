// One HTTP request and its answer.
#ifndef VESK_AGENT_EXCHANGE_H
#define VESK_AGENT_EXCHANGE_H

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>

#include "Failure.h"
#include "Options.h"

namespace VESK::agent {

struct FreeEasy {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, FreeEasy>;

// Null when libcurl has no memory for it or could not be set up.
EasyHandle newHandle();

// What the requests of one call share. Outlives them.
struct Post {
  Post(const char* operation, std::string body, std::size_t answerLimit);

  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  const std::string body;
  const std::size_t answerLimit;  // bytes
  const TimeLimits limits = timeLimits();
  std::unique_ptr<curl_slist, FreeList> headers;  // null when memory ended
};

// A handle refers to this object while it works.
class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // The handle is ready to go then, unless memory ended: with an option left out it might go
  // another way. It may have done another exchange before.
  [[nodiscard]] bool prepare(CURL* handle, const std::string& url, const Post& post);

  // What came of it, once the handle is done.
  Failure failure(CURL* handle, CURLcode code) const;
  std::string takeAnswer() { return std::move(answer); }

 private:
  static curl_socket_t openSocket(void* exchange, curlsocktype, curl_sockaddr* address);
  static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* exchange);
  static std::size_t takeHeader(char* bytes, std::size_t size, std::size_t count, void* exchange);

  std::string answer;
  std::size_t answerLimit = 0;
  std::size_t headerBytes = 0;
  bool tooLong = false;
  bool outOfDescriptors = false;
  bool outOfMemory = false;
  char words[CURL_ERROR_SIZE] = {};
};

}  // namespace VESK::agent

#endif
