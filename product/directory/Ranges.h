// Attributes of which a server sends only some values at once: "member;range=0-1499" stands in
// place of "member", and the rest is to be asked for.
#ifndef VESK_DIRECTORY_RANGES_H
#define VESK_DIRECTORY_RANGES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "product/directory.h"

namespace VESK::directory {

struct Range {
  std::string name;  // without the option, but with any other
  std::uint64_t first = 0;
  std::optional<std::uint64_t> last;  // nothing: up to the end
};

// Nothing when the attribute's description has no such option, or not in its form.
std::optional<Range> rangeOf(std::string_view description);

// Whether `sent` is what a server made of the range that was `asked` for: it names the range that it
// sends, "0-*" for a short list, or fewer values than asked for.
bool answers(std::string_view sent, std::string_view asked);

// An attribute's values up to now.
struct PartialAttribute {
  Range range;  // of the values that came last
  std::vector<std::string> values;
};

// Whether `part`, which is to start with value number `expected`, is what it says; otherwise the
// complaint. No server may make the reading go round in circles, or end early.
std::string wrongWith(const PartialAttribute& part, std::uint64_t expected);

// Moves the values from number `expected` on, which are among what was `sent`, to the end of
// `whole`; otherwise the complaint.
std::string addPart(PartialAttribute& whole, std::vector<PartialAttribute>& sent,
                    std::uint64_t expected);

// Whether the caller asked for a range of this attribute himself. `asked` ends with a null.
bool asksForRange(const char* const* asked, const std::string& name);

}  // namespace VESK::directory

#endif
