// Versions of components.
#ifndef VESK_UPDATE_VERSION_H
#define VESK_UPDATE_VERSION_H

#include <compare>
#include <string_view>

namespace VESK::update {

// 1 to 64 letters, digits and any of . _ + ~ -, beginning with a letter or a digit: it becomes part
// of a folder's name.
bool isVersion(std::string_view text);

// Runs of digits compare as numbers of any length, all else byte by byte, and a text that goes on
// is the newer one: 1.9 < 1.10 < 1.10.1, and 1.09 is the same as 1.9.
std::weak_ordering compareVersions(std::string_view left, std::string_view right);

}  // namespace VESK::update

#endif
