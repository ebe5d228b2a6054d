#include "Members.h"

#include <limits>

#include "shared/JsonEvents.h"

namespace VESK::signon {

namespace {

constexpr int DEEPEST = 4;
constexpr std::size_t MOST_MEMBERS = 64;

// Keeps what stands on the first level and texts in lists there, and passes over the rest.
class Reader : public JsonEvents {
 public:
  explicit Reader(Members& fill) : members(fill) {}

  bool number_unsigned(std::uint64_t value) override {
    constexpr std::uint64_t MOST = std::numeric_limits<std::int64_t>::max();
    return number_integer(static_cast<std::int64_t>(std::min(value, MOST)));
  }
  bool number_integer(std::int64_t value) override {
    if (depth != 1) return other();
    member->kind = Member::INTEGER;
    member->integer = value;
    return true;
  }
  bool string(std::string& value) override {
    if (depth == 1) {
      member->kind = Member::TEXT;
      member->text = std::move(value);
    } else if (depth == 2 && member->kind == Member::TEXTS) {
      member->texts.push_back(std::move(value));
    }
    return depth > 0;
  }
  bool start_object(std::size_t) override { return other() && ++depth <= DEEPEST; }
  bool end_object() override { return --depth >= 0; }
  bool start_array(std::size_t) override {
    if (depth == 0) return false;
    other();
    if (depth == 1) member->kind = Member::TEXTS;
    return ++depth <= DEEPEST;
  }
  bool end_array() override { return --depth > 0; }
  bool key(std::string& name) override {
    if (depth != 1) return true;
    const auto [place, isNew] = members.byName.try_emplace(std::move(name));
    members.isTwice |= !isNew;
    member = &place->second;
    return members.byName.size() <= MOST_MEMBERS;
  }

 private:
  // A list with anything but texts in it is no list of texts.
  bool other() override {
    if (depth > 0 && depth <= 2) member->kind = Member::OTHER;
    return true;
  }

  Members& members;
  Member* member = nullptr;
  int depth = 0;
};

}  // namespace

const Member* Members::find(const char* name, Member::Kind kind) const {
  const auto place = byName.find(name);
  return place != byName.end() && place->second.kind == kind ? &place->second : nullptr;
}

bool readMembers(std::string_view json, Members& members) {
  // The parser would pass over a mark in front, and take a bare value.
  if (json.empty() || json[0] != '{') return false;
  Reader reader(members);
  return nlohmann::json::sax_parse(json, &reader);
}

}  // namespace VESK::signon
