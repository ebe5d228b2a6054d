// All fourteen operations, answered by a SOAP stack that knows nothing but the service description.
// What it answers is in server.js; it compares what arrives, types included.
#include <gtest/gtest.h>

#include "product/agent.h"
#include "support/Home.h"
#include "support/Network.h"
#include "support/Server.h"

namespace {

TEST(ServerRoleTest, EveryOperationIsUnderstoodAndItsAnswerToo) {
  Home& home = Home::instance();
  const int port = freePort();
  Server server;
  const std::string folder = VESK_SOURCE_DIR "/tests/product/agent/soap/";
  ASSERT_TRUE(server.start({"/usr/bin/env", "node", folder + "server.js",
                            VESK_SOURCE_DIR "/product/agent/agent.wsdl", std::to_string(port)},
                           port, home.dir.path("node.out")))
      << home.dir.read("node.out");
  const std::string at = "http://127.0.0.1:" + std::to_string(port);
  const char* agent = at.c_str();
  char reference[] = "Q/7 ä \"<&>\" \xED\xA0\xBD\xED\xB8\x80";
  char target[] = "m.eml";
  char header[AgentSOAPClient::headerSize];
  const std::string escaped = R"("reference":"Q/7 ä \"<&>\" )"
                              "\U0001F600\"";

  double sum = 0;
  EXPECT_TRUE(AgentSOAPClient::test(agent, 1980.1, -1e300, sum));
  EXPECT_EQ(1980.1 + -1e300, sum);
  int number = 0;
  EXPECT_TRUE(AgentSOAPClient::UnregisterNotify(agent));
  EXPECT_TRUE(AgentSOAPClient::sendServiceCmd(agent, -2147483648, number));
  EXPECT_EQ(-2147483647 - 1, number);
  EXPECT_TRUE(AgentSOAPClient::sendSysConfigEvnt(agent, 6, number));
  EXPECT_EQ(7, number);
  EXPECT_TRUE(AgentSOAPClient::sendQueueManagerAction(agent, 1, number));
  EXPECT_EQ(-1, number);

  std::string reply;
  Home::set("agent", "scanners", at);
  EXPECT_EQ(0, AgentSOAPClient::PatchSetNotify("<patch id=\"1\"/> ü", reply)) << reply;
  EXPECT_EQ(1, AgentSOAPClient::PostSetNotifyAllScanners({at}, reply)) << reply;

  EXPECT_TRUE(AgentSOAPClient::getWholeMsg(agent, reference, target, true));
  EXPECT_TRUE(AgentSOAPClient::getWholeMsg_PE(agent, reference, target));
  EXPECT_TRUE(AgentSOAPClient::getMsgHeader(agent, reference, false, header, true));
  EXPECT_EQ("{" + escaped + ",\"reserved\":false,\"archived\":true}", header);
  EXPECT_TRUE(AgentSOAPClient::getMsgHeader_PE(agent, reference, true, header));
  EXPECT_EQ("{" + escaped + ",\"reserved\":true}", header);

  std::string first(8193, '\0');
  std::string second(513, '\0');
  char* texts[] = {first.data(), second.data()};
  EXPECT_TRUE(
      AgentSOAPClient::getEUQMsgDetail(agent, reference, false, &texts[0], 8192, &texts[1], 512));
  EXPECT_EQ("{" + escaped + ",\"archived\":false,\"firstSize\":8192,\"secondSize\":512}", texts[0]);
  EXPECT_STREQ("", texts[1]);
  EXPECT_TRUE(
      AgentSOAPClient::getEUQMsgDetail_PE(agent, reference, &texts[0], 8192, &texts[1], 256));
  EXPECT_STREQ("Q/7 ä \"<&>\" \U0001F600", texts[0]);
  EXPECT_EQ("{" + escaped + ",\"firstSize\":8192,\"secondSize\":256}", texts[1]);

  char keyword[] = "";
  char fileName[AgentSOAPClient::fileNameSize] = "maillog";
  std::string events(2 * AgentSOAPClient::bytesPerEvent + 1, '\0');
  int paging[9] = {};
  EXPECT_TRUE(AgentSOAPClient::getMTALog(agent, keyword, fileName, events.data(), 1, paging, 2, 3,
                                         4, 5, 6, 7, -1, -2147483648, 2026));
  EXPECT_STREQ("maillog.1", fileName);
  EXPECT_STREQ(R"({"keyword":"","fileName":"maillog","mode":1,"pagesize":2,"pagecount":3,)"
               R"("totalcount":4,"pagenumber":5,"starttime":6,"endtime":7,"inode":"4294967295",)"
               R"("offset":"2147483648","year":2026})"
               "\n<ü>\n",
               events.c_str());
  EXPECT_EQ((std::vector{2, 3, 4, 5, 6, 7, -1, -2147483647 - 1, 2026}),
            std::vector<int>(paging, paging + 9));
}

}  // namespace
