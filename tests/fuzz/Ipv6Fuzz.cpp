// IPv6 texts: what is accepted is in the one form that all spellings of an address share.
#include <arpa/inet.h>

#include "Fuzz.h"
#include "IPv6Address.h"

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

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const bool withMask = (input.byte() & 1) != 0;
  const std::string given = input.text();
  std::string formatted = given;
  if (!FormatIPv6Addr(formatted, withMask)) {
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
