// What a transfer by libcurl needs of the process.
#ifndef VESK_PRODUCT_SHARED_TRANSFER_H
#define VESK_PRODUCT_SHARED_TRANSFER_H

#include <curl/curl.h>
#include <openssl/rand.h>

#include <mutex>

namespace VESK {

// To be called before libcurl's handle is made; that would start libcurl again if this could not.
inline void startCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The same where TLS may be used. OpenSSL's source of random numbers stays in error when it found
// no memory to seed itself anew, and libcurl, which looks at that and does nothing about it, would
// refuse TLS until the process ends. Seeding it again mends it.
inline void startCurlWithTls() {
  startCurl();
  if (RAND_status() != 1) RAND_poll();
}

}  // namespace VESK

#endif
