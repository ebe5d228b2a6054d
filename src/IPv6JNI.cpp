#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "IPv6Address.h"
#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI.h"
#include "product/log.h"

namespace {

using VESK::Log;

constexpr int noPrefix = -1;
constexpr int addressBits = 128;

// Tells the reader of the log which test an address failed; the numbers never change.
enum Tag {
  notExpected = 51,
  badPrefix = 58,
  notParsed = 70,
  notPrinted = 79,
  maskedNotPrinted = 126
};

// As in C's own conversion: blanks and a sign in front and junk behind are accepted, no digits are
// 0.
int prefixOf(const char* text) {
  const long number = std::strtol(text, nullptr, 10);
  return number < 0 || number > addressBits ? addressBits + 1 : static_cast<int>(number);
}

void clearHostBits(in6_addr& address, int prefix) {
  for (int byte = 0; byte < 16; ++byte) {
    const int kept = std::clamp(prefix - 8 * byte, 0, 8);
    address.s6_addr[byte] &= static_cast<std::uint8_t>(0xFF00 >> kept);
  }
}

}  // namespace

bool FormatIPv6Addr(std::string& address, bool withMask) {
  if (address.empty()) return false;
  int prefix = noPrefix;
  if (const std::size_t slash = address.find('/'); slash != std::string::npos) {
    if (!withMask) {
      Log::LogByLevel(3, "[IPv6JNI:%d] Invalid IP address in FormatIPv6Addr: %s.", notExpected,
                      address.c_str());
      return false;
    }
    prefix = prefixOf(address.c_str() + slash + 1);
    if (prefix > addressBits) {
      Log::LogByLevel(3, "[IPv6JNI:%d] Invalid IP address with mask in FormatIPv6Addr: %s.",
                      badPrefix, address.c_str());
      return false;
    }
    address.resize(slash);
  }
  in6_addr binary;
  if (inet_pton(AF_INET6, address.c_str(), &binary) != 1) {
    Log::LogByLevel(3, "[IPv6JNI:%d] Invalid IP address in FormatIPv6Addr: %s.", notParsed,
                    address.c_str());
    return false;
  }
  if (prefix != noPrefix) clearHostBits(binary, prefix);
  char text[INET6_ADDRSTRLEN];
  if (inet_ntop(AF_INET6, &binary, text, sizeof text) == nullptr) {
    Log::LogByLevel(
        3, "[IPv6JNI:%d] Failed to convert from binary data to string in FormatIPv6Addr: %s.",
        prefix == noPrefix ? notPrinted : maskedNotPrinted, address.c_str());
    return false;
  }
  address = text;
  if (prefix != noPrefix) address += '/' + std::to_string(prefix);
  return true;
}

#define DEFINE_FORMATTER(method, withMask)                                         \
  VESK_JNI(jstring, IPv6JNI, method)(JNIEnv * env, jobject, jstring address) try { \
    Log::LogByLevel(3, "IPv6JNI::" #method " Enter");                              \
    if (address == nullptr) return env->NewStringUTF("");                          \
    const VeskJniString input(env, address);                                       \
    std::string working = input.str;                                               \
    Log::LogByLevel(3, "IPv6JNI::" #method " ipv6Addr=%s", working.c_str());       \
    if (!FormatIPv6Addr(working, withMask)) {                                      \
      Log::LogByLevel(3, "IPv6JNI::" #method " failed: %s", input.str);            \
      working.clear();                                                             \
    }                                                                              \
    return env->NewStringUTF(working.c_str());                                     \
  }                                                                                \
  VESK_ON_NO_MEMORY(env->NewStringUTF(""))
DEFINE_FORMATTER(formatIPv6Addr, false)
DEFINE_FORMATTER(formatIPv6WithMask, true)
