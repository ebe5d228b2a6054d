// IPv6 texts: what is accepted is in the one form that all spellings of an address share.
#include <arpa/inet.h>

#include "FakeJava.h"
#include "Fuzz.h"
#include "IPv6Address.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI.h"

namespace {

in6_addr binaryOf(const std::string& text) {
  in6_addr binary{};
  FUZZ_EXPECT(inet_pton(AF_INET6, text.c_str(), &binary) == 1);
  return binary;
}

// Every bit behind the prefix is clear.
void expectMasked(const in6_addr& address, int prefix) {
  for (int bit = prefix; bit < 128; ++bit) {
    FUZZ_EXPECT((address.s6_addr[bit / 8] >> (7 - bit % 8) & 1) == 0);
  }
}

// Java gets the same, or the empty text.
void expectSameInJava(const std::string& given, bool withMask, const std::string& formatted) {
  fuzz::FakeJava java;
  JNIEnv* env = java.env();
  const jstring address = java.string(std::u16string(given.begin(), given.end()));
  const jstring answer =
      withMask
          ? Java_com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI_formatIPv6WithMask(env, nullptr,
                                                                                 address)
          : Java_com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI_formatIPv6Addr(env, nullptr, address);
  FUZZ_EXPECT(fuzz::FakeJava::utfOf(answer) == formatted);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const bool withMask = (input.byte() & 1) != 0;
  const std::string given = input.text();
  std::string formatted = given;
  const bool taken = FormatIPv6Addr(formatted, withMask);
  expectSameInJava(given, withMask, taken ? formatted : "");
  if (!taken) {
    FUZZ_EXPECT(formatted == given || given.starts_with(formatted + '/'));
    return 0;
  }
  std::string again = formatted;
  FUZZ_EXPECT(FormatIPv6Addr(again, withMask) && again == formatted);
  const std::size_t slash = formatted.find('/');
  const in6_addr address = binaryOf(formatted.substr(0, slash));
  if (slash == std::string::npos) return 0;
  FUZZ_EXPECT(withMask);
  expectMasked(address, std::stoi(formatted.substr(slash + 1)));
  return 0;
}
