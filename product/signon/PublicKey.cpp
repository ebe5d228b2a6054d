#include "PublicKey.h"

#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "Free.h"
#include "shared/Descriptor.h"

namespace VESK::signon {

namespace {

constexpr std::size_t LARGEST_FILE = 64 * 1024;
constexpr int SMALLEST_RSA = 2048;
constexpr int LARGEST_RSA = 8192;
constexpr int LARGEST_EXPONENT = 64;
constexpr int COORDINATE = 32;  // bytes, on P-256

using Bio = std::unique_ptr<BIO, Free<BIO_free>>;
using Number = std::unique_ptr<BIGNUM, Free<BN_free>>;
using EcSignature = std::unique_ptr<ECDSA_SIG, Free<ECDSA_SIG_free>>;
using Digest = std::unique_ptr<EVP_MD_CTX, Free<EVP_MD_CTX_free>>;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

bool readFile(const char* path, std::string& content, const char*& reason) {
  const Descriptor file{::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  struct stat status {};
  reason = "the file cannot be opened";
  if (!file || ::fstat(file.get(), &status) != 0) return false;
  reason = "not a regular file of at most 64 KiB";
  if (!S_ISREG(status.st_mode) || status.st_size > static_cast<off_t>(LARGEST_FILE)) return false;
  // Whoever may change it decides who signs on.
  reason = "everybody may change the file";
  if ((status.st_mode & S_IWOTH) != 0) return false;
  content.resize(LARGEST_FILE);
  const ssize_t length = ::read(file.get(), content.data(), content.size());
  content.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  reason = "the file cannot be read";
  return length > 0;
}

// Never asks the terminal.
int noPassword(char*, int, int, void*) { return -1; }

bool isRsa(EVP_PKEY* key) { return EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA; }

// A huge exponent makes each check take seconds.
bool isUsableRsa(EVP_PKEY* key) {
  BIGNUM* exponent = nullptr;
  if (EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &exponent) != 1) return false;
  const Number owned(exponent);
  const int bits = EVP_PKEY_get_bits(key);
  return bits >= SMALLEST_RSA && bits <= LARGEST_RSA && BN_num_bits(exponent) <= LARGEST_EXPONENT;
}

bool isUsableEc(EVP_PKEY* key) {
  char group[32] = {};
  return EVP_PKEY_get_base_id(key) == EVP_PKEY_EC &&
         EVP_PKEY_get_group_name(key, group, sizeof group, nullptr) == 1 &&
         std::strcmp(group, "prime256v1") == 0;
}

// Sessions have the two numbers side by side, OpenSSL wants them in ASN.1.
std::string toAsn1(const std::string& signature) {
  if (signature.size() != 2 * COORDINATE) return {};
  const unsigned char* bytes = bytesOf(signature);
  const EcSignature pair(ECDSA_SIG_new());
  Number r(BN_bin2bn(bytes, COORDINATE, nullptr));
  Number s(BN_bin2bn(bytes + COORDINATE, COORDINATE, nullptr));
  if (!pair || !r || !s || ECDSA_SIG_set0(pair.get(), r.get(), s.get()) != 1) return {};
  static_cast<void>(r.release());
  static_cast<void>(s.release());
  unsigned char asn1[2 * COORDINATE + 16];
  unsigned char* end = asn1;
  const int length = i2d_ECDSA_SIG(pair.get(), &end);
  return length > 0 ? std::string(asn1, end) : std::string();
}

bool usePss(EVP_PKEY_CTX* context) {
  return EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) == 1 &&
         EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_DIGEST) == 1;
}

}  // namespace

PublicKey readPublicKey(const char* file, const char*& reason) {
  std::string pem;
  if (!readFile(file, pem, reason)) return nullptr;
  const Bio memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  PublicKey key(PEM_read_bio_PUBKEY(memory.get(), nullptr, noPassword, nullptr));
  reason = "no public key in PEM form";
  if (!key) return nullptr;
  reason = "the key is neither RSA of 2048 to 8192 bits nor EC on P-256";
  if (isRsa(key.get()) ? !isUsableRsa(key.get()) : !isUsableEc(key.get())) return nullptr;
  return key;
}

bool fits(const PublicKey& key, const Session& session) {
  return isRsa(key.get()) == (session.algorithm != "ES256");
}

bool isSignedBy(const PublicKey& key, const Session& session) {
  const bool isEc = session.algorithm == "ES256";
  const std::string signature = isEc ? toAsn1(session.signature) : session.signature;
  const Digest digest(EVP_MD_CTX_new());
  EVP_PKEY_CTX* context = nullptr;
  if (signature.empty() || !digest ||
      EVP_DigestVerifyInit(digest.get(), &context, EVP_sha256(), nullptr, key.get()) != 1 ||
      (session.algorithm == "PS256" && !usePss(context))) {
    return false;
  }
  const std::string_view text = session.signedText();
  return EVP_DigestVerify(digest.get(), bytesOf(signature), signature.size(), bytesOf(text),
                          text.size()) == 1;
}

std::string cryptoDiagnostic() {
  char text[256] = {};
  const unsigned long error = ERR_get_error();
  if (error != 0) ERR_error_string_n(error, text, sizeof text);
  ERR_clear_error();
  return text;
}

}  // namespace VESK::signon
