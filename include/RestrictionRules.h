// One rule of the client restrictions, and the lines of the Postfix table that it becomes.
#ifndef VESK_RESTRICTION_RULES_H
#define VESK_RESTRICTION_RULES_H

#include <cstddef>
#include <cstdio>

// A rule line, and so each part of it, has less.
constexpr std::size_t RULE_LINE_SIZE = 1024;

// The table lines of one rule line, which is written to while it is taken apart; none when it is no
// rule. What cannot be written is left to ferror().
void writeRule(char* line, std::FILE* out);

// The table lines of one network rule: none when `prefixLength`, decimal digits, is not 1 to 32.
// `address` and `action` have less than RULE_LINE_SIZE characters each.
void EnumerateAlternateIPAddresses(const char* address, const char* prefixLength, std::FILE* out,
                                   const char* action);

#endif
