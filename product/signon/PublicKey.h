// The central console's public key.
#ifndef VESK_SIGNON_PUBLIC_KEY_H
#define VESK_SIGNON_PUBLIC_KEY_H

#include <openssl/evp.h>

#include <memory>
#include <string>

#include "Session.h"

namespace VESK::signon {

struct FreeKey {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using PublicKey = std::unique_ptr<EVP_PKEY, FreeKey>;

// Null with the reason when the file holds no key that serves.
PublicKey readPublicKey(const char* file, const char*& reason);

// Whether the session's algorithm is for such keys.
bool fits(const PublicKey& key, const Session& session);
bool isSignedBy(const PublicKey& key, const Session& session);

// The first line of what OpenSSL has to say; empties its list.
std::string cryptoDiagnostic();

}  // namespace VESK::signon

#endif
