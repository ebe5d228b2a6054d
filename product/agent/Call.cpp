#include "Call.h"

#include "Exchange.h"

namespace VESK::agent {

namespace {

constexpr std::size_t LONGEST_ANSWER = 16 * 1024 * 1024;

}  // namespace

Call::Call(const char* endpoint, const char* name)
    : operation(name), address(addressOf(endpoint)), request(name) {}

Failure Call::send() {
  if (address.failure) return address.failure;
  if (request.unsendable() != nullptr) {
    return {std::string("no XML can hold the text for ") + request.unsendable(), hint::TEXT};
  }
  const EasyHandle handle = newHandle();
  if (!handle) return {"libcurl cannot start", hint::MEMORY};
  const Post post(operation, request.bytes(), LONGEST_ANSWER);
  Exchange exchange;
  if (!exchange.prepare(handle.get(), address.url, post)) {
    return {"libcurl cannot start", hint::MEMORY};
  }
  const CURLcode code = curl_easy_perform(handle.get());
  if (Failure failed = exchange.failure(handle.get(), code)) return failed;
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  return answer.read(exchange.takeAnswer(), status, operation);
}

bool Call::accepted() {
  bool done = false;
  if (!succeeded(send()) || !get("accepted", done)) return false;
  return done || succeeded({"the agent did not accept it", hint::REFUSED});
}

bool Call::succeeded(const Failure& failure) const {
  if (failure) logFailure(address.peer, operation, millisSince(started), failure);
  return !failure;
}

}  // namespace VESK::agent
