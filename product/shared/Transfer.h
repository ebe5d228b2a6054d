// What a transfer by libcurl needs of the process.
#ifndef VESK_PRODUCT_SHARED_TRANSFER_H
#define VESK_PRODUCT_SHARED_TRANSFER_H

#include <curl/curl.h>
#include <openssl/rand.h>

#include <mutex>

namespace VESK {

// To be called before libcurl's handle is made. OpenSSL's source of random numbers stays in error
// when it found no memory to seed itself anew, and libcurl, which looks at that and does nothing
// about it, would refuse TLS until the process ends. Seeding it again mends it.
inline void prepareTransfer() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  if (RAND_status() != 1) RAND_poll();
}

}  // namespace VESK

#endif
