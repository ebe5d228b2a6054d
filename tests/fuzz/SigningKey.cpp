#include "SigningKey.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "Fuzz.h"
#include "signon/Free.h"

namespace fuzz {

namespace {

using VESK::signon::Free;
using Bio = std::unique_ptr<BIO, Free<BIO_free>>;
using Digest = std::unique_ptr<EVP_MD_CTX, Free<EVP_MD_CTX_free>>;
using EcSignature = std::unique_ptr<ECDSA_SIG, Free<ECDSA_SIG_free>>;

EVP_PKEY* generate(SigningKey::Kind kind) {
  switch (kind) {
    case SigningKey::RSA:
      return EVP_RSA_gen(2048);
    case SigningKey::P256:
      return EVP_EC_gen("P-256");
    default:
      return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
  }
}

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// Both numbers side by side, as sessions have them.
std::string sideBySide(const std::string& asn1) {
  constexpr int coordinate = 32;
  const unsigned char* at = bytesOf(asn1);
  const EcSignature pair(d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(asn1.size())));
  std::string raw(2 * coordinate, '\0');
  auto* to = reinterpret_cast<unsigned char*>(raw.data());
  FUZZ_EXPECT(BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), to, coordinate) == coordinate);
  FUZZ_EXPECT(BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), to + coordinate, coordinate) ==
              coordinate);
  return raw;
}

}  // namespace

SigningKey::SigningKey(Kind which)
    : kind(which),
      key(generate(which)),
      path(scratchFolder() + "/key" + std::to_string(which) + ".pem") {
  const Bio memory(BIO_new(BIO_s_mem()));
  FUZZ_EXPECT(key != nullptr && PEM_write_bio_PUBKEY(memory.get(), key.get()) == 1);
  char* pem = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &pem);
  writeFile(path, {pem, static_cast<std::size_t>(size)});
}

std::string SigningKey::sign(const std::string& text, Padding padding) const {
  const Digest digest(EVP_MD_CTX_new());
  EVP_PKEY_CTX* context = nullptr;
  const EVP_MD* hash = kind == ED25519 ? nullptr : EVP_sha256();
  FUZZ_EXPECT(EVP_DigestSignInit(digest.get(), &context, hash, nullptr, key.get()) == 1);
  if (padding == PSS) {
    FUZZ_EXPECT(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) == 1);
    FUZZ_EXPECT(EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_DIGEST) == 1);
  }
  std::string signature(1024, '\0');
  std::size_t size = signature.size();
  FUZZ_EXPECT(EVP_DigestSign(digest.get(), reinterpret_cast<unsigned char*>(signature.data()),
                             &size, bytesOf(text), text.size()) == 1);
  signature.resize(size);
  return kind == P256 ? sideBySide(signature) : signature;
}

}  // namespace fuzz
