#include "CorsaJNI.h"

#include <cstdlib>

#include "JvmTest.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_CorsaJNI.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

struct CorsaJNITest : JvmTest {
  std::string keyFile = GetPublicKeyFileName();

  jint check() {
    jstring session = text(u"tok\u00e9n");
    product.calls.clear();
    return bridge([&] { return PEER(CorsaJNI, isSessionFromCORSA)(env, nullptr, session); });
  }
  // Answers for the GUID that the last accepted session left.
  std::string answer() {
    jstring session = text(u"t");
    product.calls.clear();
    const auto response = PEER(CorsaJNI, CreateReponse)(env, nullptr, session);
    const char* utf = env->GetStringUTFChars(response, nullptr);
    std::string copy = utf;
    env->ReleaseStringUTFChars(response, utf);
    return copy;
  }
  static Calls tried(const std::string& guid, const std::string& code, const std::string& words,
                     const std::string& file) {
    return {"log 3 CORSAJNI::GUID=" + guid, "session tok\xC3\xA9n " + file + " 300", "guid:" + guid,
            "log 3 CORSAJNI::En_SSO_PKI_IsSessionExpired result=" + code + ",msg=" + words};
  }
};

TEST_F(CorsaJNITest, TheFirstGuidThatMatchesIsKeptForTheAnswer) {
  product.rows = {"g1", "g2", "g3"};
  product.answers = {{"guid:g1", -6}, {"guid:g2", 0}};
  EXPECT_EQ(0, check());
  Calls expected{
      "log 3 CORSAJNI::isSessionFromCorsa Enter",
      "log 3 CORSAJNI::pSessionData=tok\xC3\xA9n",
      "log 3 CORSAJNI::GetGuids Enter",
      "database 1",
      "connect driver server base user 30 1 10 0",
      "prepare select value from tb_global_setting where section='cmagent' and notes='Guid';",
      "query"};
  for (const char* guid : {"g1", "g2", "g3"}) {
    expected.push_back("column value");
    expected.push_back(std::string("log 3 CORSAJNI::GetGuids guid=") + guid);
  }
  for (const std::string& line :
       {std::string("release"), std::string("log 3 CORSAJNI::GetGuids Leave"),
        std::string("delete database"), "log 3 CORSAJNI::public key file is " + keyFile}) {
    expected.push_back(line);
  }
  for (const Calls& calls :
       {tried("g1", "-6", "wrong guid", keyFile), tried("g2", "0", "success", keyFile)}) {
    expected.insert(expected.end(), calls.begin(), calls.end());
  }
  expected.push_back("log 3 CORSAJNI::isSessionFromCorsa ture,leave");
  EXPECT_EQ(expected, product.calls);

  product.name = "answer";
  EXPECT_EQ("answer", answer());
  EXPECT_EQ(
      (Calls{"log 3 CORSAJNI::CreateReponse Enter", "log 3 CORSAJNI::CreateReponse pSessionData=t",
             "log 3 CORSAJNI::CreateReponse public key file is " + keyFile,
             "respond 'g2' t " + keyFile, "log 3 CORSAJNI::CreateReponse Response=answer"}),
      product.calls);
}

TEST_F(CorsaJNITest, CodesOfSessions) {
  const std::tuple<std::vector<std::string>, std::map<std::string, int>, jint> rows[] = {
      {{"a", "b"}, {{"guid:a", -6}, {"guid:b", -6}}, -6},
      {{"a", "b"}, {{"guid:a", -4}, {"guid:b", -6}}, -6},
      {{"a", "b"}, {{"guid:a", -6}, {"guid:b", -3}}, -3},
      {{"a"}, {{"guid:a", -4}}, -4},
      {{"a"}, {{"guid:a", 7}}, 7},
      {{"a", "b"}, {{"guid:a", -1}, {"guid:b", 0}}, 0},  // expired counts as the console's
      {{}, {}, 513},
      {{"a"}, {{"connect", 1}}, 513},
      {{"a"}, {{"prepare", 1}}, 513},
      {{"a"}, {{"query", 1}}, 513},
      {{"a"}, {{"column", 1}}, 513},
      {{"a", std::string("\0", 1), "b"}, {{"guid:a", -2}, {"guid:b", 0}}, -2},
  };
  for (const auto& [guids, answers, code] : rows) {
    product.rows = guids;
    product.answers = answers;
    EXPECT_EQ(code, check());
    EXPECT_EQ(code == 513 ? "log 3 CORSAJNI::isSessionFromCorsa Guids is empty,leave"
              : code == 0 ? "log 3 CORSAJNI::isSessionFromCorsa ture,leave"
                          : "log 3 CORSAJNI::isSessionFromCorsa false,leave",
              product.calls.back());
  }
  answer();
  EXPECT_EQ("respond 'a' t " + keyFile, product.calls.at(3));
}

TEST_F(CorsaJNITest, GuidsAreCountedWithThoseThatWereThere) {
  std::vector<std::string> guids{"before"};
  product.rows = {"a"};
  EXPECT_EQ(2, GetGuids(guids));
  product.answers["connect"] = 1;
  EXPECT_EQ(-2, GetGuids(guids));
  EXPECT_EQ("log 3 CORSAJNI::GetGuids connect (driver,server,base,user) failed",
            product.calls[product.calls.size() - 2]);
  product.answers = {{"prepare", 1}};
  EXPECT_EQ(-3, GetGuids(guids));
  EXPECT_EQ((std::vector<std::string>{"before", "a"}), guids);
}

TEST_F(CorsaJNITest, MessagesOfCodes) {
  const char* messages[] = {"success",        "session expired", "wrong destinaton",
                            "invalid source", "decrypt fail",    "wrong session",
                            "wrong guid",     "wrong args",      "Unknown"};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(messages[i], GetSSOPKIMessage(-i));
  EXPECT_EQ("Unknown", GetSSOPKIMessage(1));
}

// Once looked up it stays, so that each look starts in a process of its own.
TEST(CorsaKeyFileTest, IsBelowTheInstallRootOfTheFirstCall) {
  const auto look = [](const char* home) {
    home == nullptr ? unsetenv("VESK_HOME") : setenv("VESK_HOME", home, 1);
    const std::string first = GetPublicKeyFileName();
    setenv("VESK_HOME", "/later", 1);
    std::fprintf(stderr, "%s|%s", first.c_str(), GetPublicKeyFileName().c_str());
    std::_Exit(0);
  };
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(look("/x"), testing::ExitedWithCode(0),
              "^/x/config/SSO_PKI_PublicKey.pem./x/config/SSO_PKI_PublicKey.pem$");
  EXPECT_EXIT(look(nullptr), testing::ExitedWithCode(0),
              "^/opt/brelvik/vesk/config/SSO_PKI_PublicKey.pem.");
}

}  // namespace
