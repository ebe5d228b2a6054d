#include "Embedded.h"

#include "Pattern.h"

namespace VESK::filter {

namespace {

// Each one is compiled by itself first, which takes some microseconds.
constexpr int MOST_EXPRESSIONS = 100;

constexpr const char* PLAIN = "for the parenthesis itself, also inside [], write \\(";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Walks over an expression and stops at what must not be embedded. It does not look whether a place
// is inside square brackets: so it refuses a little too much, and misses nothing.
class Walk {
 public:
  Walk(std::string_view expression, std::uint32_t before) : text(expression), shift(before) {}

  bool toEnd() {
    while (fault.reason.empty() && at < text.size()) {
      if (text[at] == '\\' && at + 1 < text.size()) {
        escape();
      } else if (text[at] == '(' && at + 1 < text.size()) {
        group();
      } else {
        copy(1);
      }
    }
    return fault.reason.empty();
  }

  std::string copied;
  Fault fault;

 private:
  void copy(std::size_t count) {
    copied += text.substr(at, count);
    at += count;
  }

  void refuse(const char* reason, const char* hint) { fault = {at, reason, hint}; }

  void escape() {
    const char c = text[at + 1];
    if (c == 'Q' || c == 'E') {
      refuse("\\Q and \\E are not taken", "put a backslash before each character");
    } else if (c == 'c') {
      refuse("\\c is not taken", "write \\x{1b}");
    } else if (c == 'K') {
      refuse("\\K is not taken", "a keyword is found or not, where it begins does not matter");
    } else if (c == 'g' && at + 2 < text.size() && (text[at + 2] == '<' || text[at + 2] == '\'')) {
      refuse("an expression may not call its own groups", "write the group out");
    } else if (shift > 0 && (isDigit(c) ? c != '0' : c == 'g')) {
      reference(c == 'g' ? at + 2 : at + 1);
    } else {
      copy(2);
    }
  }

  // \N, \gN and \g{N} count all groups of the whole; \g{-N} and names stay as they are.
  void reference(std::size_t digits) {
    const bool braces = digits < text.size() && text[digits] == '{';
    std::size_t end = digits + (braces ? 1 : 0);
    std::uint32_t number = 0;
    const std::size_t begin = end;
    while (end < text.size() && end < begin + 4 && isDigit(text[end])) {
      number = number * 10 + static_cast<std::uint32_t>(text[end++] - '0');
    }
    if (end == begin) {
      copy(2);
    } else if (!braces && end - begin > 1) {
      // It may be a character's octal number as well.
      refuse("a reference with several digits", "write \\g{10}");
    } else {
      copied += "\\g{" + std::to_string(number + shift) + "}";
      at = end + (braces && end < text.size() && text[end] == '}' ? 1 : 0);
    }
  }

  void group() {
    const std::string_view head = text.substr(at, 3);
    if (head[1] == '*') {
      refuse("(* commands the whole search", PLAIN);
    } else if (head.size() == 3 && head[1] == '?') {
      special(head[2]);
    } else {
      copy(1);
    }
  }

  void special(char kind) {
    const bool call = text.substr(at, 4) == "(?P>" || kind == '&' || kind == 'R' || isDigit(kind) ||
                      kind == '+' || (kind == '-' && at + 3 < text.size() && isDigit(text[at + 3]));
    if (call) {
      refuse("an expression may not call itself or its own groups", PLAIN);
    } else if (kind == 'C') {
      refuse("call-outs are not taken", PLAIN);
    } else if (kind == '(') {
      refuse("conditional groups are not taken", "write both cases as alternatives: a|b");
    } else {
      options();
    }
  }

  // Letters before a colon or a closing parenthesis; the other kinds of groups have none of them.
  void options() {
    const std::size_t end = text.find_first_not_of("imnsxUJ^-", at + 2);
    const bool set = end != std::string_view::npos && (text[end] == ':' || text[end] == ')');
    const std::string_view letters = set ? text.substr(at + 2, end - at - 2) : "";
    if (letters.find('x') != std::string_view::npos) {
      refuse("option x would hide the end in a comment", "leave the blanks out");
    } else if (letters.find('J') != std::string_view::npos) {
      refuse("option J is not taken", "give each group a name of its own");
    } else {
      copy(2);
    }
  }

  std::string_view text;
  std::uint32_t shift;
  std::size_t at = 0;
};

}  // namespace

std::string Embedder::embed(std::string_view regularExpression, Fault& fault) {
  Walk walk(regularExpression, captures);
  if (++expressions > MOST_EXPRESSIONS) {
    fault = {0, "more than 100 regular expressions", "join them with | inside one"};
    return {};
  }
  if (!walk.toEnd()) {
    fault = walk.fault;
    return {};
  }
  // What compiles alone closes all that it opens.
  const Pattern alone(regularExpression, Pattern::FOR_VALIDATION);
  if (!alone.ok()) {
    fault = {alone.errorOffset(), alone.error(), "it must be right by itself"};
    return {};
  }
  for (const std::string& name : alone.groupNames()) {
    if (names.insert(name).second) continue;
    fault = {0, "another one has a group named " + name, "give each group a name of its own"};
    return {};
  }
  captures += alone.captures();
  return "(?-s:" + walk.copied + ")";
}

}  // namespace VESK::filter
