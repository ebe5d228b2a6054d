#include "Ranges.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>

namespace VESK::directory {

namespace {

constexpr std::string_view OPTION = ";range=";

std::size_t findOption(std::string_view description) {
  for (std::size_t at = description.find(';'); at != std::string_view::npos;
       at = description.find(';', at + 1)) {
    if (description.size() - at > OPTION.size() &&
        strncasecmp(description.data() + at, OPTION.data(), OPTION.size()) == 0) {
      return at;
    }
  }
  return std::string_view::npos;
}

bool isSame(const std::string& one, const std::string& other) {
  return strcasecmp(one.c_str(), other.c_str()) == 0;
}

bool takeNumber(std::string_view text, std::uint64_t& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

}  // namespace

std::optional<Range> rangeOf(std::string_view description) {
  const std::size_t at = findOption(description);
  if (at == std::string_view::npos) return {};
  std::string_view bounds = description.substr(at + OPTION.size());
  bounds = bounds.substr(0, bounds.find(';'));
  const std::size_t dash = bounds.find('-');
  Range range;
  if (dash == std::string_view::npos || !takeNumber(bounds.substr(0, dash), range.first)) return {};
  if (bounds.substr(dash + 1) != "*") {
    range.last.emplace();
    if (!takeNumber(bounds.substr(dash + 1), *range.last)) return {};
  }
  range.name = description.substr(0, at);
  range.name += description.substr(at + OPTION.size() + bounds.size());
  return range;
}

bool answers(std::string_view sent, std::string_view asked) {
  const std::optional<Range> one = rangeOf(sent);
  const std::optional<Range> other = rangeOf(asked);
  return one && other && one->first == other->first && isSame(one->name, other->name);
}

std::string wrongWith(const PartialAttribute& part, std::uint64_t expected) {
  const Range& range = part.range;
  if (range.first != expected) {
    return "the server sent values from " + std::to_string(range.first) + " on in place of " +
           std::to_string(expected);
  }
  const bool empty = part.values.empty() && (expected > 0 || range.last);
  if (empty || (range.last && *range.last - range.first + 1 != part.values.size())) {
    return "the server sent " + std::to_string(part.values.size()) + " values from " +
           std::to_string(expected) + " on, and not what it said";
  }
  return {};
}

std::string addPart(PartialAttribute& whole, std::vector<PartialAttribute>& sent,
                    std::uint64_t expected) {
  const auto part = std::find_if(sent.begin(), sent.end(), [&](const PartialAttribute& other) {
    return isSame(other.range.name, whole.range.name);
  });
  if (part == sent.end()) return "the server sent none from " + std::to_string(expected) + " on";
  if (std::string wrong = wrongWith(*part, expected); !wrong.empty()) return wrong;
  whole.range.last = part->range.last;
  std::move(part->values.begin(), part->values.end(), std::back_inserter(whole.values));
  return {};
}

bool asksForRange(const char* const* asked, const std::string& name) {
  for (; asked != nullptr && *asked != nullptr; ++asked) {
    const std::optional<Range> range = rangeOf(*asked);
    if (range && isSame(range->name, name)) return true;
  }
  return false;
}

}  // namespace VESK::directory
