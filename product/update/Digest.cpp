#include "Digest.h"

#include <algorithm>

namespace VESK::update {

Sha256::Sha256() : context(EVP_MD_CTX_new()) {
  whole = context && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
}

void Sha256::add(const void* data, std::size_t size) {
  whole = whole && EVP_DigestUpdate(context.get(), data, size) == 1;
}

std::string Sha256::finish() {
  unsigned char sum[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  std::string text;
  if (whole && EVP_DigestFinal_ex(context.get(), sum, &size) == 1) {
    for (unsigned i = 0; i < size; ++i) {
      text += "0123456789abcdef"[sum[i] >> 4];
      text += "0123456789abcdef"[sum[i] & 15];
    }
  }
  whole = context && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
  return text;
}

bool isSha256(std::string_view text) {
  const auto hexadecimal = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
  return text.size() == 64 && std::all_of(text.begin(), text.end(), hexadecimal);
}

}  // namespace VESK::update
