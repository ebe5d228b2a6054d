// Versions, transfers and what several processes do at once, from a web server.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <random>

#include "product/update/UpdateTest.h"
#include "support/TcpProxy.h"
#include "support/Web.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

class TransferTest : public UpdateTest {
 protected:
  TransferTest() : web(publisher.dir.path("source")) {
    setting("source", web.url());
    setting("ca_file", web.authority());
  }

  void through(const TcpProxy& proxy) { setting("source", Web::urlAt(proxy.port())); }

  // One that does not shrink, so that its bytes are on their way for a while.
  void offerLarge(const std::string& version) {
    std::mt19937 random(7);
    std::string noise(2'000'000, '\0');
    for (char& c : noise) c = char(random());
    Entries large = files(version);
    large.push_back({"noise", noise});
    publisher.offer("spam-pattern", version, large);
    publisher.publish();
  }
  std::string kept() const {
    return "data/update/spam-pattern/package." +
           publisher.manifest["packages"]["spam-pattern"]["sha256"].get<std::string>();
  }

  Web web;
};

TEST_F(TransferTest, FromTheToolsSourceToTheInstalledFiles) {
  publisher.dir.write("two/rules/main", "rules of 2.5");
  publisher.dir.write("two/tool", "#!2.5");
  chmod(publisher.dir.path("two/tool").c_str(), 0755);
  publisher.manifest["serial"] = 9;
  publisher.publish();
  for (const char* format : {"gz", "xz", "zst"}) {
    const std::string version = std::string("2.5") + format;
    ASSERT_EQ(0, Server::run({"make-update-source", "--dir", publisher.dir.path("source"), "--key",
                              publisher.dir.path("key.pem"), "--format", format, "--keep",
                              "spam-pattern=" + version + "=" + publisher.dir.path("two")},
                             publisher.dir.path("make.log")))
        << publisher.dir.read("make.log");
    EXPECT_EQ("1 " + version, download());
    EXPECT_EQ("2.5", whole("current"));
  }
  struct stat status {};
  for (const auto& [name, mode] : std::map<std::string, unsigned>{
           {"", 0750}, {"tool", 0750}, {"rules", 0750}, {"rules/main", 0640}}) {
    EXPECT_EQ(0, stat(at("current/" + name).c_str(), &status));
    EXPECT_EQ(mode, status.st_mode & 07777) << name;
  }
}

TEST_F(TransferTest, VersionsGoUpAndOneStepBack) {
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  std::string first, second;
  EXPECT_EQ(0, update.getAvailVersion(SPAM, first, second, true));
  EXPECT_EQ("spam-pattern 2.0", first + " " + second);
  EXPECT_EQ(2, update.getAvailVersion(UPDATE_VIRUS_ENGINE, first, second, true));
  EXPECT_EQ("", first + second);
  EXPECT_EQ(1, update.getDBVersion(UPDATE_VIRUS_ENGINE, first, second, true));
  EXPECT_EQ("virus-engine", first + second);
  EXPECT_EQ(UPDATE_ROLLBACK_UNAVAILABLE, rollback());
  const struct {
    const char* offered;
    const char* result;
    const char* before;
  } cases[] = {
      {"2.0", "1 2.0", "1.0"},      {"2.0", "0 2.0", "1.0"},       {"2.9", "1 2.9", "2.0"},
      {"2.10", "1 2.10", "2.9"},    {"2.9", "2 2.10", "2.9"},      {"2.010", "0 2.10", "2.9"},
      {"2.10a", "1 2.10a", "2.10"}, {"2.10.1", "2 2.10a", "2.10"}, {"10", "1 10", "2.10a"},
  };
  for (const auto& one : cases) {
    offer(one.offered);
    EXPECT_EQ(one.result, download()) << one.offered;
    EXPECT_EQ(one.before, whole("previous"));
  }
  EXPECT_EQ("1 10", download(true));
  expectInUse("10", "2.10a");
  EXPECT_EQ(UPDATE_DONE, rollback());
  EXPECT_EQ(0, update.getDBVersion(SPAM, first, second, true));
  EXPECT_EQ("2.10a", second);
  EXPECT_EQ(UPDATE_ROLLBACK_UNAVAILABLE, rollback());
  EXPECT_EQ("0 2.10a", download());  // what was left does not come back by itself
  offer("10.1");
  EXPECT_EQ("1 10.1", download());
  EXPECT_EQ(UPDATE_DONE, rollback());
  EXPECT_EQ("1 10.1", download(true));
}

TEST_F(TransferTest, WhatIsNotGivenOutOrNotInitialisedIsRefused) {
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  std::string first = "x", second = "x";
  for (const int type : {-1, 7, 11}) {
    EXPECT_EQ("2 ", download(false, BvUpdateType(type)));
    EXPECT_EQ(UPDATE_FAILED, update.rollback(BvUpdateType(type), 1));
    EXPECT_EQ(2, update.getAvailVersion(BvUpdateType(type), first, second, true));
    EXPECT_EQ(1, update.getDBVersion(BvUpdateType(type), first, second, true));
  }
  EXPECT_EQ("", first + second);
  EXPECT_FALSE(BvUpdate(BvUpdateKind(1)).ready);
}

TEST_F(TransferTest, OneDeadSourceCostsOneTimeoutAndOneLine) {
  const Socket silent = listenOnLoopback(16);
  setting("source", "https://127.0.0.1:" + std::to_string(portOf(silent)));
  setting("connect_timeout", "1");
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  std::string first, second;
  const auto start = std::chrono::steady_clock::now();
  for (int type = 0; type <= 6; ++type) {
    EXPECT_EQ(2, update.getAvailVersion(BvUpdateType(type), first, second, true));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
  const std::string log = home.newLog();
  EXPECT_THAT(log, MatchesRegex(".* versions: fetch failed at https://127.0.0.1:.* after 1... ms: "
                                "manifest.json: Timeout was reached .*hint: .*\n"));
}

TEST_F(TransferTest, BrokenConnectionsArePickedUp) {
  offerLarge("2.0");
  int attempts = 0;
  std::string result = "2 1.0";
  while (result == "2 1.0" && ++attempts < 9) {
    // Every connection breaks long before the whole package has come.
    TcpProxy proxy(web.port(), {600'000, TcpProxy::CLOSES});
    through(proxy);
    result = download();
  }
  EXPECT_EQ("1 2.0", result);
  EXPECT_GT(attempts, 2);
  const std::string log = home.newLog();
  EXPECT_EQ(attempts, std::count(log.begin(), log.end(), '\n')) << log;
  expectInUse("2.0", "1.0");
}

TEST_F(TransferTest, KeptPartThatIsOfNoUseIsFetchedAgain) {
  const Web wholeFilesOnly(publisher.dir.path("source"), {"--no-ranges"});
  int version = 2;
  for (const Web* server : {&wholeFilesOnly, static_cast<const Web*>(&web)}) {
    for (const std::string& part : {std::string(1000, 'x'), std::string(3'000'000, 'x')}) {
      offerLarge(std::to_string(++version) + ".0");
      appliance.write(kept(), part);
      setting("source", server->url());
      setting("ca_file", server->authority());
      EXPECT_EQ("1 " + std::to_string(version) + ".0", download());
    }
  }
}

TEST_F(TransferTest, SilentSourceEndsAfterTheStallTimeout) {
  offerLarge("2.0");
  setting("stall_timeout", "1");
  TcpProxy proxy(web.port(), {600'000, TcpProxy::STALLS});
  through(proxy);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ("2 1.0", download());
  EXPECT_LT(std::chrono::steady_clock::now() - start,
            12s);  // libcurl looks at the last seconds together
  EXPECT_THAT(home.newLog(), HasSubstr("the source fell silent"));
  EXPECT_TRUE(std::filesystem::exists(appliance.path(kept())));
}

TEST_F(TransferTest, OfTwoUpdatesAtOnceOneFailsAndTheOtherIsSeen) {
  offerLarge("2.0");
  TcpProxy slow(web.port(), {.piece = 16384, .pause = 4ms});
  through(slow);
  const pid_t child = fork();
  if (child == 0) _exit(download() == "1 2.0" ? 0 : 1);
  std::string text;
  for (int tries = 0; tries < 1000 && !BvUpdate::isRunning(text); ++tries) usleep(1000);
  EXPECT_THAT(text, MatchesRegex("spam-pattern download since ....-..-..T..:..:.. pid " +
                                 std::to_string(child)));
  EXPECT_EQ("2 1.0", download());
  EXPECT_EQ(UPDATE_FAILED, rollback());
  EXPECT_THAT(home.newLog(), HasSubstr("another update is running [" + text + "]"));
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_FALSE(BvUpdate::isRunning(text));
  EXPECT_EQ("0 2.0", download());
}

TEST_F(TransferTest, HolderThatWasKilledIsNotRunning) {
  offerLarge("2.0");
  TcpProxy stalled(web.port(), {600'000, TcpProxy::STALLS});
  through(stalled);
  const pid_t child = fork();
  if (child == 0) _exit(!download().empty());
  std::string text;
  while (!std::filesystem::exists(appliance.path(kept()))) usleep(1000);
  EXPECT_TRUE(BvUpdate::isRunning(text));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(BvUpdate::isRunning(text));
  EXPECT_EQ("", text);
}

TEST_F(TransferTest, EventsAndUploadsAreCountedAcrossProcesses) {
  std::vector<pid_t> children;
  for (int process = 0; process < 4; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    BvUpdate update(UPDATE_KIND_COMPONENTS);
    for (int i = 0; i < 25; ++i) {
      update.setUploadNumber();
      update.logAUEvent(process, SPAM, UPDATE_NO_CHANGE);
    }
    _exit(0);
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  EXPECT_EQ("100\n", appliance.read("data/update/upload-number"));
  std::istringstream events(appliance.read("log/update-events.log"));
  int count = 0;
  for (std::string line; std::getline(events, line); ++count) {
    EXPECT_THAT(line, MatchesRegex("time=....-..-..T..:..:.. source=[0-3] component=spam-pattern "
                                   "result=no-change version=1.0"));
  }
  EXPECT_EQ(100, count);
}

}  // namespace
