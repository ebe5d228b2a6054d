#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <ctime>
#include <map>
#include <regex>
#include <set>
#include <thread>

#include "ChildTest.h"
#include "product/log.h"
#include "product/settings.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using VESK::Log;

class FixedSettings final : public VESK::GlobalSetting {
 public:
  explicit FixedSettings(std::map<std::string, std::string> logItems) : items(logItems) {}
  ~FixedSettings() override = default;
  int getValue(const char* key, std::string& value, const char* section, int) override {
    value = std::string(section) == "log" && items.count(key) != 0 ? items[key] : "";
    return value.empty() ? -1 : 0;
  }
  bool isLoaded() const override { return true; }

 private:
  std::map<std::string, std::string> items;
};

void start(VESK::VESKLogLevel level, std::map<std::string, std::string> logItems = {}) {
  static FixedSettings settings(logItems);
  Log::Init(VESK::LogMsgBvCLM::Instance(VESK::LOGGING_PROCESS_CONSOLE, &settings, true,
                                        VESK::BV_SYNC_WRITTEN, "vesk"),
            level);
}

class LogTest : public ChildTest {
 protected:
  std::vector<std::string> logLines() const { return linesOf(readFile(path("log/adminui.log"))); }

  // The messages behind the stamps; a line without one shows up as it is.
  static std::vector<std::string> messages(const std::vector<std::string>& lines) {
    static const std::regex stamp(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} (L[-0-4]) \d+/\d+ )");
    std::vector<std::string> texts;
    for (const std::string& line : lines) texts.push_back(std::regex_replace(line, stamp, "$1 "));
    return texts;
  }

  // All files of the log, the oldest first.
  std::vector<std::string> allMessages(int files) const {
    std::string text;
    for (int index = files; index > 0; --index) {
      text += readFile(path("log/adminui." + std::to_string(index) + ".log"));
    }
    return messages(linesOf(text + readFile(path("log/adminui.log"))));
  }
};

TEST_F(LogTest, BeforeInitFailuresAndPlainTextsGoToStderr) {
  const std::string errors = inChild([] {
    for (int level = 1; level <= 4; ++level) Log::LogByLevel(level, "level %d", level);
    LogPrintf("plain\n%d", 7);
  });
  EXPECT_THAT(messages(linesOf(errors)), ElementsAre("L1 level 1", "L- plain\\n7"));
}

TEST_F(LogTest, LineIsStampedWithLocalTimeProcessAndThread) {
  const std::time_t before = std::time(nullptr);
  inChild([] {
    setenv("TZ", "XST-03:17", 1);
    tzset();
    start(VESK::LOG_DEBUG);
    Log::LogByLevel(3, "own %d/%d", getpid(), gettid());
  });
  ASSERT_EQ(1u, logLines().size());
  std::smatch own;
  const std::string line = logLines().front();
  ASSERT_TRUE(
      std::regex_match(line, own, std::regex(R"((\S+)\.\d{3} L3 (\d+/\d+) own (\d+/\d+))")));
  EXPECT_EQ(own[3], own[2]);
  std::tm written{};
  ASSERT_NE(nullptr, strptime(own[1].str().c_str(), "%Y-%m-%dT%H:%M:%S", &written));
  const std::time_t utc = timegm(&written) - (3 * 60 + 17) * 60;
  EXPECT_GE(utc, before);
  EXPECT_LE(utc, std::time(nullptr));
}

TEST_F(LogTest, ConfiguredLevelDecides) {
  const std::string expected[] = {"", "01-", "012-", "0123-", "01234-"};
  for (int configured = 0; configured <= 4; ++configured) {
    inChild([configured] {
      start(static_cast<VESK::VESKLogLevel>(configured));
      for (int level = 0; level <= 5; ++level) Log::LogByLevel(level, "text");
      LogPrintf("text");
    });
    std::string written;
    for (const std::string& message : messages(logLines())) written += message[1];
    EXPECT_EQ(expected[configured], written) << "configured " << configured;
    std::filesystem::remove(path("log/adminui.log"));
  }
}

TEST_F(LogTest, OneMessageIsOneLineWhateverItHolds) {
  inChild([] {
    start(VESK::LOG_DEBUG);
    const char* volatile missing = nullptr;
    const char* volatile format = nullptr;
    LogPrintf("null %s.", missing);
    LogPrintf(format, 1);
    LogPrintf("%s", "a\nb\rc\td\x1b[31m\x7f\x01");
    LogPrintf("%s", "C1 \xc2\x9b, letters \xc2\xa0\xc3\xa9, back\\slash");
    const std::wstring notInThisLocale = L"\u65e5";
    errno = ENOENT;
    LogPrintf("%ls", notInThisLocale.c_str());
    EXPECT_EQ(ENOENT, errno);
    LogPrintf("%m, %1100d", 1);
  });
  const std::vector<std::string> lines = messages(logLines());
  ASSERT_EQ(6u, lines.size());
  EXPECT_EQ("L- null (null).", lines[0]);
  EXPECT_EQ("L- (null)", lines[1]);
  EXPECT_EQ("L- a\\nb\\rc\\td\\x1b[31m\\x7f\\x01", lines[2]);
  EXPECT_EQ("L- C1 \\xc2\\x9b, letters \xc2\xa0\xc3\xa9, back\\slash", lines[3]);
  EXPECT_EQ("L- cannot be formatted: %ls", lines[4]);
  EXPECT_THAT(lines[5], testing::StartsWith("L- No such file or directory,  "));
}

TEST_F(LogTest, LengthIsNotLimited) {
  const std::vector<std::size_t> lengths = {0, 1022, 1023, 1024, 1025, 100 * 1024};
  inChild([&] {
    start(VESK::LOG_DEBUG, {{"max_size", "1"}, {"max_files", "20"}});
    for (std::size_t length : lengths) LogPrintf("%s", std::string(length, 'x').c_str());
  });
  std::vector<std::size_t> written;
  for (const std::string& message : allMessages(20)) written.push_back(message.size() - 3);
  EXPECT_EQ(lengths, written);
}

constexpr int threadCount = 8;
constexpr int linesEach = 1500;

std::string lineOf(int thread, int line) {
  return std::to_string(thread) + "." + std::to_string(line) +
         std::string(static_cast<std::size_t>((thread * 31 + line) % 200), 'x') + "!";
}

void logFromManyThreads() {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([thread] {
      for (int line = 0; line < linesEach; ++line) LogPrintf("%s", lineOf(thread, line).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(LogTest, RotationUnderThreadsLosesAndTearsNoLine) {
  EXPECT_EQ("", inChild([] {
              start(VESK::LOG_DEBUG, {{"max_size", "64"}, {"max_files", "60"}});
              logFromManyThreads();
            }));
  std::multiset<std::string> expected;
  for (int thread = 0; thread < threadCount; ++thread) {
    for (int line = 0; line < linesEach; ++line) expected.insert("L- " + lineOf(thread, line));
  }
  const std::vector<std::string> written = allMessages(60);
  EXPECT_EQ(expected, std::multiset<std::string>(written.begin(), written.end()));
  EXPECT_TRUE(std::filesystem::exists(path("log/adminui.10.log")));
  EXPECT_LE(std::filesystem::file_size(path("log/adminui.10.log")), 64u * 1024);
}

TEST_F(LogTest, ModeIsFixedWhateverTheUmask) {
  for (const mode_t mask : {0000, 0077}) {
    inChild([mask] {
      umask(mask);
      start(VESK::LOG_DEBUG, {{"max_size", "1"}, {"max_files", "2"}});
      for (int line = 0; line < 20; ++line) LogPrintf("%0200d", line);
      EXPECT_EQ(mask, umask(0));
    });
    for (const char* name : {"log/adminui.log", "log/adminui.1.log", "log/adminui.2.log"}) {
      struct stat status {};
      EXPECT_EQ(0, stat(path(name).c_str(), &status)) << name;
      EXPECT_EQ(0640u, status.st_mode & 07777) << name << " with umask " << mask;
    }
    EXPECT_FALSE(std::filesystem::exists(path("log/adminui.3.log")));
    std::filesystem::remove_all(path("log"));
  }
}

TEST_F(LogTest, BadSettingsAreNamedAndDefaultsServe) {
  inChild([this] {
    start(VESK::LOG_DEBUG, {{"max_size", "10k"}, {"max_files", "-1"}, {"file", "own.log"}});
    LogPrintf("works");
  });
  EXPECT_THAT(messages(linesOf(readFile(path("own.log")))),
              ElementsAre(HasSubstr("[log] max_size = 10k; 10240 serves"),
                          HasSubstr("[log] max_files = -1; 5 serves"), "L- works"));
}

TEST_F(LogTest, FileThatCannotBeOpenedGivesStderrAndTheReason) {
  std::filesystem::create_directory(path("folder"));
  const std::pair<std::string, const char*> cases[] = {
      {path("folder"), "Is a directory"},
      {path("none/deeper/a.log"), "No such file or directory"},
      {"/dev/null", "not a regular file"},
  };
  for (const auto& [file, reason] : cases) {
    const std::string errors = inChild([&file = file] {
      start(VESK::LOG_DEBUG, {{"file", file}});
      Log::LogByLevel(4, "goes on");
    });
    EXPECT_THAT(messages(linesOf(errors)),
                ElementsAre(testing::AllOf(HasSubstr("L1 log open: failed"), HasSubstr(reason)),
                            "L4 goes on"));
  }
}

// Neither a full disk nor a process without a free descriptor in the middle of a rotation may end
// the console; what is lost is counted.
TEST_F(LogTest, TroubleInMidLifeIsSurvivedAndCounted) {
  const std::tuple<const char*, __rlimit_resource, rlim_t> troubles[] = {
      {"File too large", RLIMIT_FSIZE, 700},
      {"Too many open files", RLIMIT_NOFILE, 3},
  };
  for (const auto& [reason, resource, limit] : troubles) {
    inChild([resource = resource, limit = limit] {
      std::signal(SIGXFSZ, SIG_IGN);
      start(VESK::LOG_DEBUG, {{"max_size", "1"}, {"max_files", "9"}});
      rlimit before{};
      getrlimit(resource, &before);
      const rlimit low{limit, before.rlim_max};
      setrlimit(resource, &low);
      for (int line = 0; line < 30; ++line) LogPrintf("%0100d", line);
      setrlimit(resource, &before);
      LogPrintf("after");
    });
    int whole = 0;
    int lost = 0;
    const std::regex loss("L1 log write: (\\d+) messages were lost before this line: .*" +
                          std::string(reason) + ".*");
    for (const std::string& message : allMessages(9)) {
      std::smatch count;
      whole += message.size() == 103;
      if (std::regex_match(message, count, loss)) lost += std::stoi(count[1]);
    }
    EXPECT_GT(lost, 0) << reason;
    EXPECT_EQ(30, whole + lost) << reason;
    EXPECT_EQ("L- after", messages(logLines()).back()) << reason;
    std::filesystem::remove_all(path("log"));
  }
}

TEST_F(LogTest, FileMovedByOthersIsOpenedAgainAndHalfALineIsEnded) {
  inChild([this] {
    start(VESK::LOG_DEBUG);
    LogPrintf("first");
    std::filesystem::rename(path("log/adminui.log"), path("log/kept"));
    std::ofstream(path("log/adminui.log")) << "half a li";
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    LogPrintf("second");
  });
  EXPECT_THAT(messages(linesOf(readFile(path("log/kept")))), ElementsAre("L- first"));
  EXPECT_THAT(messages(logLines()), ElementsAre("half a li", "L- second"));
}

}  // namespace
