// Base64 as sessions have it: RFC 4648 with - and _, no padding.
#ifndef VESK_SIGNON_BASE64_URL_H
#define VESK_SIGNON_BASE64_URL_H

#include <optional>
#include <string>
#include <string_view>

namespace VESK::signon {

// Nothing for a text that an encoder would not have written: one text for one content.
std::optional<std::string> fromBase64Url(std::string_view text);
std::string toBase64Url(std::string_view bytes);

}  // namespace VESK::signon

#endif
