// Keyword expressions: conversion and validation against nothing but PCRE2's compiler.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Compare.h"
#include "product/filter.h"

namespace {

struct Expression {
  const char* name;
  std::string text;
  bool valid;
};

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

const std::vector<Expression>& typical() {
  static const std::vector<Expression> EXPRESSIONS = {
      {"keyword, one word", "confidential", true},
      {"keyword, words and phrase",
       "confidential OR \"top secret\" OR (salary AND NOT \"salary survey\")", true},
      {"keyword, wildcards", "viagr? OR cial* OR \"free * pill*\" NOT newsletter", true},
      {"keyword, not ASCII", "стоимость OR Straße OR 請求書", true},
      {"keyword, regular expression", "/\\b\\d{4}[- ]?\\d{4}\\b/ AND (card OR account)", true},
  };
  return EXPRESSIONS;
}

// 10,000 characters, or made to run away.
const std::vector<Expression>& worst() {
  static const std::vector<Expression> EXPRESSIONS = {
      {"keyword, 10,000 characters: words", repeated("a ", 5000), true},
      {"keyword, 10,000 characters: Cyrillic", repeated("привет ", 1428), true},
      {"keyword, 10,000 characters: wildcards", repeated("a*", 5000), true},
      {"keyword, 10,000 characters: phrase", "\"" + repeated("a ", 4999) + "\"", true},
      {"keyword, 50 parentheses",
       repeated("(", 50) + repeated("a OR b ", 1400) + "OR c" + repeated(")", 50), true},
      {"keyword, (a+)+$", "/(a+)+$/", false},
      {"keyword, 100 times (a|b*)+", "/" + repeated("(a|b*)+", 100) + "/", true},
      {"keyword, 100 times (a|b)+c", "/" + repeated("(a|b)+c", 100) + "/", true},
      {"keyword, 1,000 times (?:a|b)+c", "/" + repeated("(?:a|b)+c", 1000) + "/", true},
      {"keyword, 1,999 times (a*)*", "/" + repeated("(a*)*", 1999) + "/", false},
      {"keyword, 3,300 times .+|", "/(?:" + repeated(".+|", 3300) + ")b/", false},
      {"keyword, 3,300 times \\X+", "/" + repeated("\\X+", 3300) + "x/", true},
      {"keyword, 4,500 times .*", "/" + repeated(".*", 4500) + "x/", false},
  };
  return EXPRESSIONS;
}

bool isValid(const Expression& expression) {
  scanContentSubjectFilter filter;
  return KeywordList().valReg(filter.convertToRegEx(expression.text.c_str()).c_str());
}

void compileAlone(const std::string& regularExpression) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(regularExpression.c_str()),
                    regularExpression.size(), PCRE2_UTF | PCRE2_UCP, &error, &offset, nullptr);
  bench::require(code != nullptr, "PCRE2 refused the regular expression");
  pcre2_code_free(code);
}

void measure(const Expression& expression, int repeats) {
  scanContentSubjectFilter filter;
  const std::string regularExpression = filter.convertToRegEx(expression.text.c_str());
  bench::compare(
      expression.name, 31,
      {{"pcre2_compile", [&] { compileAlone(regularExpression); }},
       {"convertToRegEx, valReg",
        [&] { bench::require(isValid(expression) == expression.valid, expression.name); }}},
      repeats);
}

}  // namespace

int main() {
  // Refusals are told on stderr until there is a log.
  bench::require(std::freopen("/dev/null", "w", stderr) != nullptr, "no /dev/null");
  for (const Expression& expression : typical()) measure(expression, 2000);
  for (const Expression& expression : worst()) measure(expression, 1);
  return 0;
}
