// Servers that do not answer, or not to the end.
#include <filesystem>
#include <string_view>
#include <thread>

#include "DirectoryTest.h"
#include "support/TcpProxy.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;
using std::chrono::steady_clock;

class FaultTest : public DirectoryTest {
 protected:
  void SetUp() override {
    DirectoryTest::SetUp();
    set("connect_timeout", "1");
    set("operation_timeout", "1");
  }

  template <typename Call>
  static std::chrono::milliseconds timeOf(Call call) {
    const auto start = steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start);
  }

  static auto openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }
};

constexpr auto SLACK = 2s;  // for a busy machine
constexpr int BIND_ANSWER = 14;

// An entry "o=x" whose attribute "uid" has a number for its values, and the end of the answer.
constexpr std::string_view BROKEN_ENTRY =
    "\x30\x16\x02\x01\x02\x64\x11\x04\x03o=x\x30\x0a\x30\x08\x04\x03uid\x02\x01\x05"
    "\x30\x0c\x02\x01\x02\x65\x07\x0a\x01\x00\x04\x00\x04\x00"sv;

TEST_F(FaultTest, EachCallEndsInTimeWithACodeAndKeepsNothing) {
  const struct {
    const char* name;
    TcpProxy::Fault fault;
    bool binds;
  } table[] = {
      {"never answers", {0, TcpProxy::STALLS}, false},
      {"hangs up", {0, TcpProxy::CLOSES}, false},
      {"answers garbage", {0, TcpProxy::STALLS, "HTTP/1.1 400 Bad Request\r\n\r\n"}, false},
      {"announces 4 GiB", {0, TcpProxy::STALLS, "\x30\x84\xff\xff\xff\xff"}, false},
      {"hangs up in the answer to the bind", {7, TcpProxy::CLOSES}, false},
      {"hangs up in a listing", {BIND_ANSWER + 5000, TcpProxy::CLOSES}, true},
      {"stalls in a listing", {BIND_ANSWER + 5000, TcpProxy::STALLS}, true},
      {"garbage in a listing",
       {BIND_ANSWER + 5000, TcpProxy::STALLS, std::string(3000, '\xff')},
       true},
      {"breaks an entry", {BIND_ANSWER, TcpProxy::STALLS, std::string(BROKEN_ENTRY)}, true},
      {"drips", {0, TcpProxy::GOES_ON, "", 100, 50ms}, true},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.name);
    const auto before = openDescriptors();
    {
      const TcpProxy proxy(server->port(), row.fault);
      Connection connection(Connection::GENERIC, Connection::SIMPLE);
      int code = -1;
      const auto connecting =
          timeOf([&] { code = connection.connect("127.0.0.1", proxy.port(), ANN, ANN_SECRET); });
      EXPECT_EQ(row.binds, code == 0);
      EXPECT_LT(connecting, 1s + SLACK);
      int found = 0;
      const auto searching =
          timeOf([&] { found = entries(connection, BASE, "(objectClass=inetOrgPerson)"); });
      EXPECT_EQ(-1, found);
      EXPECT_EQ(1, connection.getLastError());
      EXPECT_LT(searching, 1s + SLACK);
      // The same object is as good as new on a sound network.
      EXPECT_EQ(0, connection.connect("127.0.0.1", server->port(), ANN, ANN_SECRET));
      EXPECT_EQ(300, entries(connection, BASE, "(objectClass=inetOrgPerson)"));
    }
    EXPECT_EQ(before, openDescriptors());
  }
}

TEST_F(FaultTest, LookUpOfManyRequestsEndsInTime) {
  // Each answer is in time by itself.
  const TcpProxy proxy(server->port(), {0, TcpProxy::GOES_ON, "", 65536, 400ms});
  Session session(proxy.port());
  GroupList list;
  const auto time = timeOf([&] {
    EXPECT_NE(0, GroupDAO().getAllParentGroupsByUserName(&session, BASE, "p00001", list));
  });
  EXPECT_LT(time, 1s + SLACK);
  EXPECT_EQ(0u, list.size());
}

// The next entry is always there already.
TEST_F(FaultTest, SlowReaderEndsInTime) {
  Session session(server->port());
  const auto time = timeOf([&] {
    EXPECT_NE(
        0, session.visit(BASE, 2, "(objectClass=inetOrgPerson)", nullptr, [](VESK::BvLDAPEntry&) {
          std::this_thread::sleep_for(20ms);
          return true;
        }));
  });
  EXPECT_LT(time, 1s + SLACK);
}

TEST_F(FaultTest, ConnectEndsInTime) {
  const TcpProxy silent(server->port(), {0, TcpProxy::STALLS});
  const Socket full = listenOnLoopback(0);
  const Socket first = connectTo(portOf(full), 100ms);
  const Socket second = connectTo(portOf(full), 100ms);
  const struct {
    const char* security;
    int port;
  } table[] = {{"none", portOf(full)}, {"starttls", silent.port()}, {"ldaps", silent.port()}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.security);
    set("security", row.security);
    Connection connection(Connection::GENERIC, Connection::SIMPLE);
    const auto time = timeOf([&] { EXPECT_NE(0, connection.connect("127.0.0.1", row.port)); });
    EXPECT_GT(time, 900ms);
    EXPECT_LT(time, 1s + SLACK);
  }
}

}  // namespace
