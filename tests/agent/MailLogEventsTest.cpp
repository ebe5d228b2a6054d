// Which events a page of the mail log has: dates, years, characters, long lines.
#include <gmock/gmock.h>

#include "MailLog.h"

namespace {

using testing::ElementsAre;

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

}  // namespace
