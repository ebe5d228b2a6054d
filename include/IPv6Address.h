// The canonical form of IPv6 addresses.
#ifndef VESK_IPV6_ADDRESS_H
#define VESK_IPV6_ADDRESS_H

#include <string>

// Brings an address, with `withMask` also "address/prefix length", into its canonical form: lower
// case, compressed, and with a length the host bits cleared. False, with a line in the log, when it
// is none; `address` is then as it was, or without its length where that was well-formed.
[[nodiscard]] bool FormatIPv6Addr(std::string& address, bool withMask);

#endif
