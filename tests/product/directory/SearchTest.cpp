#include "DirectoryTest.h"

namespace {

using namespace std::string_literals;

class SearchTest : public DirectoryTest {};

TEST_F(SearchTest, LastErrorTellsBaseAndLimitFromTheRest) {
  const Slapd limited({"--sizelimit", "50"});
  const struct {
    int port;
    const char* base;
    const char* filter;
    int entries;
    int lastError;
  } table[] = {
      {server->port(), BASE, "(uid=ann)", 1, 0},
      {server->port(), BASE, "(uid=nobody)", 0, 0},
      {server->port(), "ou=none,dc=example,dc=com", "(uid=ann)", -1, 2},
      {server->port(), "dc=example,dc=org", "(uid=ann)", -1, 2},
      {server->port(), "no DN", "(uid=ann)", -1, 2},
      {server->port(), BASE, "(uid=ann", -1, 1},
      {limited.port(), BASE, "(uid=*)", -1, 3},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.base << " " << row.filter);
    Session session(row.port);
    EXPECT_EQ(row.entries, entries(session, row.base, row.filter));
    EXPECT_EQ(row.lastError, session.getLastError());
    EXPECT_EQ(1, entries(session, BASE, "(uid=ann)"));
    EXPECT_EQ(0, session.getLastError());
  }
}

TEST_F(SearchTest, PagesGoBeyondTheServersLimit) {
  const Slapd limited({"--sizelimit", "50", "--paged-unlimited"});
  for (const int size : {7, 50}) {
    set("page_size", std::to_string(size));
    Session session(limited.port(), Connection::OPENLDAP);
    const int before = limited.searches();
    EXPECT_EQ(300, entries(session, BASE, "(objectClass=inetOrgPerson)"));
    EXPECT_EQ((300 + size - 1) / size, limited.searches() - before);
  }
}

TEST_F(SearchTest, ScopeIsTheStandardNumber) {
  Session session(server->port());
  EXPECT_EQ(1, entries(session, BASE, "(objectClass=*)", 0));
  EXPECT_EQ(2, entries(session, BASE, "(objectClass=*)", 1));
  EXPECT_EQ(1, entries(session, "ou=people,dc=example,dc=com", "(uid=ann)", 1));
  EXPECT_EQ(0, entries(session, BASE, "(uid=ann)", 1));
}

TEST_F(SearchTest, EntryHasEveryValueAndNoOther) {
  Session session(server->port());
  const char* attributes[] = {"mail", "telephoneNumber", nullptr};
  VESK::BvLDAPEntry* entry = nullptr;
  ASSERT_EQ(0, session.getEntry(ANN, attributes, &entry));
  VESK::BvLDAPAttribute* mail = nullptr;
  ASSERT_EQ(0, entry->getAttribute("MAIL", &mail));
  ASSERT_EQ(3, mail->size());
  EXPECT_STREQ("ann@example.com", mail->getValue(0));
  EXPECT_STREQ("a.archer@example.com", mail->getValue(2));
  EXPECT_EQ(nullptr, mail->getValue(3));
  EXPECT_EQ(nullptr, mail->getValue(-1));
  for (const char* absent : {"telephoneNumber", "uid"}) {  // not there, not asked for
    EXPECT_NE(0, entry->getAttribute(absent, &mail));
    EXPECT_EQ(nullptr, mail);
  }
  session.freeEntry(entry);
  EXPECT_NE(0, session.getEntry("uid=nobody,dc=example,dc=com", attributes, &entry));
  EXPECT_EQ(nullptr, entry);
  EXPECT_EQ(2, session.getLastError());
}

TEST_F(SearchTest, BytesHaveATextAndStayWhole) {
  const std::string sid("\1\2\0\0\0\0\0\5\x20\0\0\0\xFE\xFF\xFF\xFF", 16);
  const struct {
    const char* attribute;
    std::string bytes;
    const char* text;
  } table[] = {
      {"objectSid", sid, "S-1-5-32-4294967294"},
      {"TOKENGROUPS;x", sid, "S-1-5-32-4294967294"},
      {"objectSid", sid.substr(1), "AgAAAAAABSAAAAD+////"},
      {"jpegPhoto", sid, "AQIAAAAAAAUgAAAA/v///w=="},
      {"objectGUID", sid, "00000201-0000-0500-2000-0000feffffff"},
      {"objectGUID", "0123456789abcdef", "33323130-3534-3736-3839-616263646566"},
      {"cn", "M\xFCller", "TfxsbGVy"},
      {"cn", "\xED\xA1\x82\xED\xBE\xB7", "7aGC7b63"},
      {"cn", "a\0b"s, "YQBi"},
      {"cn", "Müller 𠮷 \x01", "Müller 𠮷 \x01"},
      {"cn", "", ""},
  };
  for (const auto& row : table) {
    const VESK::BvLDAPAttribute attribute(row.attribute, {"first", row.bytes});
    EXPECT_STREQ(row.text, attribute.getValue(1)) << row.attribute;
    EXPECT_EQ(row.bytes, attribute.getBytes(1)) << row.attribute;
    EXPECT_EQ(nullptr, attribute.getBytes(2).data());
  }
}

TEST_F(SearchTest, VisitorEndsTheSearchEarly) {
  set("page_size", "10");
  Session session(server->port());
  const int before = server->searches();
  int seen = 0;
  EXPECT_EQ(0, session.visit(BASE, 2, "(uid=*)", nullptr,
                             [&](VESK::BvLDAPEntry&) { return ++seen < 3; }));
  EXPECT_EQ(3, seen);
  EXPECT_EQ(before + 1, server->searches());
  EXPECT_EQ(1, entries(session, BASE, "(uid=ann)"));
}

TEST_F(SearchTest, DisconnectedSessionFails) {
  Session session(server->port());
  session.disconnect();
  EXPECT_EQ(-1, entries(session, BASE, "(uid=ann)"));
  EXPECT_NE(0, session.authenticate(ANN, ANN_SECRET));
  session.disconnect();
}

}  // namespace
