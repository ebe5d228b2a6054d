#include "Source.h"

#include <sys/socket.h>

#include <chrono>
#include <exception>

#include "shared/Transfer.h"

namespace VESK::update {

namespace {

constexpr long BUFFER = 256 * 1024;

using Clock = std::chrono::steady_clock;

struct Transfer {
  CURL* curl;
  const Source::Sink& sink;
  Clock::duration patience;
  curl_off_t received = 0;
  Clock::time_point last = Clock::now();
  std::exception_ptr thrown{};
};

// What comes with another status (a redirection's page, say) is not the content.
bool isContent(CURL* curl) {
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  return status == 200 || status == 206 || status == 0;  // 0: not HTTP
}

std::size_t receive(char* data, std::size_t, std::size_t size, void* context) {
  auto* transfer = static_cast<Transfer*>(context);
  try {
    return isContent(transfer->curl) && transfer->sink(data, size) ? size : size + 1;
  } catch (...) {  // libcurl lets nothing through
    transfer->thrown = std::current_exception();
    return size + 1;
  }
}

// No program that another thread starts meanwhile keeps the connection open.
curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// libcurl asks at least once a second. Its own limit looks at an average and takes seconds longer.
int isStalled(void* context, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) {
  auto* transfer = static_cast<Transfer*>(context);
  if (received != transfer->received) transfer->last = Clock::now();
  transfer->received = received;
  return Clock::now() - transfer->last > transfer->patience ? 1 : 0;
}

const char* hintOf(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return "check the host in source and the name servers";
    case CURLE_COULDNT_CONNECT:
      return "check host and port in source, and the firewall";
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_ABORTED_BY_CALLBACK:
      return "try again, what was fetched is kept; or raise the time-outs in section update";
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CONNECT_ERROR:
      return "check ca_file, and that the certificate names the host in source";
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
      return "try again, what was fetched is kept";
    default:
      return "check source in section update, and that the file is there";
  }
}

}  // namespace

Source::Source(const Options& settings) : options(settings) {
  startCurlWithTls();
  curl.reset(curl_easy_init());
}

// An option that is not taken, for want of memory, must not leave the connection less strict than
// it is meant to be.
CURLcode Source::prepare(const std::string& name, std::uint64_t from) {
  CURL* handle = curl.get();
  curl_easy_reset(handle);  // the connection stays
  *words = '\0';
  CURLcode first = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (first == CURLE_OK) first = code;
  };
  set(CURLOPT_ERRORBUFFER, words);
  set(CURLOPT_URL, (options.source + name).c_str());
  set(CURLOPT_PROTOCOLS_STR, "https,http,file");
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROXY, "");
  set(CURLOPT_OPENSOCKETFUNCTION, openSocket);
  set(CURLOPT_FAILONERROR, 1L);
  set(CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  // libcurl frees a session's place twice when it finds no memory to keep it. A source's files come
  // over one connection anyway.
  set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  if (!options.caFile.empty()) {
    set(CURLOPT_CAINFO, options.caFile.c_str());
    set(CURLOPT_CAPATH, nullptr);  // no other authority
  }
  set(CURLOPT_CONNECTTIMEOUT, options.connectTimeout);
  set(CURLOPT_TIMEOUT, options.timeout);
  set(CURLOPT_BUFFERSIZE, BUFFER);
  set(CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(from));
  return first;
}

bool Source::fail(const std::string& name, CURLcode code, Failure& failure) const {
  long status = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  std::string reason = name + ": " + curl_easy_strerror(code);
  if (code == CURLE_ABORTED_BY_CALLBACK) reason = name + ": the source fell silent";
  if (status != 0 && status != 200 && status != 206) {
    reason = name + ": the server answers " + std::to_string(status);
  }
  return failure.set("fetch", reason, words, hintOf(code));
}

Source::End Source::fetch(const std::string& name, std::uint64_t from, const Sink& sink,
                          Failure& failure) {
  if (!curl) {
    failure.set("fetch", "libcurl cannot start", "", "check the memory");
    return End::failed;
  }
  Transfer transfer{curl.get(), sink, std::chrono::seconds(options.stallTimeout)};
  if (const CURLcode unfit = prepare(name, from); unfit != CURLE_OK) {
    fail(name, unfit, failure);
    return End::failed;
  }
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl.get(), CURLOPT_XFERINFOFUNCTION, isStalled);
  curl_easy_setopt(curl.get(), CURLOPT_XFERINFODATA, &transfer);
  curl_easy_setopt(curl.get(), CURLOPT_NOPROGRESS, 0L);
  const CURLcode code = curl_easy_perform(curl.get());
  if (transfer.thrown) std::rethrow_exception(transfer.thrown);
  long status = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  // A redirection without a page of its own ends well, for libcurl.
  if (code == CURLE_OK && isContent(curl.get())) return End::whole;
  const bool outOfRange =
      code == CURLE_RANGE_ERROR || code == CURLE_BAD_DOWNLOAD_RESUME || status == 416;
  if (from > 0 && outOfRange) return End::cannotResume;
  fail(name, code == CURLE_OK ? CURLE_HTTP_RETURNED_ERROR : code, failure);
  return End::failed;
}

bool Source::fetchText(const std::string& name, std::size_t limit, std::string& text,
                       Failure& failure) {
  text.clear();
  const Sink sink = [&](const char* data, std::size_t size) {
    if (size > limit - text.size()) {
      return failure.set("fetch", name + " is too long", "", "the publisher must mend it");
    }
    text.append(data, size);
    return true;
  };
  return fetch(name, 0, sink, failure) == End::whole;
}

}  // namespace VESK::update
