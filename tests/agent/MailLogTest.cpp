// Pages of the mail log, as a console turns them while the log goes on living.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <zlib.h>

#include <functional>
#include <optional>
#include <sstream>

#include "product/agent.h"
#include "support/Agent.h"
#include "support/Home.h"
#include "support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Numbers = std::vector<int>;

constexpr int base = 1760000000;  // of event 0; the others follow minute by minute

// Not UTC: dates without a zone are the machine's.
struct Zone {
  Zone() {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    Home::instance();
  }
} const zone;

std::string syslogDate(time_t seconds) {
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%b %e %H:%M:%S", &local)};
}

std::string event(int number) {
  return syslogDate(base + 60 * number) + " gate postfix/qmgr[" + std::to_string(100 + number) +
         "]: " + (number % 2 ? "odd" : "even") + " #" + std::to_string(number) + "\n";
}

std::string eventsFrom(int first, int last) {
  std::string text;
  for (int number = first; number <= last; ++number) text += event(number);
  return text;
}

Numbers span(int first, int last, int step) {
  Numbers numbers;
  for (int number = first; step > 0 ? number <= last : number >= last; number += step) {
    numbers.push_back(number);
  }
  return numbers;
}

// A console: what it asks, and what it keeps from page to page.
struct Console {
  std::string keyword{};
  int mode = 0;
  int start = 0;
  int end = 0;
  int size = 4;
  int block[9] = {};
  char file[AgentSOAPClient::fileNameSize] = "";
  std::string events{};

  bool turn(const Agent& agent, int page = 0) {
    if (block[3] == 0) {
      const int first[9] = {size, 0, 0, 0, start, end, 0, 0, 0};
      std::copy(first, first + 9, block);
    }
    block[3] = page ? page : block[3] + 1;
    std::string text(static_cast<std::size_t>(std::max(size, 0)) * 524 + 1, '\0');
    int answer[9] = {};
    const int* b = block;
    const bool got = AgentSOAPClient::getMTALog(agent.endpoint().c_str(), keyword.c_str(), file,
                                                text.data(), mode, answer, b[0], b[1], b[2], b[3],
                                                b[4], b[5], b[6], b[7], b[8]);
    std::copy(answer, answer + 9, block);
    events = text.c_str();
    return got;
  }

  Numbers numbers() const {
    Numbers found;
    for (auto at = events.find('#'); at != std::string::npos; at = events.find('#', at + 1)) {
      found.push_back(std::stoi(events.substr(at + 1)));
    }
    return found;
  }

  // All pages from the next one on.
  Numbers rest(const Agent& agent) {
    Numbers all;
    while (turn(agent) && !events.empty()) {
      const Numbers page = numbers();
      EXPECT_LE(page.size(), static_cast<std::size_t>(size));
      all.insert(all.end(), page.begin(), page.end());
    }
    return all;
  }
};

class MailLogTest : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& text, time_t changed = base + 86400) {
    setTime(dir.write(name, text), changed);
  }
  void append(const std::string& text) {
    std::ofstream(dir.path("maillog"), std::ios::app | std::ios::binary) << text;
  }
  void writePacked(const std::string& name, const std::string& text, time_t changed) {
    const gzFile file = gzopen(dir.path(name).c_str(), "wb");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    setTime(dir.path(name), changed);
  }
  void pack(const std::string& from, const std::string& to) {
    writePacked(to, dir.read(from), base + 86400);
    std::filesystem::remove(dir.path(from));
  }
  void rename(const std::string& from, const std::string& to) {
    std::filesystem::rename(dir.path(from), dir.path(to));
  }
  // 25 events in three files, the oldest ones compressed.
  void threeFiles() {
    writePacked("maillog.2.gz", eventsFrom(1, 10), base + 86400);
    write("maillog.1", eventsFrom(11, 18));
    write("maillog", eventsFrom(19, 25));
  }
  void start() { agent.emplace(Server::Words{"--maillog", dir.path("maillog")}); }

  TempDir dir;
  std::optional<Agent> agent;

 private:
  static void setTime(const std::string& path, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
  }
};

TEST_F(MailLogTest, TurnsPagesOfEachQueryOverAllFiles) {
  const int nine = base + 9 * 60;
  const int twenty = base + 20 * 60;
  const struct {
    Console console;
    Numbers events;
  } rows[] = {
      {{"", 0}, span(25, 1, -1)},
      {{"", 1}, span(1, 25, 1)},
      {{"odd", 0}, span(25, 1, -2)},
      {{"odd", 1, 0, 0, 13}, span(1, 25, 2)},
      {{"#2", 1}, {2, 20, 21, 22, 23, 24, 25}},
      {{"", 0, nine, twenty}, span(20, 9, -1)},
      {{"", 1, nine, twenty, 5}, span(9, 20, 1)},
      {{"even", 1, nine + 1, twenty - 1}, span(10, 18, 2)},
      {{"", 1, twenty}, span(20, 25, 1)},
      {{"", 0, 0, nine, 1}, span(9, 1, -1)},
      {{"", 0, twenty, nine}, {}},
      {{"", 0, base + 7200}, {}},
      {{"", 1, 0, base - 7200}, {}},
      {{"Odd", 0}, {}},
      {{"odd #1\n", 1}, {}},
      {{"", 0, 0, 0, 25}, span(25, 1, -1)},
      {{"", 1, 0, 0, 1000}, span(1, 25, 1)},
      {{"", 1, 0, 0, 0}, {}},
  };
  threeFiles();
  start();
  for (const auto& row : rows) {
    Console console = row.console;
    SCOPED_TRACE("'" + console.keyword + "' mode " + std::to_string(console.mode) + " size " +
                 std::to_string(console.size) + " from " + std::to_string(console.start));
    EXPECT_EQ(row.events, console.rest(*agent));
    const int total = console.size == 0 ? 25 : static_cast<int>(row.events.size());
    EXPECT_EQ(total, console.block[2]);
    EXPECT_EQ(console.size == 0 ? 0 : (total + console.size - 1) / console.size, console.block[1]);
  }
}

TEST_F(MailLogTest, GoesOnWhereItWasWhateverBecomesOfTheLogMeanwhile) {
  const auto rotate = [this] {
    pack("maillog.1", "maillog.3.gz");
    rename("maillog.3.gz", "maillog.2.gz");
    rename("maillog", "maillog.1");
    write("maillog", eventsFrom(26, 30));
  };
  const struct {
    const char* what;
    std::function<void()> happens;
    Numbers newer;
  } rows[] = {
      {"grows", [this] { append(eventsFrom(26, 30)); }, span(26, 30, 1)},
      {"is rotated", rotate, span(26, 30, 1)},
      {"is rotated and compressed at once",
       [this] {
         pack("maillog", "maillog.0.gz");
         write("maillog", eventsFrom(26, 30));
       },
       span(26, 30, 1)},
      {"is rotated twice",
       [this, rotate] {
         rotate();
         rename("maillog.2.gz", "maillog.3.gz");
         pack("maillog.1", "maillog.2.gz");
         rename("maillog", "maillog.1");
         write("maillog", eventsFrom(31, 33));
       },
       span(26, 33, 1)},
      {"is copied and cut off",
       [this] {
         write("maillog.0", dir.read("maillog"));
         write("maillog", eventsFrom(26, 30));
       },
       span(26, 30, 1)},
  };
  for (const auto& row : rows) {
    for (const int mode : {0, 1}) {
      SCOPED_TRACE(std::string(row.what) + ", mode " + std::to_string(mode));
      for (const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
        std::filesystem::remove(entry);
      }
      write("maillog.1", eventsFrom(1, 8));
      write("maillog", eventsFrom(9, 25));
      start();
      Console console{"", mode, 0, 0, 10};
      ASSERT_TRUE(console.turn(*agent));
      row.happens();
      Numbers expected = mode == 0 ? span(15, 1, -1) : span(11, 25, 1);
      if (mode == 1) expected.insert(expected.end(), row.newer.begin(), row.newer.end());
      EXPECT_EQ(expected, console.rest(*agent));
      EXPECT_EQ(25, console.block[2]) << "counted with the first page only";
    }
  }
}

TEST_F(MailLogTest, WhatWasDeletedIsOverAndTheRestIsNot) {
  threeFiles();
  start();
  Console newest{"", 0, 0, 0, 20}, oldest{"", 1, 0, 0, 5};
  ASSERT_TRUE(newest.turn(*agent));
  ASSERT_TRUE(oldest.turn(*agent));
  std::filesystem::remove(dir.path("maillog.2.gz"));
  EXPECT_THAT(newest.rest(*agent), IsEmpty());
  EXPECT_EQ(span(11, 25, 1), oldest.rest(*agent));
}

TEST_F(MailLogTest, APageThatDoesNotFollowIsLookedForFromTheBeginning) {
  threeFiles();
  start();
  Console console;
  ASSERT_TRUE(console.turn(*agent));
  ASSERT_TRUE(console.turn(*agent, 5));
  EXPECT_EQ(span(9, 6, -1), console.numbers());
  EXPECT_EQ(25, console.block[2]);
  ASSERT_TRUE(console.turn(*agent));
  EXPECT_EQ(span(5, 2, -1), console.numbers());
  ASSERT_TRUE(console.turn(*agent, 2));
  EXPECT_EQ(span(21, 18, -1), console.numbers());
  start();  // another agent knows no places
  ASSERT_TRUE(console.turn(*agent));
  EXPECT_EQ(span(17, 14, -1), console.numbers());
  Console third;
  ASSERT_TRUE(third.turn(*agent, 3));
  EXPECT_EQ(span(17, 14, -1), third.numbers());
  EXPECT_EQ(25, third.block[2]) << "nobody had counted";
  ASSERT_TRUE(console.turn(*agent, 1000000000));
  EXPECT_EQ("", console.events);
}

TEST_F(MailLogTest, ReadersWhosePagesEndAtOnePlaceDoNotDisturbEachOther) {
  write("maillog", eventsFrom(1, 20));
  start();
  Console early{"", 0, 0, 0, 5}, late = early;
  ASSERT_TRUE(early.turn(*agent));
  append(eventsFrom(21, 25));
  ASSERT_TRUE(late.turn(*agent));
  ASSERT_TRUE(late.turn(*agent));
  EXPECT_EQ(span(20, 16, -1), late.numbers()) << "where the early one's first page ended";
  EXPECT_EQ(span(15, 1, -1), early.rest(*agent));
  EXPECT_EQ(span(15, 1, -1), late.rest(*agent));
  ASSERT_TRUE(early.turn(*agent));
  append(eventsFrom(26, 30));
  ASSERT_TRUE(early.turn(*agent));
  EXPECT_EQ("", early.events) << "beyond the end, nothing is older";
}

TEST_F(MailLogTest, TellsTheFileAndTheYearOfAPage) {
  constexpr time_t newYear = 1735686000;  // 2025-01-01 in Berlin
  std::string older, newer;
  for (int number = 1; number <= 4; ++number) {
    older +=
        syslogDate(newYear - 3600 + 600 * number) + " gate old #" + std::to_string(number) + "\n";
    newer += syslogDate(newYear - 600 + 300 * (number - 1)) + " gate new #" +
             std::to_string(number + 4) + "\n";
  }
  writePacked("maillog-20241231.gz", "Feb 29 12:00:00 gate leap #0\n" + older, newYear - 1000);
  write("maillog", newer, newYear + 900);
  start();
  Console console{"", 1, 0, 0, 5};
  const struct {
    Numbers events;
    const char* file;
    int year;
  } rows[] = {{span(0, 4, 1), "maillog-20241231.gz", 2024}, {span(5, 8, 1), "maillog", 2025}};
  for (const auto& row : rows) {
    ASSERT_TRUE(console.turn(*agent));
    EXPECT_EQ(row.events, console.numbers());
    EXPECT_STREQ(row.file, console.file);
    EXPECT_EQ(row.year, console.block[8]);
  }
  Console boundary{"", 1, newYear - 300, newYear};
  EXPECT_THAT(boundary.rest(*agent), ElementsAre(6, 7));
  Console leap{"", 1, 0, 1709204400};  // noon of 2024-02-29
  EXPECT_THAT(leap.rest(*agent), ElementsAre(0));
}

TEST_F(MailLogTest, ALineThatCameLateOverMidnightIsNotOfNextYear) {
  constexpr time_t midnight = 1763593200;  // 2025-11-20 in Berlin
  std::string text;
  for (const int after : {0, -1, 2, 3}) {
    text += syslogDate(midnight + after) + " gate #" + std::to_string(after) + "\n";
  }
  write("maillog", text, midnight + 4);
  start();
  Console until{"", 1, 0, midnight + 2}, from{"", 1, midnight + 2}, first{"", 1, 0, 0, 2};
  EXPECT_THAT(until.rest(*agent), ElementsAre(0, -1, 2));
  EXPECT_THAT(from.rest(*agent), ElementsAre(2, 3));
  ASSERT_TRUE(first.turn(*agent));
  EXPECT_EQ(2025, first.block[8]);
}

TEST_F(MailLogTest, AQueryOverManyCompressedLogsKeepsFewOfThemUnpacked) {
  constexpr int count = 24;
  write("maillog", event(count));
  for (int number = 0; number < count; ++number) {
    writePacked("maillog." + std::to_string(count - number) + ".gz", event(number), base + 86400);
  }
  start();
  const std::string open = "/proc/" + std::to_string(agent->pid()) + "/fd";
  const auto idle = std::distance(std::filesystem::directory_iterator(open), {});
  // Each log open once, and half as many again for connections and what is unpacked.
  const auto most = static_cast<rlim_t>(idle + count + count / 2);
  const rlimit limit{most, most};
  ASSERT_EQ(0, prlimit(agent->pid(), RLIMIT_NOFILE, &limit, nullptr));
  for (const int mode : {0, 1}) {
    Console all{"", mode, 0, 0, 10}, late{"", mode, base + 60, 0, 10};
    EXPECT_EQ(mode ? span(0, count, 1) : span(count, 0, -1), all.rest(*agent));
    EXPECT_EQ(mode ? span(1, count, 1) : span(count, 1, -1), late.rest(*agent));
  }
}

TEST_F(MailLogTest, EventsAreWholeCharactersThatAConsoleCanShow) {
  const std::string head = syslogDate(base) + " gate ";
  const std::string wide = head + std::string(522 - head.size(), 'x');
  write("maillog", head + "utf-8 \xC3\xA4\xF0\x9F\x98\x80\n" + head + "bad \xFF\xC3(\x01\r\n" +
                       wide + "y\n" + wide + "\xC3\xA4 tail\n" + head + "<&>\n" + head +
                       "not whole yet");
  start();
  Console console{"", 1, 0, 0, 10};
  ASSERT_TRUE(console.turn(*agent));
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(head + "utf-8 \xC3\xA4\xF0\x9F\x98\x80\n" + head + "bad " + replaced + replaced + "(" +
                replaced + "\n" + wide + "y\n" + wide + "\n" + head + "<&>\n",
            console.events);
  EXPECT_EQ(5, console.block[2]);
  Console cut{"tail"};
  EXPECT_TRUE(cut.turn(*agent));
  EXPECT_EQ(wide + "\n", cut.events) << "the keyword may lie behind the cut";
}

TEST_F(MailLogTest, LinesLongerThanAnyBufferAndDatesOfBothKinds) {
  const std::string longLine(700000, 'x');
  write("maillog", "2025-10-09T10:00:00.5+02:00 gate #1\n" + longLine + "needle" + longLine +
                       " #2\n" + "2025-10-09T08:30:00Z gate #3\nOct  9 11:00:00 gate #4\n");
  start();
  const int between = 1759998599;  // a second before #3
  const struct {
    Console console;
    std::size_t lines;
    int total;
  } rows[] = {
      {{"", 0, 0, 0, 10}, 4, 4},  {{"", 1, 0, 0, 10}, 4, 4},       {{"needle", 0}, 1, 1},
      {{"needle", 1}, 1, 1},      {{"", 1, between, 0, 10}, 2, 2}, {{"", 0, 0, between, 10}, 2, 2},
      {{"#", 1, 0, 0, 10}, 4, 4},
  };
  for (const auto& row : rows) {
    Console console = row.console;
    ASSERT_TRUE(console.turn(*agent));
    EXPECT_EQ(row.lines, std::count(console.events.begin(), console.events.end(), '\n'));
    EXPECT_EQ(row.total, console.block[2]);
  }
}

TEST_F(MailLogTest, ManyBlocksInBothDirections) {
  write("maillog", eventsFrom(1, 20000), base + 20001 * 60);
  start();
  const int from = base + 4321 * 60, to = base + 17000 * 60;
  for (const int mode : {0, 1}) {
    Console all{"", mode, from, to, 5000};
    EXPECT_EQ(mode ? span(4321, 17000, 1) : span(17000, 4321, -1), all.rest(*agent));
    EXPECT_EQ(17000 - 4320, all.block[2]);
    Console some{"99 ", mode, 0, 0, 7};
    some.keyword = "99\n";  // no line holds the end of it
    EXPECT_THAT(some.rest(*agent), IsEmpty());
    Console rare{"#19999", mode};
    EXPECT_THAT(rare.rest(*agent), ElementsAre(19999));
  }
}

TEST_F(MailLogTest, RefusesWhatMakesNoSenseAndALogThatIsNotThere) {
  start();
  EXPECT_FALSE(Console{}.turn(*agent));
  threeFiles();
  EXPECT_TRUE(Console{}.turn(*agent));
  EXPECT_FALSE((Console{"", 2}.turn(*agent)));
  EXPECT_FALSE((Console{std::string(1025, 'x')}.turn(*agent)));
  write("maillog.2.gz", "this was never compressed");
  write("maillog.tmp", event(99));
  Console console;
  EXPECT_EQ(span(25, 11, -1), console.rest(*agent)) << "what cannot be read or is no log of it";
}

}  // namespace
