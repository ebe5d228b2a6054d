#include "Version.h"

#include <algorithm>

namespace VESK::update {

namespace {

constexpr std::size_t LONGEST = 64;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isAlphanumeric(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Takes the number at the beginning, without its leading zeros.
std::string_view takeNumber(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
  std::string_view number = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(number.size());
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return number;
}

std::weak_ordering compareNumbers(std::string_view left, std::string_view right) {
  const std::weak_ordering bySize = left.size() <=> right.size();
  return std::is_neq(bySize) ? bySize : std::weak_ordering(left <=> right);
}

}  // namespace

bool isVersion(std::string_view text) {
  const auto allowed = [](char c) {
    return isAlphanumeric(c) || std::string_view("._+~-").find(c) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= LONGEST && isAlphanumeric(text.front()) &&
         std::all_of(text.begin(), text.end(), allowed);
}

std::weak_ordering compareVersions(std::string_view left, std::string_view right) {
  while (!left.empty() && !right.empty()) {
    std::weak_ordering order = left.front() <=> right.front();
    if (isDigit(left.front()) && isDigit(right.front())) {
      order = compareNumbers(takeNumber(left), takeNumber(right));
    } else {
      left.remove_prefix(1);
      right.remove_prefix(1);
    }
    if (std::is_neq(order)) return order;
  }
  return left.size() <=> right.size();
}

}  // namespace VESK::update
