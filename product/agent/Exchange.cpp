#include "Exchange.h"

#include <sys/socket.h>

#include <cerrno>
#include <new>

#include "Request.h"
#include "shared/Transfer.h"

namespace VESK::agent {

namespace {

// Of the status line and the header fields, also of answers that only announce another one.
constexpr std::size_t MOST_HEADER_BYTES = 64 * 1024;

Failure timeOut(CURL* handle, const char* words) {
  curl_off_t connected = 0;
  curl_easy_getinfo(handle, CURLINFO_CONNECT_TIME_T, &connected);
  if (connected == 0) return {"timed out while connecting", hint::REACH, words};
  return {"timed out before the answer was whole", hint::SLOW, words};
}

}  // namespace

EasyHandle newHandle() {
  startCurl();
  return EasyHandle(curl_easy_init());
}

Post::Post(const char* operation, std::string bytes, std::size_t limit)
    : body(std::move(bytes)), answerLimit(limit) {
  const std::string action =
      std::string("SOAPAction: \"") + AGENT_NAMESPACE + "#" + operation + "\"";
  // Without the last one, a long request waits for leave that simple servers never give.
  for (const char* line : {"Content-Type: text/xml; charset=utf-8", action.c_str(), "Expect:"}) {
    curl_slist* longer = curl_slist_append(headers.get(), line);
    if (longer == nullptr) {
      headers.reset();
      return;
    }
    static_cast<void>(headers.release());
    headers.reset(longer);
  }
}

bool Exchange::prepare(CURL* handle, const std::string& url, const Post& post) {
  answerLimit = post.answerLimit;
  bool taken = post.headers != nullptr;
  const auto set = [&](CURLoption option, auto value) {
    taken = curl_easy_setopt(handle, option, value) == CURLE_OK && taken;
  };
  set(CURLOPT_URL, url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_PROXY, "");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  // A resolver that hangs is not waited for.
  set(CURLOPT_QUICK_EXIT, 1L);
  set(CURLOPT_FORBID_REUSE, 1L);
  set(CURLOPT_CONNECTTIMEOUT, post.limits.connectSeconds);
  set(CURLOPT_TIMEOUT, post.limits.totalSeconds);
  set(CURLOPT_HTTPHEADER, post.headers.get());
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(post.body.size()));
  set(CURLOPT_POSTFIELDS, post.body.data());
  set(CURLOPT_OPENSOCKETFUNCTION, &Exchange::openSocket);
  set(CURLOPT_OPENSOCKETDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Exchange::takeBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_HEADERFUNCTION, &Exchange::takeHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_ERRORBUFFER, words);
  return taken;
}

// libcurl does not tell a machine without descriptors from an agent that is not there.
curl_socket_t Exchange::openSocket(void* object, curlsocktype, curl_sockaddr* address) {
  const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  const bool none = opened < 0 && (errno == EMFILE || errno == ENFILE);
  if (none) static_cast<Exchange*>(object)->outOfDescriptors = true;
  return opened;
}

std::size_t Exchange::takeBody(char* bytes, std::size_t size, std::size_t count, void* object) {
  auto& exchange = *static_cast<Exchange*>(object);
  const std::size_t length = size * count;
  exchange.tooLong = length > exchange.answerLimit - exchange.answer.size();
  if (exchange.tooLong) return 0;
  try {
    exchange.answer.append(bytes, length);
  } catch (const std::bad_alloc&) {  // libcurl lets nothing through
    exchange.outOfMemory = true;
    return 0;
  }
  return length;
}

std::size_t Exchange::takeHeader(char*, std::size_t size, std::size_t count, void* object) {
  auto& exchange = *static_cast<Exchange*>(object);
  exchange.headerBytes += size * count;
  exchange.tooLong = exchange.headerBytes > MOST_HEADER_BYTES;
  return exchange.tooLong ? 0 : size * count;
}

Failure Exchange::failure(CURL* handle, CURLcode code) const {
  if (tooLong) return {"the answer is too long", hint::DIALECT};
  if (outOfMemory) return {"the answer finds no memory", hint::MEMORY};
  switch (code) {
    case CURLE_OK:
      return {};
    case CURLE_OPERATION_TIMEDOUT:
      return timeOut(handle, words);
    case CURLE_COULDNT_RESOLVE_HOST:
      return {"the name of the host is not known", hint::REACH, words};
    case CURLE_COULDNT_CONNECT:
      if (!outOfDescriptors) return {"no connection", hint::REACH, words};
      return {"no descriptors are left for a connection", hint::DESCRIPTORS, words};
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return {"the answer was cut short", hint::REACH, words};
    default:
      return {curl_easy_strerror(code), hint::DIALECT, words};
  }
}

}  // namespace VESK::agent
