// A text's result is "vesk1:" and, in base64url without padding: nonce (12 bytes), tag (16 bytes),
// the encrypted bytes. The prefix is authenticated as well.
#include "product/cipher.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "Key.h"
#include "shared/Boundary.h"

namespace {

using VESK::cipher::Key;
using VESK::cipher::Missing;
using VESK::cipher::refuse;

constexpr std::string_view PREFIX = "vesk1:";
constexpr std::size_t NONCE = 12;
constexpr std::size_t TAG = 16;
constexpr std::size_t HEAD = NONCE + TAG;
constexpr std::size_t LONGEST = 1 << 20;  // bytes of a text or a result

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

using Bytes = std::vector<unsigned char>;

// Holds a text for a moment.
struct SecretBytes : Bytes {
  using Bytes::Bytes;
  ~SecretBytes() { OPENSSL_cleanse(data(), size()); }
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
};

int length(std::size_t size) { return static_cast<int>(size); }  // LONGEST at the most

constexpr std::size_t encodedSize(std::size_t bytes) { return (bytes * 4 + 2) / 3; }

std::string encode(const Bytes& bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                  length(bytes.size()));
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  text.resize(encodedSize(bytes.size()));
  return text;
}

// Empty when it is not exactly what encode() gives: a text of one's own has one spelling only.
Bytes decode(std::string_view encoded) {
  std::string text(encoded);
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  text.append((4 - text.size() % 4) % 4, '=');
  Bytes bytes(text.size() / 4 * 3);
  if (EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                      length(text.size())) < 0) {
    return {};
  }
  bytes.resize(encoded.size() * 3 / 4);
  return encode(bytes) == encoded ? bytes : Bytes();
}

// Sets key, nonce and prefix up; `encrypting` is 1 or 0.
bool begin(EVP_CIPHER_CTX* context, const Key& key, const unsigned char* nonce, int encrypting) {
  int count = 0;
  return context != nullptr &&
         EVP_CipherInit_ex(context, EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce,
                           encrypting) == 1 &&
         EVP_CipherUpdate(context, nullptr, &count,
                          reinterpret_cast<const unsigned char*>(PREFIX.data()),
                          length(PREFIX.size())) == 1;
}

bool encrypt(const Key& key, std::string_view text, Bytes& sealed) {
  sealed.assign(HEAD + text.size() + 1, 0);  // one more, so that there is always a place behind
  const Context context(EVP_CIPHER_CTX_new());
  int count = 0, rest = 0;
  const bool done =
      RAND_bytes(sealed.data(), NONCE) == 1 && begin(context.get(), key, sealed.data(), 1) &&
      EVP_CipherUpdate(context.get(), sealed.data() + HEAD, &count,
                       reinterpret_cast<const unsigned char*>(text.data()),
                       length(text.size())) == 1 &&
      EVP_CipherFinal_ex(context.get(), sealed.data() + HEAD + count, &rest) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, TAG, sealed.data() + NONCE) == 1;
  sealed.pop_back();
  return done;
}

bool decrypt(const Key& key, Bytes& sealed, SecretBytes& text) {
  const Context context(EVP_CIPHER_CTX_new());
  int count = 0, rest = 0;
  return begin(context.get(), key, sealed.data(), 0) &&
         EVP_CipherUpdate(context.get(), text.data(), &count, sealed.data() + HEAD,
                          length(sealed.size() - HEAD)) == 1 &&
         EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, TAG, sealed.data() + NONCE) ==
             1 &&
         EVP_CipherFinal_ex(context.get(), text.data() + count, &rest) == 1;
}

bool encryptText(const char* in, char* out, int outSize) {
  const std::size_t size = in == nullptr ? 0 : strnlen(in, LONGEST + 1);
  if (in == nullptr || PREFIX.size() + encodedSize(HEAD + size) > static_cast<std::size_t>(outSize))
    return refuse("encrypt", in == nullptr ? "no text" : "text too long for its place",
                  "735 bytes fit the console's 1,024");
  Key key;
  if (!VESK::cipher::readKey(key, Missing::isMade)) return false;
  Bytes sealed;
  if (!encrypt(key, {in, size}, sealed)) {
    return refuse("encrypt", "no random numbers or no AES-256-GCM", "check the OpenSSL set-up");
  }
  const std::string result = std::string(PREFIX) + encode(sealed);
  std::memcpy(out, result.c_str(), result.size() + 1);
  return true;
}

bool decryptText(char* inOut) {
  const std::string_view given(inOut, strnlen(inOut, LONGEST + 1));
  Bytes sealed;
  if (given.size() <= LONGEST && given.starts_with(PREFIX)) {
    sealed = decode(given.substr(PREFIX.size()));
  }
  if (sealed.size() < HEAD) {
    return refuse("decrypt", "the text is not one of this cipher, or was cut",
                  "enter the password again");
  }
  Key key;
  if (!VESK::cipher::readKey(key, Missing::isFailure)) return false;
  SecretBytes text(sealed.size() - HEAD + 1);
  if (!decrypt(key, sealed, text)) {
    return refuse("decrypt", "the text was altered or is of another appliance's key",
                  "enter the password again, or bring config/cipher.key back");
  }
  std::memcpy(inOut, text.data(), text.size());
  return true;
}

}  // namespace

int NewEncryptStr(const char* in, char* out, int outSize) try {
  if (out == nullptr || outSize < 0) {
    refuse("encrypt", "no place for the result", "the caller gives none");
    return -1;
  }
  *out = '\0';
  return encryptText(in, out, outSize) ? 0 : -1;
}
VESK_AT_BOUNDARY("cipher", -1)

int NewDecryptStr(char* inOut) try {
  if (inOut == nullptr) {
    refuse("decrypt", "no text", "the caller gives none");
    return -1;
  }
  if (decryptText(inOut)) return 0;
  *inOut = '\0';
  return -1;
}
VESK_AT_BOUNDARY("cipher", (*inOut = '\0', -1))
