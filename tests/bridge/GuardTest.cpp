// Hostile values at every method that runs a shell, with the guard in each of its states.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>

#include "Command.h"
#include "JvmTest.h"
#include "Seams.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_BackupJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PolicyJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"

namespace {

#define PEER(class, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##class##_##method

// Where a method's values stand.
enum Quotes : unsigned { bare = 1, doubled = 2, single = 4 };

struct Hostile {
  const char16_t* value;
  unsigned acts;  // in which quotes the shell acts on it
};

const Hostile hostile[] = {
    {u"a;id", bare},
    {u"a|id", bare},
    {u"a&id", bare},
    {u"a&&id", bare},
    {u"a>x", bare},
    {u"a</etc/passwd", bare},
    {u"a\nid", bare},
    {u"a b", bare},
    {u"a\tb", bare},
    {u"(id)", bare},
    {u"*", bare},
    {u"a?", bare},
    {u"[a-z]", bare},
    {u"~root", bare},
    {u"#rest", bare},
    {u"$(id)", bare | doubled},
    {u"$HOME", bare | doubled},
    {u"`id`", bare | doubled},
    {u"\";id;\"", bare | doubled},
    {u"a\\", bare | doubled},
    {u"';id;'", bare | single},
    {u"{a,b}", bare},
    {u"m\u00fcnchen-1.2_3:4/5@6+7,8%9=", 0},
    {u"", 0},
};

struct Method {
  std::string name;
  Quotes quotes;
  std::size_t values;
  std::function<jint(JNIEnv*, jstring*, jobject)> call;
};

#define TAKES_1(class, method, quotes) \
  {#class "." #method, quotes, 1,      \
   [](JNIEnv* e, jstring* v, jobject) { return PEER(class, method)(e, nullptr, v[0]); }},
#define TAKES_2(class, method, quotes) \
  {#class "." #method, quotes, 2,      \
   [](JNIEnv* e, jstring* v, jobject) { return PEER(class, method)(e, nullptr, v[0], v[1]); }},
#define TAKES_3(class, method, quotes)                                 \
  {#class "." #method, quotes, 3, [](JNIEnv* e, jstring* v, jobject) { \
     return PEER(class, method)(e, nullptr, v[0], v[1], v[2]);         \
   }},
#define LISTS_1(class, method, quotes)                                      \
  {#class "." #method, quotes, 1, [](JNIEnv* e, jstring* v, jobject list) { \
     return PEER(class, method)(e, nullptr, v[0], list);                    \
   }},

const Method methods[] = {
    // clang-format off
    TAKES_1(WzrdJNI, setHostname, doubled)
    TAKES_1(WzrdJNI, setIPAddr, doubled)
    TAKES_1(WzrdJNI, setIPMask, doubled)
    TAKES_1(WzrdJNI, setIpv4Gateway, doubled)
    TAKES_1(WzrdJNI, setIpv6Gateway, doubled)
    TAKES_1(WzrdJNI, setIpv4DNS1, doubled)
    TAKES_1(WzrdJNI, setIpv4DNS2, doubled)
    TAKES_1(WzrdJNI, setIpv6DNS1, doubled)
    TAKES_1(WzrdJNI, setIpv6DNS2, doubled)
    TAKES_1(WzrdJNI, setICPort, doubled)
    TAKES_3(WzrdJNI, setIFV4Addr, doubled)
    TAKES_3(WzrdJNI, setIFV6Addr, doubled)
    LISTS_1(WzrdJNI, getIFV4Addr, bare)
    LISTS_1(WzrdJNI, getIFV4NetMask, bare)
    LISTS_1(WzrdJNI, getIFV6AddrMask, bare)
    LISTS_1(WzrdJNI, getCountryList, doubled)
    {"WzrdJNI.getCityList", doubled, 2, [](JNIEnv* e, jstring* v, jobject list) {
       return PEER(WzrdJNI, getCityList)(e, nullptr, v[0], v[1], list); }},
    TAKES_3(WzrdJNI, setTimeZone, bare)
    TAKES_1(WzrdJNI, setDateTime, doubled)
    TAKES_1(WzrdJNI, chkMasterDB, doubled)
    LISTS_1(WzrdJNI, getParentVersion, doubled)
    TAKES_1(WzrdJNI, regToMaster, doubled)
    TAKES_1(PostfixJNI, postmap, bare)
    TAKES_1(PostfixJNI, isKeyConfigured, doubled)
    LISTS_1(PostfixJNI, getPostconf, doubled)
    TAKES_2(PostfixJNI, setPostconf, single)
    {"PostfixJNI.checkPEMFormat", bare, 1, [](JNIEnv* e, jstring* v, jobject) {
       return PEER(PostfixJNI, checkPEMFormat)(e, nullptr, v[0], JNI_TRUE); }},
    TAKES_3(PolicyJNI, notifyUpdatePolicyNow, bare)
    TAKES_1(BackupJNI, doExport, single)
    TAKES_2(BackupJNI, doImport, single)
    // clang-format on
};

struct GuardTest : JvmTest {
  void SetUp() override {
    JvmTest::SetUp();
    seams.output = "answer\n";
  }
  void TearDown() override {
    setGuard("off");
    JvmTest::TearDown();
  }

  struct Outcome {
    jint code = 0;
    Calls calls, guardLines;
  };
  // The method with the hostile value at one place and harmless ones elsewhere.
  Outcome call(const Method& method, std::size_t place, const char16_t* value, const char* mode) {
    setGuard(mode);
    env->PushLocalFrame(16);
    jstring values[3] = {text(u"eth0"), text(u"one"), text(u"two")};
    values[place] = text(value);
    product.calls.clear();
    Outcome outcome;
    outcome.code = method.call(env, values, newList());
    for (const std::string& line : product.calls) {
      const bool ofGuard = line.find("guard: ") != std::string::npos;
      (ofGuard ? outcome.guardLines : outcome.calls).push_back(line);
    }
    env->PopLocalFrame(nullptr);
    return outcome;
  }
  void compare(const Method& method, std::size_t place, const Hostile& one) {
    const bool acts = (one.acts & method.quotes) != 0;
    const Outcome off = call(method, place, one.value, "off");
    EXPECT_THAT(off.guardLines, testing::IsEmpty());
    ASSERT_THAT(off.calls, testing::Not(testing::IsEmpty()));
    const Outcome audit = call(method, place, one.value, "audit");
    EXPECT_EQ(off.code, audit.code);
    EXPECT_EQ(off.calls, audit.calls);
    EXPECT_EQ(acts ? 1U : 0U, audit.guardLines.size());
    const Outcome enforce = call(method, place, one.value, "enforce");
    EXPECT_EQ(acts ? 500 : off.code, enforce.code);
    EXPECT_EQ(acts ? Calls{} : off.calls, enforce.calls);
    ASSERT_EQ(acts ? 1U : 0U, enforce.guardLines.size());
    if (!acts) return;
    const std::string from = "guard: " + method.name;
    EXPECT_THAT(audit.guardLines[0], testing::HasSubstr(from + " passes on a value with "));
    EXPECT_THAT(enforce.guardLines[0], testing::HasSubstr(from + " refuses a value with "));
  }
};

std::string contentOf(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// Of every module that runs commands, the methods that are given a text, as "Class.method".
std::set<std::string> methodsWithTexts() {
  std::set<std::string> names;
  for (const auto& module : std::filesystem::directory_iterator(VESK_SOURCE_DIR "/src")) {
    if (contentOf(module.path()).find("#include \"Command.h\"") == std::string::npos) continue;
    const std::string peer = module.path().stem();
    const std::string header = contentOf(std::string(VESK_PEER_HEADERS) +
                                         "/com_brelvik_vesk_ui_modelobjects_jni_" + peer + ".h");
    const std::regex declaration("jni_" + peer + "_(\\w+)\\s*\\(([^)]*)\\)");
    for (std::sregex_iterator found(header.begin(), header.end(), declaration), end; found != end;
         ++found) {
      if ((*found)[2].str().find("jstring") != std::string::npos) {
        names.insert(peer + "." + (*found)[1].str());
      }
    }
  }
  return names;
}

TEST_F(GuardTest, TheTableHasAllButThoseThatRunNothing) {
  std::set<std::string> known{"WzrdJNI.checkIPAddr",      "WzrdJNI.checkGateway",
                              "WzrdJNI.checkDNS",         "PostfixJNI.exportPEMFile",
                              "PostfixJNI.getPEMFile",    "PostfixJNI.composeClientRestrictionFile",
                              "PolicyJNI.validateKeyword"};
  for (const Method& method : methods) known.insert(method.name);
  EXPECT_EQ(methodsWithTexts(), known);
}

TEST_F(GuardTest, EveryMethodThatRunsAShell) {
  for (const Method& method : methods) {
    for (std::size_t place = 0; place < method.values; ++place) {
      for (const Hostile& one : hostile) {
        SCOPED_TRACE(method.name + " " + std::to_string(place) + " " +
                     std::to_string(&one - hostile));
        compare(method, place, one);
      }
    }
  }
}

// The shell decides what is harmless: what the guard lets through arrives as it was.
TEST_F(GuardTest, WhatPassesArrivesAsItIs) {
  setGuard("enforce");
  seams.realShell = true;
  for (const char* format : {"%s %s", "%s \"%s\"", "%s '%s'"}) {
    int passed = 0;
    for (char letter = 1; letter != 127; ++letter) {
      for (const std::string& value : {std::string{letter}, std::string{'a', letter, 'b'}}) {
        CommandLine command("Peer.method", postfixCommandSize);
        if (!command.format(format, "printf %s", value.c_str())) continue;
        ++passed;
        OutputLine output;
        ASSERT_EQ(0, readFirstLine(command.c_str(), output));
        const std::size_t lineBreak = value.find('\n');  // only the first line is read
        const bool oneLine = lineBreak == std::string::npos;
        EXPECT_EQ(oneLine ? value : value.substr(0, lineBreak + 1), output.text) << command.c_str();
      }
    }
    EXPECT_GT(passed, 180) << format;
  }
}

TEST_F(GuardTest, TheSettingIsReadAtTheStart) {
  const auto codeWith = [&](const char* word) {
    product.settings["bridge/guard"] = word;
    EXPECT_EQ(0, PEER(JniInit, initializeJNI)(env, nullptr));
    return PEER(WzrdJNI, setHostname)(env, nullptr, text(u"a`id`"));
  };
  EXPECT_EQ(0, codeWith(""));
  EXPECT_EQ(0, codeWith("off"));
  EXPECT_EQ(0, codeWith("Audit"));
  EXPECT_EQ(500, codeWith("ENFORCE"));
  EXPECT_EQ(0, codeWith("off"));
  EXPECT_EQ(500, codeWith("yes"));  // somebody wanted a guard
}

}  // namespace
