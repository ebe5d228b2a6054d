#include "Probes.h"

#include <algorithm>
#include <string>

#include "Text.h"

namespace VESK::filter {

namespace {

constexpr int COPIES = 24;       // doubling so often is plenty, and three nested runs are not much
constexpr int MOST_DEPTH = 200;  // of parentheses, as compiled
constexpr std::uint32_t STEPS = 20'000;
constexpr int MOST_REPETITIONS = 16;
constexpr int WAYS = 4;
// Characters of expression that are read in all.
constexpr std::size_t MOST_READING = 400'000;

// Stands in a sample where the text must begin.
constexpr const char* START = "\x01";

struct Repeat {
  int least = 1;
  int most = 1;
  bool possessive = false;

  bool grows() const { return most >= 10 && !possessive; }
};

// Reads an expression that compiled and writes a text for it. Where it does not know a construct,
// the text is worse, no more.
class Sample {
 public:
  // Which of the expression's repetitions is written many times (none if negative), and how the
  // rest is written: 0 as short as possible, 1 and more each part at least once, with that
  // alternative.
  Sample(std::string_view expression, int target, int way)
      : text(expression), wanted(target), choice(way) {}

  // Ends behind the repetition.
  std::string write() { return alternatives(0); }

  bool written() const { return done; }  // the wanted repetition
  int repetitions() const { return seen; }
  // Neither a repeated group nor three repetitions that can divide one text between them: nothing
  // that could run away.
  bool harmless() const { return !repeatedGroup && most < 3; }

 private:
  std::string alternatives(int depth);
  std::string sequence(int depth);
  std::string atom(int depth);
  std::string group(int depth);
  std::string escape();
  std::string set();
  std::string namedSet();
  Repeat repeat();
  bool braces(Repeat& found);
  int number();
  std::string repeated(const std::string& one, const Repeat& how, bool isAny, bool inside);

  bool more() const { return at < text.size(); }
  bool take(std::string_view word) {
    if (text.substr(at, word.size()) != word) return false;
    at += word.size();
    return true;
  }

  std::string_view text;
  int wanted;
  int choice;
  std::size_t at = 0;
  int seen = 0;
  bool done = false;
  bool repeatedGroup = false;
  int running = 0;  // repetitions since the last atomic group began
  int most = 0;
};

std::string Sample::alternatives(int depth) {
  std::string chosen;
  bool final = false;
  for (int i = 0;; ++i) {
    const bool before = done;
    std::string one = sequence(depth);
    if (!final && (i <= std::max(choice - 1, 0) || (done && !before))) chosen = std::move(one);
    final = final || (done && !before);
    if (!take("|")) return chosen;
  }
}

std::string Sample::sequence(int depth) {
  std::string made;
  while (more() && text[at] != '|' && text[at] != ')') {
    const bool before = done;
    const bool isGroup = text[at] == '(';
    const bool isAny = text[at] == '.';
    std::string one = atom(depth);
    const bool inside = done && !before;
    const Repeat how = repeat();
    repeatedGroup = repeatedGroup || (isGroup && how.grows());
    std::string piece = repeated(one, how, isAny, inside);
    if (!before) made += piece;
  }
  return made;
}

std::string Sample::repeated(const std::string& one, const Repeat& how, bool isAny, bool inside) {
  if (how.grows()) most = std::max(most, ++running);
  const bool target = how.grows() && seen++ == wanted && !done;
  if (inside) return one;
  int copies = std::max(how.least, choice > 0 && how.most > 0 && !isAny ? 1 : 0);
  if (target) copies = COPIES;
  done = done || target;
  std::string made;
  for (int i = 0; i < std::min(copies, COPIES); ++i) made += one;
  return made;
}

std::string Sample::atom(int depth) {
  switch (text[at]) {
    case '(':
      return group(depth);
    case '[':
      return set();
    case '\\':
      return escape();
    case '.':
      ++at;
      return "a";
    case '^':
      ++at;
      return START;
    case '$':
      ++at;
      return {};
    default: {
      const std::size_t length = characterLength(text, at);
      const std::string_view one = text.substr(at, length);
      at += length;
      return std::string(one);
    }
  }
}

std::string Sample::group(int depth) {
  ++at;
  const int outside = running;
  const bool before = done;
  bool closed = false;  // what is in it is not tried in another way from outside
  bool absent = false;
  if (take("?#")) at = std::min(text.find(')', at), text.size());
  if (take("?=") || take("?>") || take("?<=")) {
    closed = true;
  } else if (take("?!") || take("?<!")) {
    closed = absent = true;
  } else if (take("?")) {
    // A name or options.
    at = std::min(text.find_first_of(">':)|", at + 1), text.size());
    if (more() && text[at] != ')') ++at;
  }
  if (closed) running = 0;
  std::string inner = depth < MOST_DEPTH ? alternatives(depth + 1) : "";
  take(")");
  if (closed) running = outside;
  // A word in a condition of its own must end.
  if (closed && !done && !inner.empty()) inner += ' ';
  return absent && done == before ? "" : inner;
}

std::string Sample::escape() {
  ++at;
  if (!more()) return {};
  const char c = text[at];
  const std::size_t length = characterLength(text, at);
  const std::string_view one = text.substr(at, length);
  at += length;
  if ((c == 'p' || c == 'P' || c == 'x' || c == 'o' || c == 'g' || c == 'k' || c == 'N') &&
      take("{")) {
    at = std::min(text.find('}', at), text.size());
    take("}");
    return c == 'g' || c == 'k' ? "" : "a";
  }
  switch (c) {
    case 'd':
      return "0";
    case 's':
    case 'h':
      return " ";
    case 'w':
    case 'S':
    case 'D':
    case 'N':
      return "a";
    case 'W':
    case 'H':
      return "-";
    case 'R':
    case 'n':
      return "\n";
    case 't':
      return "\t";
    case 'A':
      return START;
    default:
      // Letters and digits that are left stand for places and references.
      return boundsWord(one) && c != '_' && length == 1 ? "" : std::string(one);
  }
}

std::string Sample::namedSet() {
  const std::string_view name = text.substr(at, 5);
  at = std::min(text.find(":]", at), text.size());
  take(":]");
  if (name == "digit") return "0";
  return name == "space" || name == "blank" ? " " : "a";
}

// The set's first member; of a negated one some character that is hardly ever excluded.
std::string Sample::set() {
  ++at;
  const bool negated = take("^");
  const std::size_t begin = at;
  std::string first;
  while (more() && (text[at] != ']' || at == begin)) {
    if (take("[:")) {
      const std::string one = namedSet();
      if (first.empty()) first = one;
    } else {
      const std::string one = text[at] == '\\' ? escape() : std::string(1, text[at++]);
      if (first.empty()) first = one;
    }
  }
  const std::string_view members = text.substr(begin, at - begin);
  take("]");
  if (!negated) return first;
  for (const char* one : {"a", "0", " ", "-", "z"}) {
    if (members.find(one) == std::string_view::npos) return one;
  }
  return "~";
}

int Sample::number() {
  int value = 0;
  while (more() && text[at] >= '0' && text[at] <= '9') {
    value = std::min(value * 10 + (text[at++] - '0'), 100'000);
  }
  return value;
}

bool Sample::braces(Repeat& found) {
  const std::size_t begin = at;
  ++at;
  const std::size_t digits = at;
  found.least = found.most = number();
  if (at > digits && take(",")) {
    const std::size_t second = at;
    found.most = number();
    if (at == second) found.most = 100'000;
  }
  if (at > digits && take("}")) return true;
  at = begin;  // ordinary characters
  return false;
}

Repeat Sample::repeat() {
  Repeat found;
  if (!more()) return found;
  if (take("*")) {
    found = {0, 100'000};
  } else if (take("+")) {
    found = {1, 100'000};
  } else if (take("?")) {
    found = {0, 1};
  } else if (text[at] != '{' || !braces(found)) {
    return {};
  }
  found.possessive = take("+");
  if (!found.possessive) take("?");
  return found;
}

// A text that almost fits: what must stand at the beginning does, and what else is asked for
// follows.
std::string probeOf(std::string sample, const char* end) {
  const std::size_t start = sample.rfind(START);
  const std::string before = start == std::string::npos ? "" : sample.substr(0, start);
  sample = sample.substr(start == std::string::npos ? 0 : start + 1) + end + before;
  std::erase(sample, *START);
  return sample;
}

}  // namespace

bool runsAway(std::string_view regularExpression, const Pattern& pattern) {
  Sample look(regularExpression, -1, 0);
  look.write();
  if (look.harmless()) return false;
  const std::size_t readings = MOST_READING / (WAYS * regularExpression.size());
  const int targets = std::min(
      {look.repetitions(), MOST_REPETITIONS, static_cast<int>(std::max<std::size_t>(readings, 1))});
  for (int target = 0; target < targets; ++target) {
    for (int way = 0; way < WAYS; ++way) {
      Sample sample(regularExpression, target, way);
      const std::string text = sample.write();
      // The second end does not fit before $ and the most general sets either.
      for (const char* end : {"", "\n!\n"}) {
        if (pattern.matchStart(probeOf(text, end), STEPS) == Pattern::GAVE_UP) return true;
      }
    }
  }
  return false;
}

}  // namespace VESK::filter
