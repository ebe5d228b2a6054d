#include "Probes.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "Text.h"

namespace VESK::filter {

namespace {

constexpr int COPIES = 24;       // doubling so often is plenty, and three nested runs are not much
constexpr int MOST_DEPTH = 200;  // of parentheses, as compiled
constexpr std::size_t MOST_STEPS = 20'000;
constexpr std::size_t FEWEST_STEPS = 200;
constexpr std::size_t MOST_LOOKS = 4'000'000;  // from an alternative to the next
constexpr int WAYS = 4;
// Of a short expression without groups: a probe that almost takes all its steps takes half a
// millisecond.
constexpr std::size_t MOST_PROBES = 48;
constexpr std::size_t FEWEST_PROBES = 4;
// Characters read and written for all samples. Most of them are alike in expressions that repeat
// themselves: the number of probes alone does not bound them.
constexpr std::size_t MOST_WORK = 1'000'000;
// Longer ones take their time even in a few steps.
constexpr std::size_t LONGEST_SAMPLE = 10'000;

// The time of a step grows with the groups, that of making a probe with the length.
std::size_t probesFor(std::size_t length, std::size_t captures, std::size_t freeParts) {
  return std::max(MOST_PROBES / (1 + captures / 20 + length / 2000 + freeParts / 500),
                  FEWEST_PROBES);
}

// The component passes parts that need no character without counting: a step is all of them. And
// each alternative that fits looks for the end of all.
std::uint32_t stepsFor(std::size_t freeParts, std::size_t looseAlternatives) {
  const std::size_t steps =
      std::min(MOST_STEPS / (1 + freeParts / 4), MOST_LOOKS / (1 + looseAlternatives));
  return static_cast<std::uint32_t>(std::max(steps, FEWEST_STEPS));
}

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
  static constexpr int NONE = -1;

  // `wanted` is the expression's repetition that is written many times, and the text ends there;
  // with NONE there is no such one. The rest is written as short as possible in way 0, in the
  // others each part at least once, with the first, second, ... alternative.
  Sample(std::string_view expression, int wanted, int way)
      : text(expression), target(wanted), choice(way) {
    alternatives(0);
  }

  const std::string& written() const { return out; }
  int repetitions() const { return seen; }
  // The longest row of parts that fit without a character, of way 0.
  std::size_t freeParts() const { return longestFree; }
  // Alternatives of one group that need no character or repeat something, and so fit often.
  std::size_t looseAlternatives() const { return mostLoose; }
  // Neither a repeated group nor three repetitions that can divide one text between them: nothing
  // that could run away.
  bool harmless() const { return !repeatedGroup && most < 3; }

 private:
  void alternatives(int depth);
  void sequence(int depth);
  void atom(int depth);
  void group(int depth);
  bool groupHead(bool& closed);
  void escape();
  void set();
  void namedSet();
  Repeat repeat();
  bool braces(Repeat& found);
  int number();
  void apply(const Repeat& how, std::size_t begin, bool isAny);

  bool more() const { return at < text.size(); }
  bool take(std::string_view word) {
    if (text.substr(at, word.size()) != word) return false;
    at += word.size();
    return true;
  }
  void write(std::string_view piece) { out += piece; }
  void countFree() { longestFree = std::max(longestFree, ++free); }

  std::string_view text;
  int target;
  int choice;
  std::string out;
  std::size_t at = 0;
  int seen = 0;
  bool done = false;  // the wanted repetition is written; nothing more is read
  bool repeatedGroup = false;
  int running = 0;  // repetitions since the last atomic group began
  int most = 0;
  std::size_t free = 0;
  std::size_t longestFree = 0;
  std::size_t mostLoose = 0;
};

void Sample::alternatives(int depth) {
  const std::size_t begin = out.size();
  std::size_t loose = 0;
  for (int i = 0;; ++i) {
    const std::size_t own = out.size();
    const int before = seen;
    sequence(depth);
    if (out.size() == own) countFree();
    if (seen > before || out.find_first_not_of(START, own) == std::string::npos) {
      mostLoose = std::max(mostLoose, ++loose);
    }
    if (done || i < choice || i == 0) {
      out.erase(begin, own - begin);
    } else {
      out.resize(own);
    }
    if (!take("|")) return;
  }
}

void Sample::sequence(int depth) {
  while (more() && text[at] != '|' && text[at] != ')') {
    const bool isGroup = text[at] == '(';
    const bool isAny = text[at] == '.';
    const std::size_t begin = out.size();
    atom(depth);
    if (done) return;
    const Repeat how = repeat();
    repeatedGroup = repeatedGroup || (isGroup && how.grows());
    apply(how, begin, isAny);
    // Groups are counted as steps.
    if (out.size() > begin) {
      free = 0;
    } else if (!isGroup) {
      countFree();
    }
  }
}

void Sample::apply(const Repeat& how, std::size_t begin, bool isAny) {
  if (how.grows()) {
    most = std::max(most, ++running);
    done = seen++ == target;
  }
  const bool once = choice > 0 && how.most > 0 && !isAny;
  const int copies = done ? COPIES : std::min(std::max(how.least, once ? 1 : 0), COPIES);
  if (done) at = text.size();
  if (copies == 1) return;
  const std::string one = out.substr(begin);
  out.resize(begin);
  for (int i = 0; i < copies; ++i) out += one;
}

void Sample::atom(int depth) {
  const std::size_t length = characterLength(text, at);
  switch (text[at]) {
    case '(':
      return group(depth);
    case '[':
      return set();
    case '\\':
      return escape();
    case '.':
      write("a");
      break;
    case '^':
      write(START);
      break;
    case '$':
      break;
    default:
      write(text.substr(at, length));
  }
  at += length;
}

// Whether the group says that its content must not be there. `closed`: nothing in it is tried in
// another way from outside.
bool Sample::groupHead(bool& closed) {
  if (take("?#")) at = std::min(text.find(')', at), text.size());
  closed = take("?=") || take("?>") || take("?<=");
  if (closed) return false;
  closed = take("?!") || take("?<!");
  if (!closed && take("?")) {
    // A name in marks, or options; there may be none.
    if (more() && (text[at] == '<' || text[at] == '\'')) ++at;
    at = std::min(text.find_first_of(">':)|", at), text.size());
    if (more() && text[at] != ')') ++at;
  }
  return closed;
}

void Sample::group(int depth) {
  ++at;
  const int outside = running;
  const std::size_t begin = out.size();
  bool closed = false;
  const bool absent = groupHead(closed);
  if (closed) running = 0;
  if (depth < MOST_DEPTH) alternatives(depth + 1);
  if (done) return;
  take(")");
  if (closed) running = outside;
  if (absent) out.resize(begin);
  // A word in a condition of its own must end.
  if (closed && out.size() > begin) write(" ");
}

void Sample::escape() {
  ++at;
  if (!more()) return;
  const std::string_view one = text.substr(at, characterLength(text, at));
  at += one.size();
  const char c = one[0];
  if (std::strchr("pPxogkN", c) != nullptr && take("{")) {
    at = std::min(text.find('}', at), text.size());
    take("}");
    return write(c == 'g' || c == 'k' ? "" : "a");
  }
  struct Class {
    const char* letters;
    const char* member;
  };
  static constexpr Class CLASSES[] = {{"d", "0"},  {"shv", " "}, {"wSDN", "a"}, {"WHV", "-"},
                                      {"t", "\t"}, {"nR", "\n"}, {"A", START}};
  for (const Class& known : CLASSES) {
    if (std::strchr(known.letters, c) != nullptr) return write(known.member);
  }
  // Letters and digits that are left stand for places and references.
  if (one.size() > 1 || c == '_' || !boundsWord(one)) write(one);
}

void Sample::namedSet() {
  const std::string_view name = text.substr(at, 5);
  at = std::min(text.find(":]", at), text.size());
  take(":]");
  write(name == "digit" ? "0" : name == "space" || name == "blank" ? " " : "a");
}

// The set's first member; of a negated one some character that is hardly ever excluded.
void Sample::set() {
  ++at;
  const bool negated = take("^");
  const std::size_t begin = at;
  const std::size_t before = out.size();
  while (more() && (text[at] != ']' || at == begin)) {
    const std::size_t written = out.size();
    if (take("[:")) {
      namedSet();
    } else if (text[at] == '\\') {
      escape();
    } else {
      const std::size_t length = characterLength(text, at);
      write(text.substr(at, length));
      at += length;
    }
    if (written > before) out.resize(written);
  }
  const std::string_view members = text.substr(begin, at - begin);
  take("]");
  if (!negated) return;
  out.resize(before);
  for (const char* one : {"a", "0", " ", "-", "z"}) {
    if (members.find(one) == std::string_view::npos) return write(one);
  }
  write("~");
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
  const Sample look(regularExpression, Sample::NONE, 0);
  if (look.harmless()) return false;
  std::size_t left = probesFor(regularExpression.size(), pattern.captures(), look.freeParts());
  const std::uint32_t steps = stepsFor(look.freeParts(), look.looseAlternatives());
  std::size_t work = 0;
  std::set<std::string> tried;
  for (int target = 0; target < look.repetitions(); ++target) {
    for (int way = 0; way < WAYS; ++way) {
      const Sample sample(regularExpression, target, way);
      work += regularExpression.size() + sample.written().size();
      if (work > MOST_WORK) return false;
      if (sample.written().size() > LONGEST_SAMPLE) continue;
      if (!tried.insert(sample.written()).second) continue;
      // The second end does not fit before $ and the most general sets either.
      for (const char* end : {"", "\n!\n"}) {
        if (left-- == 0) return false;
        const std::string probe = probeOf(sample.written(), end);
        if (pattern.matchStart(probe, steps) == Pattern::GAVE_UP) return true;
      }
    }
  }
  return false;
}

}  // namespace VESK::filter
