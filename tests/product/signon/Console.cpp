#include "Console.h"

#include <openssl/ec.h>
#include <openssl/hmac.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

namespace {

const unsigned char* bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string sideBySide(const std::string& asn1) {
  const unsigned char* start = bytes(asn1);
  const std::unique_ptr<ECDSA_SIG, decltype(&ECDSA_SIG_free)> pair(
      d2i_ECDSA_SIG(nullptr, &start, static_cast<long>(asn1.size())), ECDSA_SIG_free);
  std::string raw(64, '\0');
  auto* out = reinterpret_cast<unsigned char*>(raw.data());
  BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), out, 32);
  BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), out + 32, 32);
  return raw;
}

}  // namespace

std::string base64Url(const std::string& text) {
  std::string coded(text.size() * 4 / 3 + 5, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(coded.data()), bytes(text),
                                     static_cast<int>(text.size()));
  coded.resize(static_cast<std::size_t>(length));
  for (char& c : coded) c = c == '+' ? '-' : c == '/' ? '_' : c;
  return coded.substr(0, coded.find('='));
}

Key::Key(std::size_t bits) : key(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", bits), EVP_PKEY_free) {}
Key::Key(const char* curve)
    : key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve), EVP_PKEY_free) {}

std::string Key::publicPem() const {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
  PEM_write_bio_PUBKEY(memory.get(), key.get());
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

std::string Key::sign(const std::string& algorithm, const std::string& text) const {
  std::string signature(1024, '\0');
  auto* out = reinterpret_cast<unsigned char*>(signature.data());
  if (algorithm == "HS256") {
    unsigned length = 0;
    const std::string pem = publicPem();
    HMAC(EVP_sha256(), pem.data(), static_cast<int>(pem.size()), bytes(text), text.size(), out,
         &length);
    return signature.substr(0, length);
  }
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(),
                                                                       EVP_MD_CTX_free);
  EVP_PKEY_CTX* context = nullptr;
  std::size_t length = signature.size();
  EVP_DigestSignInit(digest.get(), &context, EVP_sha256(), nullptr, key.get());
  if (algorithm == "PS256") {
    EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING);
    EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_DIGEST);
  }
  EVP_DigestSign(digest.get(), out, &length, bytes(text), text.size());
  signature.resize(length);
  return algorithm == "ES256" ? sideBySide(signature) : signature;
}

std::string Key::session(const std::string& algorithm, const std::string& claims) const {
  return session(algorithm, R"({"alg":")" + algorithm + R"("})", claims);
}

std::string Key::session(const std::string& algorithm, const std::string& header,
                         const std::string& claims) const {
  const std::string text = base64Url(header) + "." + base64Url(claims);
  return text + "." + base64Url(sign(algorithm, text));
}
