// Keys that only this process has: nothing in an input can be signed with them.
#ifndef VESK_FUZZ_SIGNING_KEY_H
#define VESK_FUZZ_SIGNING_KEY_H

#include <openssl/evp.h>

#include <memory>
#include <string>

namespace fuzz {

class SigningKey {
 public:
  enum Kind { RSA, P256, ED25519 };
  explicit SigningKey(Kind kind);

  // As a PEM file.
  const std::string& publicFile() const { return path; }

  enum Padding { PKCS1, PSS };
  std::string sign(const std::string& text, Padding padding = PKCS1) const;

 private:
  struct Free {
    void operator()(EVP_PKEY* owned) const { EVP_PKEY_free(owned); }
  };
  Kind kind;
  std::unique_ptr<EVP_PKEY, Free> key;
  std::string path;
};

}  // namespace fuzz

#endif
