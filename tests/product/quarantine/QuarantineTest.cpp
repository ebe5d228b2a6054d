// The end-user quarantine's store, and what its functions answer.
#include "Quarantine.h"

namespace {

TEST_F(QuarantineTest, SwitchesPersist) {
  const struct {
    int (*call)();
    int code;
    bool euq;
    bool lists;
  } steps[] = {{restart_euq, 7, false, false},        {enable_euq, 0, true, false},
               {enable_euq, 0, true, false},          {restart_euq, 0, true, false},
               {enable_dl_maintain, 0, true, true},   {disable_euq, 0, false, true},
               {disable_dl_maintain, 0, false, false}};
  for (const auto& step : steps) {
    EXPECT_EQ(step.code, step.call()) << &step - steps;
    const int seen = elsewhere([] { return is_euq_enable() + 2 * is_dl_maintain_enable(); });
    EXPECT_EQ(step.euq + 2 * step.lists, seen) << &step - steps;
  }
  EXPECT_EQ("1", ask("SELECT restarts FROM switch WHERE name = 'euq'"));
}

TEST_F(QuarantineTest, AreasAreForNames) {
  const struct {
    std::string name;
    int code;
  } names[] = {{"", 2},
               {std::string(256, 'n'), 2},
               {std::string(255, 'n'), 0},
               {"two\nlines", 2},
               {"\xff", 2},
               {"\xed\xa0\xbd", 2},              // half a pair
               {"\xc0\x80", 2},                  // NUL in two bytes
               {"\xed\xa0\xbd\xed\xb8\x80", 0},  // a pair, as a Java VM hands it out
               {"\xf0\x9f\x98\x80", 0},          // the same in UTF-8
               {"M\xc3\xbcller'; DROP TABLE area", 0}};
  for (const auto& [name, code] : names) EXPECT_EQ(code, regist_euq(name.c_str())) << name;
  EXPECT_EQ(2, regist_euq(nullptr));
  EXPECT_EQ("1 2 3", ask("SELECT number FROM area ORDER BY number"));
  EXPECT_EQ("\xf0\x9f\x98\x80", ask("SELECT name FROM area WHERE number = 2"));

  fill(9, 1);
  EXPECT_EQ(12, regist_euq("a tenth"));
  EXPECT_EQ(0, regist_euq("scanner 1")) << "registered already";
  for (const auto& [area, code] : {std::pair{9, 11}, {0, 11}, {10, 2}, {-1, 2}, {2, 0}, {2, 3}})
    EXPECT_EQ(code, unregist_euq(area)) << area;
  EXPECT_EQ(0, regist_euq("takes the gap"));
  EXPECT_EQ("takes the gap", ask("SELECT name FROM area WHERE number = 2"));
  EXPECT_EQ("9", ask("SELECT count(*) FROM area"));

  EXPECT_EQ(2, transfer_euq_data(0));
  EXPECT_EQ(0, remove_euq_data());
  while (is_removing_euq_data()) usleep(1000);
  EXPECT_EQ(0, unregist_euq(0));
  EXPECT_EQ(3, transfer_euq_data(2));
}

TEST_F(QuarantineTest, NothingWorksWithoutItsStore) {
  fs::remove_all(home.dir.path("data"));
  home.dir.write("data", "a file");
  EXPECT_FALSE(init_euq_lib());
  expectOneLine("folder cannot be made", "init");
  int code = 77;
  std::string text;
  long long done, total;
  const std::function<int()> calls[] = {
      enable_euq, disable_euq, restart_euq, enable_dl_maintain, disable_dl_maintain,
      [] { return regist_euq("a"); }, [] { return unregist_euq(0); },
      [] { return transfer_euq_data(1); }, cancel_transfer_euq_data, remove_euq_data,
      // Those that give a truth value
      [] { return is_euq_enable() ? 0 : 1; }, [] { return is_dl_maintain_enable() ? 0 : 1; },
      [] { return is_transferring_euq_data() ? 0 : 1; },
      [] { return is_removing_euq_data() ? 0 : 1; },
      [&] { return get_transfer_euq_result(code, text) ? 0 : 1; },
      [&] { return get_remove_euq_result(code, text) ? 0 : 1; },
      [&] { return get_euq_progress(done, total) ? 0 : 1; }};
  for (const auto& call : calls) {
    EXPECT_EQ(1, call()) << &call - calls;
    expectOneLine("not initialised", std::to_string(&call - calls));
  }
  EXPECT_EQ(77, code);
  fs::remove(home.dir.path("data"));
}

TEST_F(QuarantineTest, TransferTellsHowFarItIsAndWhatItCameTo) {
  fill(1, 3000);
  fill(2, 1000);
  fill(3, 2000);
  Result none;
  EXPECT_FALSE(get_transfer_euq_result(none.code, none.text));
  Home::set("euq", "batch", "100");
  ASSERT_EQ(0, transfer_euq_data(2));
  long long done = 0;
  int steps = 0;
  std::string shown;
  for (long long now, total;; done = now) {
    const bool told = get_transfer_euq_result(none.code, none.text);
    if (!get_euq_progress(now, total)) break;
    EXPECT_FALSE(told);
    EXPECT_TRUE(total == 5000 || now == 0) << total;
    EXPECT_LE(done, now);
    steps += now > done;
    if (shown.empty()) shown = home.dir.read("data/euq/progress");
  }
  EXPECT_GT(steps, 3);
  EXPECT_THAT(shown, testing::MatchesRegex("transfer [0-9]+ 5000\n"));
  EXPECT_FALSE(fs::exists(home.dir.path("data/euq/progress")));
  EXPECT_EQ("5000 of 5000 messages moved to area 2", transferred().text);
  EXPECT_EQ(0, elsewhere([] { return transferred().code; }));
  EXPECT_EQ(6000, inArea(2));
  expectWhole(6000);
  EXPECT_FALSE(get_remove_euq_result(none.code, none.text));
}

TEST_F(QuarantineTest, EachFailureHasItsCodeAndItsLine) {
  fill(1, 10);
  ASSERT_EQ(0, regist_euq("other"));
  Home::set("euq", "busy_timeout", "50");
  std::optional<Other> other(database);
  const struct {
    const char* name;
    std::function<void()> harm;
    std::function<int()> call;
    int code;
    const char* line;
  } faults[] = {
      {"no program", [&] { fs::remove(program); }, [] { return transfer_euq_data(2); }, 6,
       "bin/euqjob [No such file"},
      {"not a program", [&] { home.dir.write("bin/euqjob", "#!/bin/false\n"); },
       [] { return transfer_euq_data(2); }, 6, "job not started"},
      {"ends at once",
       [&] {
         fs::remove(program);
         fs::copy_file("/bin/false", program);
       },
       [] { return remove_euq_data(); }, 6, "it ended at once"},
      {"locked", [&] { other->ask("BEGIN EXCLUSIVE"); }, enable_euq, 5, "locked"},
      {"newer", [&] { other->ask("ROLLBACK; PRAGMA user_version = 2"); }, enable_euq, 5,
       "version 2 instead of 1"},
      {"gone",
       [&] {
         other.reset();
         fs::remove(database);
       },
       enable_euq, 5, "cannot be opened"},
      {"damaged", [&] { home.dir.write("data/euq/euq.db", std::string(9000, 'x')); }, enable_euq, 5,
       "damaged"},
      {"damaged at the start", [] {}, [] { return init_euq_lib() ? 0 : 1; }, 1, "damaged"},
  };
  for (const auto& fault : faults) {
    home.newLog();
    fault.harm();
    EXPECT_EQ(fault.code, fault.call()) << fault.name;
    expectOneLine(fault.line, fault.name);
  }
}

}  // namespace
