// SHA-256 of what comes in pieces.
#ifndef VESK_UPDATE_DIGEST_H
#define VESK_UPDATE_DIGEST_H

#include <openssl/evp.h>

#include <memory>
#include <string>
#include <string_view>

namespace VESK::update {

class Sha256 {
 public:
  Sha256();

  void add(const void* data, std::size_t size);
  // In small hexadecimal digits; afterwards a new one begins. Empty when OpenSSL cannot do it,
  // which equals no sum.
  std::string finish();

 private:
  struct Free {
    void operator()(EVP_MD_CTX* handle) const { EVP_MD_CTX_free(handle); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context;
  bool whole = false;
};

// 64 small hexadecimal digits.
bool isSha256(std::string_view text);

}  // namespace VESK::update

#endif
