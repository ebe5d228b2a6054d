// A central console of the test's own, which also makes what no console would.
#ifndef VESK_TESTS_PRODUCT_SIGNON_CONSOLE_H
#define VESK_TESTS_PRODUCT_SIGNON_CONSOLE_H

#include <openssl/evp.h>

#include <memory>
#include <string>

std::string base64Url(const std::string& bytes);

class Key {
 public:
  // As EVP_PKEY_Q_keygen has them: "RSA" and bits, or "EC" and a curve.
  explicit Key(std::size_t rsaBits);
  explicit Key(const char* curve);

  std::string publicPem() const;
  // Over `text`; ES256 gives r and s.
  std::string sign(const std::string& algorithm, const std::string& text) const;
  // {"alg":ALGORITHM}, signed with it.
  std::string session(const std::string& algorithm, const std::string& claims) const;
  std::string session(const std::string& algorithm, const std::string& header,
                      const std::string& claims) const;

 private:
  std::shared_ptr<EVP_PKEY> key;
};

#endif
