#include "Misbehaviour.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "Operations.h"

namespace agent {
namespace {

// The number that stands for one that is left out.
const std::map<std::string, double, std::less<>>& kinds() {
  static const std::map<std::string, double, std::less<>> table{
      {"delay", 1000}, {"drip", 100}, {"cut", -1},  {"garbage", 0},         {"wrong-sum", 1},
      {"never", 0},    {"http", 503}, {"fault", 0}, {"other-operation", 0}, {"wrong-echo", 1},
  };
  return table;
}

std::invalid_argument bad(const std::string& rule, const char* why) {
  return std::invalid_argument("--misbehave " + rule + ": " + why);
}

}  // namespace

Misbehaviour Misbehaviour::parse(const std::string& rules) {
  Misbehaviour all;
  std::istringstream list(rules);
  for (std::string rule; std::getline(list, rule, ',');) all.rules.push_back(parseRule(rule));
  return all;
}

Misbehaviour::Rule Misbehaviour::parseRule(const std::string& rule) {
  const auto equals = rule.find('=');
  if (equals == std::string::npos) throw bad(rule, "OPERATION=KIND is needed");
  const auto colon = rule.find(':', equals);
  Rule result{rule.substr(0, equals), rule.substr(equals + 1, colon - equals - 1), 0};
  const auto kind = kinds().find(result.kind);
  if (kind == kinds().end()) throw bad(rule, "there is no such kind");
  if (result.operation != "*" && !isOperation(result.operation)) {
    throw bad(rule, "there is no such operation");
  }
  result.number = kind->second;
  if (colon == std::string::npos) return result;
  const char* last = rule.data() + rule.size();
  const auto [end, error] = std::from_chars(rule.data() + colon + 1, last, result.number);
  if (error != std::errc{} || end != last) throw bad(rule, "a number is needed after the colon");
  if (result.number < 0 && !result.kind.starts_with("wrong")) {
    throw bad(rule, "the number cannot be negative");
  }
  if (result.kind == "http" && !(result.number >= 200 && result.number < 600)) {
    throw bad(rule, "that is no HTTP status");
  }
  return result;
}

std::optional<double> Misbehaviour::find(const std::string& operation,
                                         const std::string& kind) const {
  const auto rule = std::find_if(rules.rbegin(), rules.rend(), [&](const Rule& other) {
    return other.kind == kind && (other.operation == "*" || other.operation == operation);
  });
  return rule == rules.rend() ? std::nullopt : std::optional(rule->number);
}

}  // namespace agent
