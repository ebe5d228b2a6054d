// What the agent does with requests and arguments that are not as they should be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>

#include <atomic>

#include "product/agent.h"
#include "support/Agent.h"
#include "support/Home.h"
#include "support/TempDir.h"

namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::string call = "<a:sendServiceCmd><a:command>7</a:command></a:sendServiceCmd>";

std::string deep(int levels) {  // below the three that an operand of it has around it
  std::string text = "x";
  for (int level = 0; level < levels; ++level) text = "<x>" + text + "</x>";
  return text;
}

std::string replaceFirst(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

std::string envelope(const std::string& body, const std::string& header = "",
                     const std::string& soap = "http://schemas.xmlsoap.org/soap/envelope/") {
  return "<s:Envelope xmlns:s='" + soap + "' xmlns:a='urn:brelvik:vesk:agent:1'>" + header +
         "<s:Body>" + body + "</s:Body></s:Envelope>";
}

class ProtocolTest : public testing::Test {
 protected:
  ProtocolTest() { Home::instance(); }

  static std::string post(const Agent& agent, const std::string& body,
                          const httplib::Headers& headers = {}, const char* type = "text/xml") {
    httplib::Client client("127.0.0.1", agent.port());
    client.set_read_timeout(5);
    const auto result = client.Post("/agent", headers, body, type);
    return result ? std::to_string(result->status) + ' ' + result->body : "none";
  }
};

TEST_F(ProtocolTest, RefusesWhatIsNoRequest) {
  const struct {
    std::string body;
    const char* fault;
  } rows[] = {
      {"", "soap:Client"},
      {"hello", "soap:Client"},
      {envelope(call).substr(0, 150), "soap:Client"},
      {"<!DOCTYPE x [<!ENTITY e 'e'>]>" + envelope(call), "DOCTYPE"},
      {envelope("<a:test>" + deep(62) + "</a:test>"), "too deep"},
      {envelope(call + "<!--" + std::string(65536, 'x') + "-->"), "too much markup"},
      {envelope(call) + "<x/>", "more than one envelope"},
      {envelope(replaceFirst(call, "</a:command>", "</a:command><x>&foo;</x>")), "unknown entity"},
      {envelope(replaceFirst(call, "<a:command>", "<a:command>8</a:command><a:command>")), "twice"},
      {envelope(call, "", "http://www.w3.org/2003/05/soap-envelope"), "soap:VersionMismatch"},
      {envelope(call, "<s:Header><x s:mustUnderstand='1'/></s:Header>"), "soap:MustUnderstand"},
      {envelope(""), "one element"},
      {envelope(call + call), "one element"},
      {envelope("<sendServiceCmd><command>7</command></sendServiceCmd>"), "not in urn:"},
      {envelope("<a:dropTables/>"), "no operation dropTables"},
      {envelope("<a:sendServiceCmd/>"), "command is missing"},
      {envelope("<a:sendServiceCmd><command>7</command></a:sendServiceCmd>"), "command is missing"},
      {envelope("<a:sendServiceCmd><a:command>2147483648</a:command></a:sendServiceCmd>"),
       "no int"},
      {envelope("<a:sendServiceCmd><a:command>7 7</a:command></a:sendServiceCmd>"), "no int"},
      {envelope("<a:sendServiceCmd><a:command/></a:sendServiceCmd>"), "no int"},
      {envelope("<a:test><a:first>infinity</a:first><a:second>0</a:second></a:test>"), "no double"},
      {envelope("<a:PatchSetNotify><a:notification><b/></a:notification></a:PatchSetNotify>"),
       "no text"},
  };
  const Agent agent;
  for (const auto& row : rows) {
    const std::string answer = post(agent, row.body);
    EXPECT_THAT(answer, testing::StartsWith("500 ")) << row.body;
    EXPECT_THAT(answer, testing::AllOf(HasSubstr("<faultcode>soap:"), HasSubstr(row.fault)))
        << row.body;
  }
  EXPECT_THAT(post(agent, envelope(call), {{"SOAPAction", "\"urn:brelvik:vesk:agent:1#test\""}}),
              HasSubstr("does not match"));
  EXPECT_THAT(post(agent, envelope(call), {}, "multipart/form-data; boundary=b"), HasSubstr("415"));
  EXPECT_EQ("", agent.events()) << "nothing of all that was done";
}

TEST_F(ProtocolTest, TakesWhatAnyStackMaySend) {
  const Agent agent;
  const std::string rows[] = {
      envelope("<a:sendServiceCmd><a:command>\n +7 </a:command></a:sendServiceCmd>"),
      envelope("<sendServiceCmd xmlns='urn:brelvik:vesk:agent:1'><command>0<!-- "
               "-->7</command></sendServiceCmd>"),
      envelope(call, "<s:Header><x>any</x></s:Header>"),
      envelope(replaceFirst(call, "</a:command>", "</a:command>" + deep(61))),
      "\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- c -->" + envelope(call),
  };
  for (const std::string& body : rows) {
    EXPECT_THAT(post(agent, body, {{"SOAPAction", "\"\""}}), HasSubstr("<echo>7</echo>")) << body;
  }
}

TEST_F(ProtocolTest, BodiesEndAtSixteenMegabytes) {
  const Agent agent;
  const auto padded = [](std::size_t size) {
    const std::string body = envelope(call);
    return body + std::string(size - body.size(), '\n');
  };
  EXPECT_THAT(post(agent, padded(16 << 20)), HasSubstr("<echo>7</echo>"));
  EXPECT_THAT(post(agent, padded((16 << 20) + 1)), testing::AnyOf(HasSubstr("413"), "none"));
  httplib::Client client("127.0.0.1", agent.port());
  client.set_compress(true);  // 64 KB on the wire
  const auto bomb = client.Post("/agent", padded(64 << 20), "text/xml");
  EXPECT_TRUE(!bomb || bomb->status == 413);
  EXPECT_THAT(post(agent, envelope(call)), HasSubstr("<echo>7</echo>"));
}

TEST_F(ProtocolTest, RecordsWhatItIsTold) {
  const Agent agent;
  const std::string endpoint = agent.endpoint();
  int answer = -1;
  EXPECT_TRUE(AgentSOAPClient::sendServiceCmd(endpoint.c_str(), -5, answer));
  EXPECT_TRUE(AgentSOAPClient::sendSysConfigEvnt(endpoint.c_str(), 12, answer));
  EXPECT_TRUE(AgentSOAPClient::sendQueueManagerAction(endpoint.c_str(), 1, answer));
  EXPECT_TRUE(AgentSOAPClient::UnregisterNotify(endpoint.c_str()));
  std::string reply;
  EXPECT_EQ(1, AgentSOAPClient::PostSetNotifyAllScanners({endpoint}, reply));
  Home::set("agent", "scanners", endpoint.substr(7));
  EXPECT_EQ(0, AgentSOAPClient::PatchSetNotify("two\nlines ä", reply));
  std::istringstream lines(agent.events());
  for (const char* expected :
       {"sendServiceCmd -5", "sendSysConfigEvnt 12", "sendQueueManagerAction 1", "UnregisterNotify",
        "PostSetNotify", "PatchSetNotify two\\x0alines ä"}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(expected, line.substr(std::min<std::size_t>(line.size(), 25)));
  }
}

TEST_F(ProtocolTest, MisbehavesAsToldAndOnlyThere) {
  Home::set("agent", "timeout", "1");
  for (const char* kind : {"never", "cut", "cut:0", "garbage", "http:503", "http:302", "fault",
                           "other-operation", "drip:50", "delay:1500"}) {
    SCOPED_TRACE(kind);
    const Agent agent({"--misbehave", std::string("test=") + kind});
    const std::string endpoint = agent.endpoint();
    double sum = 0;
    int echo = 0;
    EXPECT_FALSE(AgentSOAPClient::test(endpoint.c_str(), 1980, 722, sum));
    EXPECT_TRUE(AgentSOAPClient::sendServiceCmd(endpoint.c_str(), 7, echo));
  }
  Home::set("agent", "timeout", "30");
  const Agent wrong({"--misbehave", "*=wrong-sum:0.0000001,*=wrong-echo,*=delay:10,test=drip:0"});
  const std::string endpoint = wrong.endpoint();
  double sum = 0;
  int echo = 0;
  EXPECT_TRUE(AgentSOAPClient::test(endpoint.c_str(), 1980, 722, sum));
  EXPECT_EQ(2702.0000001, sum);
  EXPECT_TRUE(AgentSOAPClient::sendServiceCmd(endpoint.c_str(), 7, echo));
  EXPECT_EQ(8, echo);
}

TEST_F(ProtocolTest, ServesHundredsAtOnceAndEndsAtOnce) {
  auto agent = std::make_unique<Agent>(
      Server::Words{"--misbehave", "test=delay:500,UnregisterNotify=never"});
  const std::string endpoint = agent->endpoint();
  std::atomic<int> good = 0;
  const auto begin = Clock::now();
  {
    std::vector<std::jthread> clients;
    for (int client = 0; client < 500; ++client) {
      clients.emplace_back([&] {
        double sum = 0;
        if (AgentSOAPClient::test(endpoint.c_str(), 1, 2, sum) && sum == 3) ++good;
      });
    }
  }
  EXPECT_EQ(500, good);
  EXPECT_LT(Clock::now() - begin, 20s) << "one after the other would take 250 s";
  const std::jthread waiting([&] { AgentSOAPClient::UnregisterNotify(endpoint.c_str()); });
  std::this_thread::sleep_for(200ms);
  const auto end = Clock::now();
  agent.reset();
  EXPECT_LT(Clock::now() - end, 5s) << "with a client that waits";
}

TEST_F(ProtocolTest, SaysWhatIsWrongWithItsArguments) {
  const Agent other;
  const TempDir dir;
  const std::string taken = "127.0.0.1:" + std::to_string(other.port());
  const struct {
    Server::Words words;
    int status;
    const char* message;
  } rows[] = {
      {{"--listen", "127.0.0.1"}, 2, "HOST:PORT is needed"},
      {{"--listen", "127.0.0.1:65536"}, 2, "port from 0 to 65535"},
      {{"--listen", taken}, 1, "cannot listen"},
      {{"--spool", dir.path("none")}, 2, "no folder"},
      {{"--export", dir.write("file", "")}, 2, "no folder"},
      {{"--maillog", dir.path("none/maillog")}, 2, "no folder"},
      {{"--events", dir.path("none/events")}, 1, "No such file"},
      {{"--misbehave", "test"}, 2, "OPERATION=KIND"},
      {{"--misbehave", "test=dance"}, 2, "no such kind"},
      {{"--misbehave", "dance=cut"}, 2, "no such operation"},
      {{"--misbehave", "test=delay:soon"}, 2, "a number is needed"},
      {{"--misbehave", "test=http:99"}, 2, "no HTTP status"},
      {{"--dance"}, 2, "unknown option --dance"},
      {{"--listen"}, 2, "needs a value"},
  };
  for (const auto& row : rows) {
    Server::Words command = {VESK_AGENT};
    command.insert(command.end(), row.words.begin(), row.words.end());
    std::filesystem::remove(dir.path("out"));
    const int status = Server::run(command, dir.path("out"));
    EXPECT_EQ(row.status, WEXITSTATUS(status)) << row.message;
    EXPECT_THAT(dir.read("out"), HasSubstr(row.message));
  }
}

}  // namespace
