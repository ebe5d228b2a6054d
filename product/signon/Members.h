// The members of a JSON object from a source that nobody trusts yet.
#ifndef VESK_SIGNON_MEMBERS_H
#define VESK_SIGNON_MEMBERS_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace VESK::signon {

struct Member {
  enum Kind { TEXT, INTEGER, TEXTS, OTHER };

  Kind kind = OTHER;
  std::string text;
  std::int64_t integer = 0;
  std::vector<std::string> texts;
};

struct Members {
  std::map<std::string, Member> byName;
  bool isTwice = false;  // a name stands there more than once

  // Null when there is none of that kind.
  const Member* find(const char* name, Member::Kind kind) const;
};

// False when the text is no JSON object, nests deeper than four levels or has over 64 members.
bool readMembers(std::string_view json, Members& members);

}  // namespace VESK::signon

#endif
