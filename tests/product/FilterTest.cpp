#include "product/filter.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/Home.h"

namespace {

using testing::HasSubstr;

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

bool isValid(const std::string& expression) {
  scanContentSubjectFilter filter;
  return KeywordList().valReg(filter.convertToRegEx(expression.c_str()).c_str());
}

bool finds(const std::string& expression, const std::string& text) {
  scanContentSubjectFilter filter;
  VeskFilterResult result;
  EXPECT_TRUE(filter.init(expression.c_str())) << expression;
  EXPECT_EQ(filter.match({text}, result), result.matched);
  EXPECT_FALSE(result.gaveUp) << expression;
  return result.matched;
}

class FilterTest : public testing::Test {
 protected:
  FilterTest() { home.newLog(); }

  // Every refusal leaves one line.
  std::string logLine() {
    const std::string log = home.newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << log;
    return log;
  }

  Home& home = Home::instance();
};

TEST_F(FilterTest, FindsWhatAnAdministratorMeans) {
  const struct {
    const char* expression;
    std::vector<const char*> found;
    std::vector<const char*> notFound;
  } table[] = {
      {"", {}, {"", "text"}},
      {" \t\xC2\xA0", {}, {"", " "}},
      {"invoice", {"Your INVOICE, please", "invoice"}, {"invoices", "pre-\ninvoiced", "in voice"}},
      {"inv*", {"an Invitation", "inv"}, {"reinvent"}},
      {"*ware", {"malware", "ware!"}, {"wares"}},
      {"*an*", {"banana", "an"}, {"bnn"}},
      {"c*t", {"cat", "ct", "concert", "catnip concat"}, {"c-t", "ct2", "catnip"}},
      {"b?t", {"a bit", "B\xC3\xBCt"}, {"bt", "beet", "b-t"}},
      {"C++ .exe $100", {"C++ for $100: setup.exe"}, {"C++ for $1000: setup.exe", "C+ .exe $100"}},
      {"a.c [x]", {"a.c [x]"}, {"abc [x]", "a.c x"}},
      {"\\AND \\* \\\"q\\\"", {"* and \"q\""}, {"and * q"}},
      {"red blue", {"blue and red", "red\nblue"}, {"red", "blue"}},
      {"red AND blue OR green", {"red blue", "green"}, {"red", "blue"}},
      {"red (blue OR green)", {"red green"}, {"red", "blue green"}},
      {"NOT red", {"", "blue"}, {"red"}},
      {"blue NOT(red OR NOT green)", {"blue green"}, {"blue", "blue green red"}},
      {"(a OR NOT b) (c OR NOT d) NOT (e f)", {"a c e", "", "f"}, {"b", "a d", "e f"}},
      {"\"top   secret\"", {"Top\n\tsecret!"}, {"top-secret", "secret top", "stop secret"}},
      {"* \"* b\" \"*a* c\"", {"bac c b"}, {"b c ac"}},
      {"\"free * pill*\"", {"free blue pills", "free x pill"}, {"free pills", "free a b pills"}},
      {"\"*ly c?t a*z b\"", {"early cut abcz B"}, {"early cut abz c b", "early cut abcz bb"}},
      {"/\\d{3}-\\d{3}/", {"call 555-123 now", "0555-1234"}, {"55-123"}},
      {"/^re: / NOT /(?-i)AG/", {"RE: ag"}, {"re: AG", "fwd: re: x"}},
      {"/a|b/ c", {"b c"}, {"a", "c"}},
      {"/(a)\\1/ OR /(b)(c)\\2\\1/ /(d)\\g{-1}\\g1\\g{1}/",
       {"aa", "bccb dddd"},
       {"bccb ddd", "bcbc dddd"}},
      {"/a.c/ /x\\/y/", {"abc x/y"}, {"a\nc x/y", "abc"}},
      {"Stra\xC3\x9F"
       "e caf\xC3\xA9",
       {"STRA\xC3\x9F"
        "E CAF\xC3\x89"},
       {"stra\xC3\x9F"
        "en caf\xC3\xA9"}},
      // No blanks between words.
      {"\xE8\xAF\xB7", {"\xE6\x82\xA8\xE8\xAF\xB7\xE6\x9D\xA5"}, {"\xE6\x82\xA8"}},
      // The same character as a Java VM writes it, and in UTF-8.
      {"\xED\xA0\xBD\xED\xB2\xB0",
       {"\xF0\x9F\x92\xB0", "x\xED\xA0\xBD\xED\xB2\xB0y"},
       {"\xF0\x9F\x92\xB1"}},
      {"ok", {"\xFF ok \xC0\x80", "ok"}, {"\xFF"}},
  };
  for (const auto& row : table) {
    for (const char* text : row.found)
      EXPECT_TRUE(finds(row.expression, text)) << row.expression << " in " << text;
    for (const char* text : row.notFound)
      EXPECT_FALSE(finds(row.expression, text)) << row.expression << " in " << text;
  }
  EXPECT_EQ("", home.newLog());
}

TEST_F(FilterTest, RefusalNamesPlaceAndReason) {
  const std::tuple<std::string, int, const char*> table[] = {
      {"a (b", 3, "not closed"},
      {"a b)", 4, "not opened"},
      {"()", 2, "word is missing"},
      {"a OR", 5, "word is missing"},
      {"AND a", 1, "word is missing"},
      {"a AND OR b", 7, "word is missing"},
      {"NOT NOT a", 5, "word is missing"},
      {"\xC3\xA9\xC3\xA9 \"b", 4, "phrase that is not closed"},
      {"a \" \"", 3, "phrase without a word"},
      {"5\"tv\"", 2, "blank is missing"},
      {"/a/i", 4, "blank is missing"},
      {"a(b)", 2, "blank is missing"},
      {"/a", 1, "regular expression that is not closed"},
      {"a\\", 2, "backslash at the end"},
      {"// a", 2, "empty regular expression"},
      {"a /b(/", 6, "parenthes"},
      {"/a)(b/", 3, "parenthes"},
      {"/[a/", 4, "terminating ]"},
      {"/a{2,1}/", 7, "out of order"},
      {"/\\Qa/", 2, "\\Q"},
      {"/a\\c\\\\Q/", 3, "\\c"},
      {"/a\\Kb/", 3, "\\K"},
      {"/(?x)a #/", 2, "option x"},
      {"/(?i-sx:a #)/", 2, "option x"},
      {"/(?J)a/", 2, "option J"},
      {"/(*ACCEPT)/", 2, "(*"},
      {"/a(?R)?/", 3, "call itself"},
      {"/(a(?1)?)/", 4, "call itself"},
      {"/(a(?-1)?)/", 4, "call itself"},
      {"/(?<n>a(?&n)?)/", 8, "call itself"},
      {"/(?<n>a(?P>n)?)/", 8, "call itself"},
      {"/(a\\g<1>?)/", 4, "call its own groups"},
      {"/a(?C)b/", 3, "call-outs"},
      {"/(a)?(?(1)b)/", 6, "conditional"},
      {"/\\C/", 4, "\\C"},
      {"/(a)/ /\\10/", 8, "\\g{10}"},
      {"/(a)/ /(a)\\2/", 12, "non-existent"},
      {"ab\xFF", 3, "not UTF-8"},
      {"ab\xED\xA0\xBD", 3, "not UTF-8"},
      {repeated("(", 51) + "a" + repeated(")", 51), 51, "more than 50"},
      {repeated("a ", 5000) + "a", 10001, "longer than 10000"},
      {repeated("/a/ ", 101), 402, "more than 100"},
  };
  scanContentSubjectFilter filter;
  for (const auto& [expression, position, reason] : table) {
    const std::string made = filter.convertToRegEx(expression.c_str());
    EXPECT_THAT(logLine(),
                testing::AllOf(HasSubstr("keyword: at character " + std::to_string(position) + ":"),
                               HasSubstr(reason)))
        << expression;
    EXPECT_FALSE(KeywordList().valReg(made.c_str())) << made;
    EXPECT_EQ("", home.newLog()) << "told already";
  }
  EXPECT_FALSE(KeywordList().valReg(filter.convertToRegEx(nullptr).c_str()));
  EXPECT_FALSE(KeywordList().valReg(nullptr));
}

TEST_F(FilterTest, ExpressionsThatRunAwayAreRefused) {
  const char* refused[] = {
      "(a+)+$",          "^(\\d+)+$",        "(a|ab|b)*c",     "(.*,)*x",        "(a?b?)*c",
      "([^b]+)+b",       "(\\w+\\s?)+$",     ".*.*.*.*x",      "(a|aa)+$",       "foo(bar(\\w*)*)=",
      "(x|(y|z+)*)*!",   "(a{1,30}){1,30}b", "(?=.*?(a+)+$)b", "(?!(\\s*a*)*;)", "([[:digit:]]*)*x",
      "(\\d|[0-9])*\\.", "(?:a+)+$",         "(?|b|a+)+$",     "(?i:a+)+$",      "(?<n>a+)+$",
  };
  for (const char* regularExpression : refused) {
    EXPECT_FALSE(KeywordList().valReg(regularExpression)) << regularExpression;
    EXPECT_THAT(logLine(), HasSubstr("runs away"));
    EXPECT_FALSE(isValid(std::string("a /") + regularExpression + "/ b")) << regularExpression;
    home.newLog();
  }
  const char* taken[] = {
      "(a+b)+$",
      "(?>a+)+$",
      "(a++)+$",
      "\\b\\w+@\\w+\\.\\w+\\b",
      "(?:\\d{1,3}\\.){3}\\d{1,3}",
      "(foo|bar|baz)+x",
      ".*a.*b.*",
      "(\\w+\\s+)*end",
      "[\\w.+-]+@[\\w-]+(\\.[\\w-]+)+",
      "(ab)*",
      "\\b(?:\\d[ -]?){13,16}\\b",
      "<a\\s+(?:[^>]*?\\s+)?href=[\"'](.*?)[\"']",
  };
  for (const char* regularExpression : taken) {
    EXPECT_TRUE(KeywordList().valReg(regularExpression)) << regularExpression;
  }
}

// A match is bounded, whatever the expression: one that passed the probes and is slow all the same.
TEST_F(FilterTest, MatchGivesUpInsteadOfRunningAway) {
  scanContentSubjectFilter filter;
  VeskFilterResult result;
  const std::string text(200'000, 'a');
  EXPECT_FALSE(filter.match({text}, result));
  ASSERT_TRUE(filter.init("/a*a*a*\\d/"));
  EXPECT_FALSE(filter.match({text}, result));
  EXPECT_TRUE(result.gaveUp);
  EXPECT_THAT(logLine(), HasSubstr("given up"));
  // What words and phrases become takes about a step a letter.
  for (const char* fast :
       {"*ab", "\"* b\"", "\"*a* b\"", "*a*a*b", "a*a*a*b", "NOT a?b x", "\"a* *b\""}) {
    ASSERT_TRUE(filter.init(fast));
    filter.match({text}, result);
    EXPECT_FALSE(result.gaveUp) << fast;
  }
  filter.reset();
  EXPECT_FALSE(filter.match({text}, result));
  EXPECT_FALSE(result.gaveUp);
}

// Of this thread: what else the machine does has no part in it.
double processorMilliseconds() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

TEST_F(FilterTest, LongestExpressionsEndSoon) {
  const struct {
    std::string expression;
    bool valid;
  } table[] = {
      {std::string(10000, 'a'), true},
      {repeated("a ", 5000), true},
      {repeated("\xD0\xBF\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 ", 1428), true},
      {repeated("\xF0\x9F\x92\xB0", 10000), true},
      {repeated("a*", 5000), true},
      {repeated("*?", 5000), true},
      {repeated("$", 10000), true},
      {repeated("\x01", 10000), true},
      {repeated("a OR ", 1999) + "a", true},
      {repeated("a OR NOT b ", 900) + "OR a", true},
      {"\"" + repeated("a ", 4999) + "\"", true},
      {repeated("(", 50) + repeated("a OR b ", 1400) + "OR c" + repeated(")", 50), true},
      {repeated("(NOT (a OR ", 24) + "b" + repeated("))", 24), true},
      {"/" + std::string(9998, '.') + "/", true},
      {"/" + repeated("(a*)*", 1999) + "/", false},
      {"/" + repeated("(", 199) + "a+" + repeated(")+", 199) + "/", false},
      {"/" + repeated("(", 201) + repeated(")", 201) + "/", false},
      {"/" + repeated("a{1,999}", 1200) + "/", false},
      {"/" + repeated("(a|b)+c", 100) + "/", true},
      {"/" + repeated("(a|b)+c", 101) + "/", false},
      {"/((a{999}){999}){999}/", false},
      {"/(?<=" + repeated("(a|b)", 1900) + ")/", false},
      {repeated("/" + repeated("(a|b*)+", 10) + "/ ", 100), false},
      {repeated("\\", 9999), false},
      // Thousands of repetitions that make the same text, or none.
      {"/" + repeated("\\X+", 3300) + "x/", true},
      {"/" + repeated(".*", 4500) + "x/", false},
      {"/(?:" + repeated("^|", 4980) + "^){2,}x/", false},
      {"/(?:" + repeated(".+|", 3300) + ")b/", false},
      {"/(?:" + repeated("|", 9900) + "x)*x/", false},
      {"/(?:(\\X*)" + repeated("a", 9900) + ")*x/", true},
  };
  for (const auto& [expression, valid] : table) {
    const double begin = processorMilliseconds();
    EXPECT_EQ(valid, isValid(expression)) << expression.substr(0, 40) << " " << home.newLog();
    // Twenty times what it takes: slow machines, sanitizers.
    EXPECT_LT(processorMilliseconds() - begin, 400) << expression.substr(0, 40);
  }
}

// Wildcards tried in every way, for a word that must be all of a text.
bool globFinds(const std::string& glob, const std::string& text) {
  if (glob.empty()) return text.empty();
  if (glob[0] == '*') {
    return globFinds(glob.substr(1), text) ||
           (!text.empty() && text[0] != '-' && globFinds(glob, text.substr(1)));
  }
  return !text.empty() && (glob[0] == text[0] || (glob[0] == '?' && text[0] != '-')) &&
         globFinds(glob.substr(1), text.substr(1));
}

TEST_F(FilterTest, WildcardsThatNeverTryAgainFindTheSameAsThoseThatDo) {
  std::mt19937 random(7);
  const auto text = [&](const char* letters, int longest) {
    std::string made;
    for (int left = static_cast<int>(random() % static_cast<unsigned>(longest)); left >= 0;
         --left) {
      made += letters[random() % 4];
    }
    return made;
  };
  int found = 0;
  for (int i = 0; i < 20'000; ++i) {
    // "x" at both ends: what stands beside a hyphen is no whole text.
    const std::string glob = "x" + text("ab*-", 7) + "x";
    const std::string word = "x" + text("aab-", 9) + "x";
    const bool expected = globFinds(glob, word);
    found += expected;
    ASSERT_EQ(expected, finds("\"" + glob + " y\"", word + " y")) << glob << " in " << word;
    ASSERT_EQ(expected, finds("\"y " + glob + " y\"", "y " + word + " y"))
        << glob << " in " << word;
  }
  EXPECT_GT(found, 500);
}

// Whatever is written, the answer is a valid expression or one line that says why not.
TEST_F(FilterTest, AnyTextIsTakenOrRefusedWithOneLine) {
  const char* pieces[] = {"a",  "b*",    "?",    "\"",    "/",   "(", ")", " ",
                          " ",  " AND ", " OR ", " NOT ", "\\",  "[", "]", "+",
                          "(?", "{2}",   "|",    "\\1",   "\\Q", "^", "$", "\xC3\xBC"};
  std::mt19937 random(11);
  int taken = 0;
  for (int round = 0; round < 20; ++round) {
    std::string all;
    long refused = 0;
    for (int i = 0; i < 1000; ++i) {
      std::string expression;
      for (unsigned long left = random() % 12; left > 0; --left) {
        expression += pieces[random() % std::size(pieces)];
      }
      if (!isValid(expression)) ++refused;
      all += expression + "\n";
    }
    taken += static_cast<int>(1000 - refused);
    const std::string log = home.newLog();
    ASSERT_EQ(refused, std::count(log.begin(), log.end(), '\n')) << all << log;
  }
  EXPECT_GT(taken, 1000);
}

TEST_F(FilterTest, ThreadsShareAFilter) {
  scanContentSubjectFilter filter;
  ASSERT_TRUE(
      filter.init("\xC3\xBC"
                  "ber* NOT unter"));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      VeskFilterResult result;
      for (int round = 0; round < 200; ++round) {
        EXPECT_TRUE(filter.match({"\xC3\x9C"
                                  "bermut"},
                                 result));
        EXPECT_TRUE(
            isValid("stra\xC3\x9F"
                    "e"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
