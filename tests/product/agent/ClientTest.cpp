// What goes out, what fits into the caller's buffers, and what failures leave in them.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>

#include "ScriptedAgent.h"
#include "product/agent.h"
#include "support/Home.h"

namespace {

using testing::HasSubstr;
using testing::Not;

char reference[] = "Q/7";

std::string element(const std::string& name, const std::string& text) {
  return "<" + name + ">" + text + "</" + name + ">";
}

// Answers every operation with these values.
struct Answering : ScriptedAgent {
  explicit Answering(std::string operation, std::string values)
      : ScriptedAgent([=](const std::string&) {
          return Script{http(soap(operation, "<accepted>true</accepted>" + values))};
        }) {}
  bool received(const std::string& text) { return lastRequest().find(text) != std::string::npos; }
};

// A buffer whose bytes behind the end must stay.
struct Buffer {
  explicit Buffer(std::size_t size) : bytes(size + 8, '\x7F') {}
  std::string text() const {
    EXPECT_EQ(repeated("\x7F", 8), bytes.substr(bytes.size() - 8));
    return bytes.c_str();
  }
  std::string bytes;
};

// Texts for a buffer of `room` bytes: filled, one over, and with a character across the end.
struct Cut {
  std::string sent;
  std::string kept;
};
std::vector<Cut> cuts(std::size_t room) {
  const std::string most(room - 1, 'x');
  return {{most + "y", most + "y"},
          {most + "yz", most + "y"},
          {most + "ä", most},
          {most.substr(1) + "ä", most.substr(1) + "ä"},
          {most.substr(2) + "\U0001F600", most.substr(2)},
          {"\xFF\xED\xA0\x80", "\uFFFD\uFFFD"},
          {"", ""}};
}

TEST(ClientTest, HeaderIsCutAfter2047BytesAtTheEndOfACharacter) {
  for (const Cut& cut : cuts(2047)) {
    Answering agent("getMsgHeader", element("header", cut.sent));
    Buffer header(2048);
    EXPECT_TRUE(AgentSOAPClient::getMsgHeader(agent.endpoint().c_str(), reference, false,
                                              header.bytes.data(), true));
    EXPECT_EQ(cut.kept, header.text());
  }
}

TEST(ClientTest, DetailsAreCutAtTheirSizesWhichTheAgentIsTold) {
  for (const int secondSize : {512, 256}) {
    for (const Cut& one : cuts(8192)) {
      for (const Cut& other : cuts(static_cast<std::size_t>(secondSize))) {
        const bool postponed = secondSize == 256;
        Answering agent(postponed ? "getEUQMsgDetail_PE" : "getEUQMsgDetail",
                        element("first", one.sent) + element("second", other.sent));
        Buffer first(8193);
        Buffer second(static_cast<std::size_t>(secondSize) + 1);
        char* texts[] = {first.bytes.data(), second.bytes.data()};
        const std::string at = agent.endpoint();
        EXPECT_TRUE(postponed ? AgentSOAPClient::getEUQMsgDetail_PE(at.c_str(), reference,
                                                                    &texts[0], 8192, &texts[1], 256)
                              : AgentSOAPClient::getEUQMsgDetail(at.c_str(), reference, false,
                                                                 &texts[0], 8192, &texts[1], 512));
        EXPECT_EQ(one.kept, first.text());
        EXPECT_EQ(other.kept, second.text());
        EXPECT_TRUE(agent.received(element("secondSize", std::to_string(secondSize))));
      }
    }
  }
}

class MailLogTest : public testing::Test {
 protected:
  bool ask(Answering& agent, int pagesize, const std::string& name) {
    std::memcpy(fileName, name.c_str(), name.size() + 1);
    events = Buffer(static_cast<std::size_t>(std::max(pagesize, 0)) * 524 + 1);
    return AgentSOAPClient::getMTALog(agent.endpoint().c_str(), keyword, fileName,
                                      events.bytes.data(), 1, paging, pagesize, 2, 3, 4, 5,
                                      2147483647, -1, -2147483648, 9);
  }
  std::vector<int> block() const { return {paging, paging + 9}; }

  static std::string values(const std::string& name, const std::string& text,
                            const std::string& inode = "4294967294") {
    std::string all = element("fileName", name) + element("events", text);
    for (const char* same : {"pagesize", "pagecount", "totalcount", "pagenumber", "starttime"})
      all += element(same, "7");
    return all + element("endtime", "-2147483648") + element("inode", inode) +
           element("offset", "2147483648") + element("year", "2026");
  }

  char keyword[9] = "from=<a>";
  char fileName[256] = {};
  Buffer events{1};
  int paging[9] = {};
};

TEST_F(MailLogTest, FilePositionsTravelWithoutASignAndComeBackAsTheSameBits) {
  Answering agent("getMTALog", values("maillog.1", "a\nb\n"));
  EXPECT_TRUE(ask(agent, 1, "maillog"));
  EXPECT_TRUE(agent.received("<inode>4294967295</inode><offset>2147483648</offset><year>9</year>"));
  EXPECT_TRUE(agent.received("<keyword>from=&lt;a&gt;</keyword><fileName>maillog</fileName>"));
  EXPECT_EQ((std::vector{7, 7, 7, 7, 7, -2147483647 - 1, -2, -2147483647 - 1, 2026}), block());
  EXPECT_STREQ("maillog.1", fileName);
  EXPECT_EQ("a\nb\n", events.text());
}

TEST_F(MailLogTest, TextsAreCutToTheirBuffersAlsoThatOfAnEmptyPage) {
  for (const Cut& cut : cuts(2 * 524)) {
    Answering agent("getMTALog", values("", cut.sent));
    EXPECT_TRUE(ask(agent, 2, ""));
    EXPECT_EQ(cut.kept, events.text());
    EXPECT_TRUE(ask(agent, 0, ""));
    EXPECT_EQ("", events.text());
  }
  for (const Cut& cut : cuts(127)) {
    Answering agent("getMTALog", values(cut.sent, ""));
    EXPECT_TRUE(ask(agent, 0, ""));
    EXPECT_EQ(cut.kept, fileName);
  }
}

TEST_F(MailLogTest, NameThatWasCutWithinACharacterIsSentWithoutTheRest) {
  Answering agent("getMTALog", values("", ""));
  const std::string most(125, 'x');
  EXPECT_TRUE(ask(agent, 1, most + "\xE2\x82"));
  EXPECT_TRUE(agent.received(element("fileName", most)));
}

TEST_F(MailLogTest, FailureGivesWhatWasAskedAndNoEvents) {
  Answering agent("getMTALog", values("other", "event\n", "4294967296"));
  EXPECT_FALSE(ask(agent, 6, "maillog"));
  EXPECT_EQ((std::vector{6, 2, 3, 4, 5, 2147483647, -1, -2147483647 - 1, 9}), block());
  EXPECT_STREQ("maillog", fileName);
  EXPECT_EQ("", events.text());
  EXPECT_FALSE(ask(agent, -1, "maillog"));
  EXPECT_EQ(-1, paging[0]);
  EXPECT_EQ(1, agent.requests());
}

TEST(ClientTest, TextsAreSentAsRealUtf8OrNotAtAll) {
  Answering agent("getWholeMsg_PE", "");
  const auto send = [&](std::string text) {
    return AgentSOAPClient::getWholeMsg_PE(agent.endpoint().c_str(), text.data(), reference);
  };
  EXPECT_TRUE(send("\xED\xA0\xBD\xED\xB8\x80 <&\"\t\n ]]>"));  // as the Java VM writes it
  EXPECT_THAT(agent.lastRequest(),
              HasSubstr("<reference>\U0001F600 &lt;&amp;\"\t\n ]]&gt;</reference>"));
  Home::instance().newLog();
  for (const char* bad : {"\x01", "a\x1B[0m", "\xED\xA0\xBD", "\xED\xB8\x80", "\xC0\x80", "\xFF",
                          "\xEF\xBF\xBF", "\xC0\xAF", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_FALSE(send(bad));
    EXPECT_THAT(Home::instance().newLog(), HasSubstr("no XML can hold the text for reference"));
  }
  EXPECT_EQ(1, agent.requests());
}

TEST(ClientTest, EndpointIsCompletedOrRefused) {
  Answering agent("UnregisterNotify", "");
  const std::string at = agent.endpoint();
  const struct {
    std::string endpoint;
    const char* path;
  } rows[] = {{at, "POST /agent HTTP"},
              {at + "/", "POST /agent HTTP"},
              {at + "/a/b?c", "POST /a/b?c HTTP"},
              {at.substr(7), "POST /agent HTTP"},
              {"HTTP://LOCALHOST" + at.substr(16), "POST /agent HTTP"}};
  for (const auto& row : rows) {
    EXPECT_TRUE(AgentSOAPClient::UnregisterNotify(row.endpoint.c_str())) << row.endpoint;
    EXPECT_TRUE(agent.received(row.path)) << agent.lastRequest();
    EXPECT_TRUE(agent.received("SOAPAction: \"urn:brelvik:vesk:agent:1#UnregisterNotify\"\r\n"));
  }
  const std::string longHost(120, 'h');
  Home::instance().newLog();
  for (const std::string& bad :
       {std::string("http://127.0.0.1:0"), std::string("http://127.0.0.1:-1"),
        std::string("http://127.0.0.1:65536"), "http://" + longHost, std::string("http://"),
        std::string("http://a b:1"), std::string("file:///etc/passwd"),
        std::string("https://127.0.0.1:1"), "http://me:Pa55word@" + at.substr(7), std::string()}) {
    EXPECT_FALSE(AgentSOAPClient::UnregisterNotify(bad.c_str())) << bad;
    const std::string log = Home::instance().newLog();
    EXPECT_EQ(1, std::count(log.begin(), log.end(), '\n')) << bad << log;
    EXPECT_THAT(log, Not(HasSubstr("Pa55word")));
  }
}

TEST(ClientTest, NotANumberIsTheSumOfWhatHasNone) {
  Answering agent("test", element("answer", "NaN"));
  constexpr double operands[][2] = {{NAN, 1}, {INFINITY, -INFINITY}};
  for (const auto& [one, other] : operands) {
    double sum = 0;
    EXPECT_TRUE(AgentSOAPClient::test(agent.endpoint().c_str(), one, other, sum));
    EXPECT_TRUE(std::isnan(sum)) << sum;
  }
}

TEST(ClientTest, ThreadsDoNotMeet) {
  ScriptedAgent agent([](const std::string& request) {
    const std::size_t from = request.find("<command>") + 9;
    const std::string code = request.substr(from, request.find('<', from) - from);
    return Script{
        http(soap("sendServiceCmd", "<accepted>true</accepted>" + element("echo", code)))};
  });
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      for (int code = number * 1000; code < number * 1000 + 25; ++code) {
        int echo = -1;
        right +=
            AgentSOAPClient::sendServiceCmd(agent.endpoint().c_str(), code, echo) && echo == code;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(200, right);
}

}  // namespace
