// The appliance's own key, in config/cipher.key below the install root.
#ifndef VESK_CIPHER_KEY_H
#define VESK_CIPHER_KEY_H

#include <openssl/crypto.h>

#include <array>
#include <string>

namespace VESK::cipher {

// Wiped when it goes.
struct Key {
  Key() = default;
  ~Key() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  std::array<unsigned char, 32> bytes{};
};

enum class Missing { isMade, isFailure };

// Reads the key; false after a line in the log. Of several processes that find none and make one at
// the same time, one wins and all get its key.
bool readKey(Key& key, Missing missing);

// One line in the log; false, so that it can be returned.
bool refuse(const char* step, const std::string& reason, const char* hint);

}  // namespace VESK::cipher

#endif
