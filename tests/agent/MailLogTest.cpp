// Pages of the mail log, while the log goes on living.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <functional>
#include <sstream>

#include "MailLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
