// A session taken apart; nothing in it is believed before its signature is checked.
#ifndef VESK_SIGNON_SESSION_H
#define VESK_SIGNON_SESSION_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Members.h"

namespace VESK::signon {

// A code of SsoPkiResult and the reason for it.
struct Verdict {
  int code = 0;
  const char* reason = "";
};

struct Session {
  std::string text;
  std::size_t signedLength = 0;  // of the text's beginning, which the signature is over
  std::string signature;
  std::string algorithm;
  std::string issuer;
  Members claims;
  Verdict verdict;  // what is wrong already

  std::string_view signedText() const { return std::string_view(text).substr(0, signedLength); }
};

// The session, taken apart. A console with many GUIDs asks for the same one again and again, so
// each thread keeps its last one; it is there until the next call.
const Session& takeApart(const char* text);

}  // namespace VESK::signon

#endif
