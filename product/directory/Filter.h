// Search filters (RFC 4515), and the DNs inside them.
#ifndef VESK_DIRECTORY_FILTER_H
#define VESK_DIRECTORY_FILTER_H

#include <string>
#include <string_view>
#include <vector>

namespace VESK::directory {

// An attribute's name or OID, with options.
bool isAttributeName(std::string_view text);
// Whether parentheses, at most 100 within each other, and comparisons are well formed; what a
// server knows is for it to say.
bool isFilter(std::string_view text);

// A value that stands for itself.
std::string escapeValue(std::string_view value);
// The same of a value that is bytes.
std::string escapeBytes(std::string_view value);
// A value in which `*` is a wildcard and everything else stands for itself.
std::string escapePattern(std::string_view pattern);

// (attribute=value), the value escaped already.
std::string item(std::string_view attribute, std::string_view escaped);
std::string anyOf(const std::vector<std::string>& attributes, std::string_view escaped);
std::string both(std::string_view first, std::string_view second);

// One spelling for all that name the same entry: spacing, escapes and case are settled. Empty when
// the text is no DN. For comparisons only.
std::string comparableDn(const std::string& dn);
bool isAscii(std::string_view text);
// Whether the entry is the base or lies below it. In what is not ASCII, upper and lower case
// differ.
bool isUnder(const std::string& dn, const std::string& base);

}  // namespace VESK::directory

#endif
