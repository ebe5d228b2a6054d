// Values that are bytes rather than text.
#ifndef VESK_DIRECTORY_BINARY_H
#define VESK_DIRECTORY_BINARY_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VESK::directory {

// Well-formed UTF-8 without a NUL: what can be shown as it is.
bool isText(std::string_view value);

// How a value of this attribute is shown: a SID as S-1-5-..., a GUID with dashes, any other value
// that is not text in base64. Nothing when the value shows itself.
std::optional<std::string> shownText(std::string_view attribute, std::string_view value);

// The SID of another account or group of the same domain; nothing when `sid` is none.
std::optional<std::string> siblingSid(std::string_view sid, std::uint32_t number);

}  // namespace VESK::directory

#endif
