// Notifications: every agent once and at the same time, whatever the others do.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <sstream>

#include "ScriptedAgent.h"
#include "product/agent.h"
#include "support/Home.h"

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::MatchesRegex;

using Agents = std::vector<std::string>;

class FleetTest : public testing::Test {
 protected:
  FleetTest() {
    Home::set("agent", "connect_timeout", "1");
    Home::set("agent", "timeout", "3");
    home.newLog();
  }
  ~FleetTest() override {
    for (const char* key : {"max_connections", "scanners", "timeout"}) Home::set("agent", key, "");
  }

  Agents fleet(int count, const char* path) const {
    Agents agents;
    for (int i = 0; i < count; ++i)
      agents.push_back(agent.endpoint() + "/" + path + std::to_string(i));
    return agents;
  }
  int notify(const Agents& agents) {
    reply = "of an earlier call";
    return AgentSOAPClient::PostSetNotifyAllScanners(agents, reply);
  }
  Agents replyLines() const {
    Agents lines;
    std::istringstream text(reply);
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }

  // What the path says: dead ones never answer.
  ScriptedAgent agent{[](const std::string& request) {
    const bool patch = request.find("PatchSetNotify") != std::string::npos;
    if (request.starts_with("POST /dead")) return Script{.bytes = "", .keepsOpen = true};
    const bool refuses = request.starts_with("POST /no");
    return Script{
        .bytes = http(soap(patch ? "PatchSetNotify" : "PostSetNotify",
                           refuses ? "<accepted>false</accepted>" : "<accepted>true</accepted>")),
        .wait = milliseconds(50)};
  }};
  Home& home = Home::instance();
  std::string reply;
};

TEST_F(FleetTest, TwentyDeadAmongTwoHundredDelayNobody) {
  Agents agents = fleet(180, "live");
  const Agents dead = fleet(20, "dead");
  for (std::size_t i = 0; i < dead.size(); ++i)
    agents.insert(agents.begin() + static_cast<std::ptrdiff_t>(i * 10), dead[i]);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(-20, notify(agents));
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GT(took, milliseconds(2900));
  EXPECT_LT(took, milliseconds(9000));
  const Agents lines = replyLines();
  ASSERT_EQ(200u, lines.size());
  const std::string peer = agent.endpoint().substr(7);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool isDead = i % 10 == 0;
    EXPECT_THAT(lines[i], MatchesRegex(peer + (isDead ? " failed: timed out before .* [0-9]+ ms"
                                                      : " ok [0-9]+ ms")));
    if (isDead) continue;
    EXPECT_LT(std::stoi(lines[i].substr(peer.size() + 4)), 2900);
  }
  const std::string log = home.newLog();
  EXPECT_EQ(200, std::count(log.begin(), log.end(), '\n'));
}

TEST_F(FleetTest, EachAgentOnceInTheOrderGivenAndTheOutcomesCounted) {
  const std::string at = agent.endpoint();
  EXPECT_EQ(0, notify({}));
  EXPECT_EQ("", reply);
  EXPECT_EQ(2, notify({at.substr(7), at, at + "/agent", at + "/", at + "/b", at.substr(7)}));
  EXPECT_EQ(2, agent.requests());
  const std::string closed = "127.0.0.1:" + std::to_string(freePort());
  EXPECT_EQ(-4, notify({"LocalHost:1", at, at + "/no", "localhost:1", "h:65536\nok", "", "", at}));
  EXPECT_THAT(reply, MatchesRegex("localhost:1 failed: no connection [0-9]+ ms\n"
                                  "[^\n]* ok [0-9]+ ms\n"
                                  "[^\n]* failed: the agent did not accept it [0-9]+ ms\n"
                                  "h:65536 ok failed: not the address of an agent 0 ms\n"
                                  "\\(no address\\) failed: [^\n]*\n"));
}

TEST_F(FleetTest, ConnectionsAtATimeFollowTheSettingAndTheDescriptorsLeft) {
  Home::set("agent", "max_connections", "8");
  EXPECT_EQ(40, notify(fleet(40, "x")));
  EXPECT_EQ(8, agent.mostAtOnce());
  Home::set("agent", "max_connections", "");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit tight{100, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &tight);
  EXPECT_EQ(60, notify(fleet(60, "y")));
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_LE(agent.mostAtOnce(), 100 / 4);
  EXPECT_GT(agent.mostAtOnce(), 8);
}

TEST_F(FleetTest, AHostThatTakesNoConnectionsDelaysNobody) {
  const Socket deaf = listenOnLoopback(0);
  std::vector<Socket> waiting;  // until the queue is full, and what else comes is dropped
  do waiting.push_back(connectTo(portOf(deaf), milliseconds(200)));
  while (waiting.back().open() && waiting.size() < 16);
  ASSERT_FALSE(waiting.back().open());
  const std::string at = "127.0.0.1:" + std::to_string(portOf(deaf));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(-1, notify({at, agent.endpoint()}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(2500));
  EXPECT_THAT(reply, MatchesRegex(at + " failed: timed out while connecting [0-9]+ ms\n"
                                       "[^\n]* ok [0-9]?[0-9]?[0-9] ms\n"));
}

TEST_F(FleetTest, WithoutDescriptorsTheAgentIsNotBlamed) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  std::vector<Socket> all;
  const rlimit tight{100, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &tight);
  do all.emplace_back(dup(0));
  while (all.back().open());
  const bool told = AgentSOAPClient::UnregisterNotify(agent.endpoint().c_str());
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(told);
  EXPECT_THAT(home.newLog(), HasSubstr("no descriptors are left"));
}

TEST_F(FleetTest, PatchNotificationGoesToTheScannersThatAreSet) {
  const std::string at = agent.endpoint();
  EXPECT_EQ(1, AgentSOAPClient::PatchSetNotify("patch", reply));
  EXPECT_THAT(home.newLog(), HasSubstr("scanners in section agent"));
  Home::set("agent", "scanners", " " + at + ",\t" + at + "/2 ," + at);
  EXPECT_EQ(0, AgentSOAPClient::PatchSetNotify("<patch id='\u00e4'/>", reply));
  EXPECT_THAT(agent.lastRequest(), HasSubstr("<notification>&lt;patch id='\u00e4'/&gt;</notif"));
  EXPECT_EQ(2, agent.requests());
  Home::set("agent", "scanners", at + "," + at + "/no");
  EXPECT_EQ(-1, AgentSOAPClient::PatchSetNotify("patch", reply));
  EXPECT_EQ(-2, AgentSOAPClient::PatchSetNotify("\x01", reply));
  EXPECT_EQ(4, agent.requests());
}

}  // namespace
