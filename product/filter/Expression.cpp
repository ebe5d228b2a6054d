#include "Expression.h"

#include <vector>

#include "Embedded.h"
#include "Words.h"

namespace VESK::filter {

namespace {

constexpr int DEEPEST = 50;

// A part of the expression in one of two forms. As a search it finds what the part asks for,
// wherever that is. As a condition it stands at the text's beginning and finds nothing itself: it
// holds or not, in one step that is not tried in another way. NOT and AND need conditions.
struct Part {
  std::string regex;
  bool isSearch = false;
  bool hasAlternatives = false;
};

std::string grouped(const Part& part) {
  return part.hasAlternatives ? "(?:" + part.regex + ")" : part.regex;
}

std::string condition(const Part& part) {
  return part.isSearch ? "(?=.*?" + grouped(part) + ")" : part.regex;
}

Part negated(const Part& part) {
  return {part.isSearch ? "(?!.*?" + grouped(part) + ")" : "(?!" + part.regex + ")"};
}

Part allOf(std::vector<Part> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  Part all;
  for (const Part& part : parts) all.regex += condition(part);
  return all;
}

Part anyOf(std::vector<Part> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  bool searches = true;
  for (const Part& part : parts) searches = searches && part.isSearch;
  std::string list;
  for (const Part& part : parts) {
    if (!list.empty()) list += '|';
    list += searches ? part.regex : condition(part);
  }
  if (searches) return {list, true, true};
  // Without > every combination of alternatives would be tried when a later condition fails.
  return {"(?>" + list + ")"};
}

enum Kind { END, OPEN, CLOSE, AND, OR, NOT, WORD, PHRASE, REGEX };

bool beginsPart(Kind kind) {
  return kind == OPEN || kind == WORD || kind == PHRASE || kind == REGEX;
}

struct Token {
  Kind kind = END;
  std::size_t at = 0;
  std::string_view text{};  // without the marks around it
};

class Reader {
 public:
  explicit Reader(std::string_view source) : text(source) { advance(); }

  const Token& current() const { return token; }
  void advance();
  void refuse(std::size_t at, const std::string& reason, const char* hint);

  Fault fault;  // the first one

 private:
  void readEnclosed(Kind kind, char mark);
  void readWord();
  void wantGap();

  std::string_view text;
  std::size_t next = 0;
  Token token;
};

void Reader::refuse(std::size_t at, const std::string& reason, const char* hint) {
  if (fault.reason.empty()) fault = {at, reason, hint};
}

void Reader::advance() {
  while (blankLength(text, next) > 0) next += blankLength(text, next);
  token = {END, next};
  if (next >= text.size()) return;
  switch (text[next]) {
    case '(':
      token.kind = OPEN;
      ++next;
      break;
    case ')':
      token.kind = CLOSE;
      ++next;
      break;
    case '"':
      readEnclosed(PHRASE, '"');
      break;
    case '/':
      readEnclosed(REGEX, '/');
      break;
    default:
      readWord();
  }
}

void Reader::readEnclosed(Kind kind, char mark) {
  const std::size_t begin = ++next;
  while (next < text.size() && text[next] != mark) next += text[next] == '\\' ? 2 : 1;
  if (next >= text.size()) {
    next = text.size();
    kind == PHRASE
        ? refuse(token.at, "a phrase that is not closed", "as an ordinary character write \\\"")
        : refuse(token.at, "a regular expression that is not closed",
                 "a word that begins with a slash is written \\/");
    return;
  }
  token = {kind, token.at, text.substr(begin, next++ - begin)};
  wantGap();
}

void Reader::readWord() {
  const std::size_t begin = next;
  while (next < text.size() && blankLength(text, next) == 0 && text[next] != '(' &&
         text[next] != ')' && text[next] != '"') {
    if (text[next] == '\\' && ++next == text.size()) {
      return refuse(next - 1, "a backslash at the end", "as an ordinary character write \\\\");
    }
    next += characterLength(text, next);
  }
  const std::string_view word = text.substr(begin, next - begin);
  token = {word == "AND" ? AND : word == "OR" ? OR : word == "NOT" ? NOT : WORD, begin, word};
  wantGap();
}

// Two things that touch are rather a slip than an AND: /a/i, 5"tv".
void Reader::wantGap() {
  if (next >= text.size() || text[next] == ')' || blankLength(text, next) > 0) return;
  if (text[next] == '(' && !beginsPart(token.kind)) return;
  refuse(next, "a blank is missing before this character",
         "inside a word write \\\" and \\(, and options into the regular expression: /(?-i)AG/");
}

class Parser {
 public:
  explicit Parser(std::string_view source) : reader(source) {}

  Part parse() {
    Part whole = expression();
    if (!failed() && reader.current().kind == CLOSE) {
      reader.refuse(reader.current().at, "a parenthesis that was not opened",
                    "as an ordinary character write \\)");
    }
    return whole;
  }

  bool failed() const { return !reader.fault.reason.empty(); }
  const Fault& fault() const { return reader.fault; }

 private:
  Part expression() {
    std::vector<Part> terms{term()};
    while (!failed() && reader.current().kind == OR) {
      reader.advance();
      terms.push_back(term());
    }
    return anyOf(std::move(terms));
  }

  Part term() {
    std::vector<Part> factors{factor()};
    while (!failed() && !isTermEnd()) {
      if (reader.current().kind == AND) reader.advance();
      factors.push_back(factor());
    }
    return allOf(std::move(factors));
  }

  bool isTermEnd() const {
    const Kind kind = reader.current().kind;
    return kind == END || kind == OR || kind == CLOSE;
  }

  Part factor() {
    if (reader.current().kind != NOT) return primary();
    reader.advance();
    return negated(primary());
  }

  Part primary() {
    const Token token = reader.current();
    if (!beginsPart(token.kind)) {
      reader.refuse(token.at, "a word is missing here", "as words write \"AND\", \"OR\", \"NOT\"");
      return {};
    }
    reader.advance();
    switch (token.kind) {
      case OPEN:
        return inParentheses(token);
      case WORD:
        return {wordToRegEx(token.text), true};
      case PHRASE:
        return phrase(token);
      default:
        return regularExpression(token);
    }
  }

  Part inParentheses(const Token& open) {
    if (++depth > DEEPEST) {
      reader.refuse(open.at, "more than 50 parentheses inside each other", "leave some out");
      return {};
    }
    Part inner = expression();
    if (reader.current().kind != CLOSE) {
      reader.refuse(open.at, "a parenthesis that is not closed",
                    "as an ordinary character write \\(");
    }
    reader.advance();
    --depth;
    return inner;
  }

  Part phrase(const Token& token) {
    Part made{phraseToRegEx(token.text), true};
    if (made.regex.empty()) reader.refuse(token.at, "a phrase without a word", "leave it out");
    return made;
  }

  Part regularExpression(const Token& token) {
    Fault inner;
    Part made{embedder.embed(token.text, inner), true};
    if (token.text.empty()) inner = {0, "an empty regular expression", "leave it out"};
    if (!inner.reason.empty()) {
      reader.refuse(token.at + 1 + inner.at, "in a regular expression: " + inner.reason,
                    inner.hint);
    }
    return made;
  }

  Reader reader;
  Embedder embedder;
  int depth = 0;
};

bool isBlank(std::string_view text) {
  std::size_t at = 0;
  while (blankLength(text, at) > 0) at += blankLength(text, at);
  return at == text.size();
}

}  // namespace

std::string toRegEx(std::string_view expression, Fault& fault) {
  if (isBlank(expression)) return "(?!)";
  Parser parser(expression);
  const Part whole = parser.parse();
  if (parser.failed()) {
    fault = parser.fault();
    return NO_REGEX;
  }
  return whole.isSearch ? "(?i)" + whole.regex : "(?si)\\A" + whole.regex;
}

}  // namespace VESK::filter
