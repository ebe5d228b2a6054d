// Against a real server with the sample company in it. The cases share one; those that need it
// otherwise start their own.
#ifndef VESK_TESTS_PRODUCT_DIRECTORY_TEST_H
#define VESK_TESTS_PRODUCT_DIRECTORY_TEST_H

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "product/directory.h"
#include "support/Home.h"
#include "support/Slapd.h"

using Names = std::vector<std::string>;
using Connection = VESK::BvLDAPConnection;

constexpr const char* BASE = "dc=example,dc=com";
constexpr const char* ANN = "uid=ann,ou=people,dc=example,dc=com";
constexpr const char* ANN_SECRET = "secret-ann";
constexpr const char* STAR = "star*(x)\\y";
constexpr const char* LAB = "R&D (core*team) \\ lab, EMEA";

class DirectoryTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    server =
        std::make_unique<Slapd>(Slapd::Words{"--memberof"}, Slapd::Words{"--chain-depth", "10"});
  }
  static void TearDownTestSuite() { server.reset(); }

  void SetUp() override {
    for (const char* key : {"security", "ca_file", "page_size", "connect_timeout"}) set(key, "");
    set("operation_timeout", "20");
    VESK::BvLDAPScript::destroy();
    Home::instance().newLog();
  }

  static void set(const char* key, const std::string& value) {
    Home::instance();
    Home::set("LDAP", key, value);
  }

  struct Session : Connection {
    explicit Session(int port, LDAPVendor vendor = GENERIC) : Connection(vendor, SIMPLE) {
      EXPECT_EQ(0, connect("127.0.0.1", port, ANN, ANN_SECRET));
    }
  };

  // Runs a search, gives the number of entries or -1.
  static int entries(Connection& connection, const char* base, const char* filter, int scope = 2) {
    const char* attributes[] = {"uid", nullptr};
    VESK::BvLDAPSearchResults* results = nullptr;
    const int code = connection.search(base, scope, filter, attributes, &results);
    EXPECT_EQ(code == 0, results != nullptr);
    if (code != 0) return -1;
    const int size = results->size();
    connection.freeSearchResults(results);
    return size;
  }

  static Names namesOf(const GroupList& list) {
    Names names;
    for (const GroupRecord& group : list.groups) names.push_back(group.name);
    return names;
  }

  inline static std::unique_ptr<Slapd> server;
};

#endif
