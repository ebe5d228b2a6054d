#include "Command.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "JvmTest.h"
#include "Seams.h"
#include "VeskVer.h"

namespace {

using testing::MatchesRegex;
using Texts = std::vector<std::u16string>;

// Half a surrogate pair: no locale can print it.
const wchar_t unprintable[] = {0xD800, 0};

struct CommandTest : JvmTest {
  jobject list = nullptr;
  void SetUp() override {
    JvmTest::SetUp();
    list = newList();
  }
  jint query(const char* argument, std::size_t size = wizardCommandSize) {
    return bridge([&] { return queryToList(env, list, "Peer.method", size, "%s", argument); });
  }
};

TEST_F(CommandTest, QueryLogsCommandAndLineAndClosesThePipeFirst) {
  seams.output = "one\ntwo\n";
  EXPECT_EQ(0, query("ask me"));
  EXPECT_EQ((Calls{"print Peer.method szCmd: [ask me]", "popen r ask me", "pclose",
                   "print Peer.method szRet: [one\n]"}),
            product.calls);
  EXPECT_EQ(Texts{u"one"}, texts(list));
}

TEST_F(CommandTest, LinesAsTheyArrive) {
  const std::pair<std::string, std::u16string> lines[] = {
      {"no newline", u"no newline"},
      {"\n", u"\n"},
      {"first\n\n", u"first"},
      {std::string(1023, 'x') + "y\n", std::u16string(1023, u'x')},
      {std::string(1022, 'x') + "\n", std::u16string(1022, u'x')},
  };
  for (const auto& [output, element] : lines) {
    seams.output = output;
    list = newList();
    EXPECT_EQ(0, query("ask"));
    EXPECT_EQ(Texts{element}, texts(list)) << output;
  }
}

TEST_F(CommandTest, QueryFailures) {
  EXPECT_EQ(102, query("silent"));
  EXPECT_EQ("pclose", product.calls.back());
  seams.popenFails = true;
  EXPECT_EQ(101, query("unstartable"));
  EXPECT_EQ("popen r unstartable", product.calls.back());
  product.calls.clear();
  EXPECT_EQ(100, queryToList(env, list, "Peer.method", wizardCommandSize, "%ls", unprintable));
  EXPECT_EQ(500, queryToList(env, nullptr, "Peer.method", wizardCommandSize, "true"));
  EXPECT_EQ(Calls{}, product.calls);
  EXPECT_EQ(Texts{}, texts(list));
}

TEST_F(CommandTest, CommandIsCutAtItsBuffer) {
  for (const std::size_t size : {wizardCommandSize, postfixCommandSize}) {
    product.calls.clear();
    EXPECT_EQ(102, query(std::string(2000, 'c').c_str(), size));
    EXPECT_EQ("popen r " + std::string(size - 1, 'c'), product.calls[1]);
  }
}

TEST_F(CommandTest, ExistenceTestIsNotLogged) {
  seams.output = "/usr/sbin/postconf\n";
  EXPECT_EQ(0, commandPrints("Peer.method", postfixCommandSize, "which %s", "postconf"));
  seams.output = "";
  EXPECT_EQ(102, commandPrints("Peer.method", postfixCommandSize, "which none"));
  EXPECT_EQ((Calls{"popen r which postconf", "pclose", "popen r which none", "pclose"}),
            product.calls);
  EXPECT_EQ(100, commandPrints("Peer.method", postfixCommandSize, "%ls", unprintable));
  seams.popenFails = true;
  EXPECT_EQ(101, commandPrints("Peer.method", postfixCommandSize, "which none"));
}

TEST_F(CommandTest, ActionAnswersInEitherForm) {
  const auto act = [](StatusForm form) { return runAction("Peer.act", form, 260, "do %d", 7); };
  seams.status = 256;
  EXPECT_EQ(256, act(StatusForm::raw));
  EXPECT_EQ((Calls{"print Peer.act szCmd: [do 7]", "system do 7", "print Peer.act nRet: [256]"}),
            product.calls);
  EXPECT_EQ(1, act(StatusForm::exitCode));
  seams.status = -1;
  EXPECT_EQ(-1, act(StatusForm::raw));
  EXPECT_EQ(255, act(StatusForm::exitCode));
  product.calls.clear();
  EXPECT_EQ(100, runAction("Peer.act", StatusForm::raw, 260, "%ls", unprintable));
  EXPECT_EQ(Calls{}, product.calls);
}

// Another thread of the VM may be handing a pipe to a child of its own.
TEST_F(CommandTest, RealShellGetsTheEnvironmentAndPipesButNoSockets) {
  seams.realShell = true;
  const auto probe = [](int descriptor) {
    return "test -e /proc/self/fd/" + std::to_string(descriptor);
  };
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  for (int round = 0; round < 2; ++round) {
    const int socketOfConsole = socket(AF_UNIX, SOCK_STREAM, 0);
    const std::string gone = probe(socketOfConsole);
    if (round == 0) {
      EXPECT_EQ(0, query((gone + " && echo kept || echo \"gone $VESK_HOME\"; echo more").c_str()));
    } else {
      EXPECT_EQ(1, runAction("Peer.act", StatusForm::exitCode, 260, "%s", gone.c_str()));
    }
    EXPECT_EQ(0, runAction("Peer.act", StatusForm::raw, 260, "%s", probe(ends[0]).c_str()));
    close(socketOfConsole);
  }
  EXPECT_EQ(Texts{u"gone /vesk"}, texts(list));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(CommandTest, WhateverARealCommandDoes) {
  seams.realShell = true;
  const std::tuple<const char*, jint, Texts> queries[] = {
      {"exit 3 | echo done", 0, {u"done"}},
      {"echo text; exit 9", 0, {u"text"}},
      {"exit 0", 102, {}},
      {"kill -9 $$", 102, {}},
      {"/no/such/command 2>/dev/null", 102, {}},
      {"printf 'hangs up early'; exec >&-; sleep 0.1", 0, {u"hangs up early"}},
      {"head -c 10000000 /dev/zero | tr '\\0' x", 0, {std::u16string(1023, u'x')}},
      {"printf 'a\\377b\\n'", 0, {u"a\uFFFDb"}},
      {"printf '\\0rest\\n'", 0, {u""}},
  };
  for (const auto& [command, code, elements] : queries) {
    list = newList();
    EXPECT_EQ(code, query(command)) << command;
    EXPECT_EQ(elements, texts(list)) << command;
  }
  for (int exit = 0; exit < 256; exit += 51) {
    EXPECT_EQ(256 * exit, runAction("Peer.act", StatusForm::raw, 260, "exit %d", exit));
    EXPECT_EQ(exit, runAction("Peer.act", StatusForm::exitCode, 260, "exit %d", exit));
  }
  EXPECT_EQ(9, runAction("Peer.act", StatusForm::raw, 260, "kill -9 $$"));
  EXPECT_EQ(0, runAction("Peer.act", StatusForm::exitCode, 260, "kill -9 $$"));  // see exitCode
}

TEST(VeskVerTest, InstallRootAndVersion) {
  setenv("VESK_HOME", "/somewhere", 1);
  EXPECT_STREQ("/somewhere", getVeskHome());
  unsetenv("VESK_HOME");
  EXPECT_STREQ("/opt/brelvik/vesk", getVeskHome());

  const std::string banner = GetVeskVersionStr();
  EXPECT_THAT(banner,
              MatchesRegex("Version [0-9]+\\.[0-9]+-Build_Linux_[0-9]+ \\$Date: .+[0-9]\\$"));
  const int build = std::atoi(banner.c_str() + banner.find("Linux_") + 6);
  EXPECT_EQ(0x20000000U + static_cast<unsigned>(build), GetVeskVersion());
}

}  // namespace
