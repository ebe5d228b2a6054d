// Names as they come from callers.
#ifndef VESK_QUARANTINE_NAME_H
#define VESK_QUARANTINE_NAME_H

#include <string>

namespace VESK::quarantine {

// The name in real UTF-8 (a supplementary character may come as two three-byte surrogates), or ""
// when it is none: null, empty, longer than 255 bytes, no UTF-8, or with control characters.
std::string usableName(const char* text);

}  // namespace VESK::quarantine

#endif
