// What an agent does wrong on purpose, so that tests see what its clients make of it.
#ifndef VESK_APPLIANCE_AGENT_MISBEHAVIOUR_H
#define VESK_APPLIANCE_AGENT_MISBEHAVIOUR_H

#include <optional>
#include <string>
#include <vector>

namespace agent {

class Misbehaviour {
 public:
  // "OPERATION=KIND[:NUMBER]" joined by commas; the operation * means all of them. The kinds and
  // their numbers are in usage(). Throws std::invalid_argument.
  static Misbehaviour parse(const std::string& rules);

  // The number of the last rule of that kind that covers the operation.
  std::optional<double> find(const std::string& operation, const std::string& kind) const;

 private:
  struct Rule {
    std::string operation;
    std::string kind;
    double number;
  };
  static Rule parseRule(const std::string& rule);

  std::vector<Rule> rules;
};

}  // namespace agent

#endif
