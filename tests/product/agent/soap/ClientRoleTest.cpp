// The reference agent, driven by a SOAP stack that knows nothing but the description it serves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Agent.h"
#include "support/TempDir.h"

namespace {

TEST(ClientRoleTest, EveryOperationIsServedToAStrangersClient) {
  const TempDir dir;
  const std::string message = "Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe_<&>?=\r\n\r\ntext\r\n";
  dir.write("spool/quarantine/ä \"<&>\".eml", message);
  dir.write("spool/postponed/late.eml", "Subject: late\n\ntext\n");
  dir.write("log/maillog", "Nov  1 10:00:00 gate a <1>\nNov  2 10:00:00 gate a <2>\n");
  std::filesystem::create_directory(dir.path("exports"));
  const Agent agent({"--spool", dir.path("spool"), "--maillog", dir.path("log/maillog"), "--export",
                     dir.path("exports")});
  const Server::Words client = {"/usr/bin/env", "node",
                                VESK_SOURCE_DIR "/tests/product/agent/soap/client.js",
                                agent.endpoint(), dir.path("exports")};
  EXPECT_EQ(0, Server::run(client, dir.path("out"))) << dir.read("out");
  EXPECT_EQ(message, dir.read("exports/m.eml"));
  EXPECT_THAT(agent.events(), testing::HasSubstr("PatchSetNotify <patch id=\"1\"/> ü\n"));
}

}  // namespace
