#include "com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI.h"

#include <algorithm>

#include "JvmTest.h"
#include "RestrictionFile.h"
#include "Seams.h"
#include "support/TempDir.h"

namespace {

using Texts = std::vector<std::u16string>;

#define POSTFIX(method) Java_com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI_##method

struct PostfixJNITest : JvmTest {
  jint isSet(const std::u16string& key) {
    jstring name = text(key);
    product.calls.clear();
    return bridge([&] { return POSTFIX(isKeyConfigured)(env, nullptr, name); });
  }
};

TEST_F(PostfixJNITest, ValueIsWhatStandsBehindTheFirstSignAndItsBlank) {
  const std::pair<std::string, std::u16string> lines[] = {
      {"key = 10\n", u"10"},     {"key = a b = c\nkey2 = x\n", u"a b = c"},
      {"key =\n", u""},          {"key = \n", u""},
      {"no sign at all", u""},   {"key = no newline", u"no newline"},
      {"keylonger = 7\n", u"7"},
  };
  jstring key = text(u"key");
  for (const auto& [output, value] : lines) {
    seams.output = output;
    product.calls.clear();
    jobject list = newList();
    EXPECT_EQ(0, bridge([&] { return POSTFIX(getPostconf)(env, nullptr, key, list); }));
    EXPECT_EQ((Calls{"popen r postconf | grep \"^key\"", "pclose"}), product.calls);
    EXPECT_EQ(Texts{value}, texts(list)) << output;
  }
  seams.output = "";
  EXPECT_EQ(102, POSTFIX(getPostconf)(env, nullptr, key, newList()));
  seams.popenFails = true;
  EXPECT_EQ(101, POSTFIX(getPostconf)(env, nullptr, key, newList()));
}

TEST_F(PostfixJNITest, KeyIsSetOnlyWhenTheFirstLineIsItsOwn) {
  seams.output = "myhostname = mx1\nmyhost = y\n";
  EXPECT_EQ(0, isSet(u"myhostname"));
  EXPECT_EQ((Calls{"popen r postconf -n | grep \"^myhostname\"", "pclose"}), product.calls);
  EXPECT_EQ(103, isSet(u"myhost"));
  EXPECT_EQ(103, isSet(std::u16string(2000, u'k')));
  seams.output = "";
  EXPECT_EQ(103, isSet(u"myhostname"));
  seams.popenFails = true;
  EXPECT_EQ(101, isSet(u"myhostname"));
}

TEST_F(PostfixJNITest, ToolsAreRunAndTheirStatusIsNotTold) {
  jstring a = text(u"/maps/x");
  jstring b = text(u"it's $x");
  seams.status = 256;
  EXPECT_EQ(0, bridge([&] { return POSTFIX(postmap)(env, nullptr, a); }));
  EXPECT_EQ(0, bridge([&] { return POSTFIX(setPostconf)(env, nullptr, a, b); }));
  EXPECT_EQ(0, POSTFIX(postfixReload)(env, nullptr));
  EXPECT_EQ(102, POSTFIX(isPostfixExist)(env, nullptr));
  EXPECT_EQ((Calls{"system postmap /maps/x", "system postconf -e '/maps/x=it's $x'",
                   "system postfix reload", "popen r which postconf", "pclose"}),
            product.calls);
  product.calls.clear();
  EXPECT_EQ(0, POSTFIX(exportPEMFile)(env, nullptr, a, a, a, a, a));
  EXPECT_EQ(0, POSTFIX(getPEMFile)(env, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(500, POSTFIX(setPostconf)(env, nullptr, a, nullptr));
  EXPECT_EQ(500, POSTFIX(getPostconf)(env, nullptr, nullptr, newList()));
  EXPECT_EQ(Calls{}, product.calls);
  // An empty value would be another command.
  b = text(std::u16string(512, u'1'));
  seams.mallocFails = true;
  EXPECT_EQ(100, bridge([&] { return POSTFIX(setPostconf)(env, nullptr, a, b); }));
  seams.mallocFails = false;
  EXPECT_EQ(Calls{"log 1 PostfixJNI.setPostconf: out of memory; restart the console and watch its "
                  "memory"},
            product.calls);
}

TEST_F(PostfixJNITest, CertificateIsWhatTheVerifierSays) {
  jstring path = text(u"/etc/x.pem");
  const auto check = [&](jboolean isKey) {
    product.calls.clear();
    return bridge([&] { return POSTFIX(checkPEMFormat)(env, nullptr, path, isKey); });
  };
  EXPECT_EQ(0, check(JNI_TRUE));
  const std::string command = "/vesk/bin/pemverify -k /etc/x.pem";
  EXPECT_EQ((Calls{"log 4 begin to execute cmd [" + command + "]", "system " + command}),
            product.calls);
  for (const auto& [status, code] : {std::pair{512, 2}, {-1, 255}}) {
    seams.status = status;
    EXPECT_EQ(105, check(JNI_FALSE));
    EXPECT_EQ((Calls{"log 4 begin to execute cmd [/vesk/bin/pemverify -c /etc/x.pem]",
                     "system /vesk/bin/pemverify -c /etc/x.pem",
                     "log 4 pemverify return code=" + std::to_string(code)}),
              product.calls);
  }
  EXPECT_EQ(500, POSTFIX(checkPEMFormat)(env, nullptr, nullptr, JNI_TRUE));
}

struct RestrictionTest : JvmTest {
  TempDir folder;
  const std::string in = folder.path("rules");
  const std::string out = folder.path("table");

  std::string table(const std::string& rules) {
    folder.write("rules", rules);
    EXPECT_TRUE(writeRestrictionFile(in.c_str(), out.c_str()));
    return content();
  }
  std::string content() const { return folder.read("table"); }
  static std::string line(std::string key, const std::string& action) {
    key.resize(std::max<std::size_t>(key.size(), 20), ' ');
    return key + "\t" + action + "\n";
  }
  // Keys of a range, each with the action X.
  static std::string lines(const std::string& stem, int from, int to) {
    std::string all;
    for (int i = from; i <= to; ++i) all += line(stem + std::to_string(i), "X");
    return all;
  }
};

TEST_F(RestrictionTest, OneLineOrExpansionARule) {
  const std::pair<std::string, std::string> rows[] = {
      {"192.168.1.5 OK\n", line("192.168.1.5", "OK")},
      {"10.1.0.0/16\t \t REJECT  no way \n", line("10.1", "REJECT  no way ")},
      {"10.0.0.0/8 X", line("10", "X")},
      {"10.9.8.7/24 X", line("10.9.8", "X")},
      {"10.9.8.7/32 X", line("10.9.8.7", "X")},
      {"10/8 X", line("10", "X")},
      {"010.9.8.7/24 X", line("010.9.8", "X")},  // as written
      {"172.16.0.0/12 X", lines("172.", 16, 31)},
      {"172.31.255.255/12 X", lines("172.", 16, 31)},  // host bits do not count
      {"10.0.0.0/22 X", lines("10.0.", 0, 3)},
      {"10.0.240.0/20 X", lines("10.0.", 240, 255)},
      {"10.0.0.4/30 X", lines("10.0.0.", 4, 7)},
      {"0.0.0.0/1 X", lines("", 0, 127)},
      {"255.255.255.255/1 X", lines("", 128, 255)},
      {"255.255.255.254/31 X", lines("255.255.255.", 254, 255)},
      {"255.255.255.0/23 X", lines("255.255.", 254, 255)},
      {"1.2.3.4/0 X\n1.2.3.4/33 X\n1.2.3.4/99999999999999999999 X\n", ""},
      {"1.2.3.4/a X\n1.2.3.4/ X\n1.2.3.4/24\n1.2.3.4/24 \n1.2.3.4\n1.2.3.4 \t\n\n\r\n", ""},
      {"nonsense/20 X\n1.2.3.4.5/20 X\n1.2.3/20 X\n1.2.3.256/20 X\n0x1.2.3.4/20 X\n", ""},
      {"010.0.0.9/23 X", line("10.0.0", "X") + line("10.0.1", "X")},  // decimal
      {"1.2.3.4 see a/b\n", ""},                                      // a slash makes it a network
      {"x1.2.3.4 X\n", line("", "1.2.3.4 X")},
      {" 1.2.3.4 X\n", line("", "1.2.3.4 X")},
      {"1.2.3.4 A\r\n1.2.3.5 B\r1.2.3.6 C\r",
       line("1.2.3.4", "A\r") + line("1.2.3.5", "B\r1.2.3.6 C")},
      {"1.2.3.4OK!\n", line("1.2.3.4", "K!")},
      {std::string(30, '1') + " X\n", line(std::string(30, '1'), "X")},
  };
  for (const auto& [rules, expected] : rows) EXPECT_EQ(expected, table(rules)) << rules;
}

TEST_F(RestrictionTest, EveryPrefixLengthHasItsNumberOfKeys) {
  for (int prefix = 0; prefix <= 33; ++prefix) {
    const std::string written = table("255.255.255.255/" + std::to_string(prefix) + " X");
    const long keys = prefix == 0 || prefix == 33 ? 0 : 1L << (32 - prefix) % 8;
    EXPECT_EQ(keys, std::count(written.begin(), written.end(), '\n')) << prefix;
    EXPECT_TRUE(keys == 0 || written.substr(written.rfind('\n', written.size() - 2) + 1)
                                 .starts_with(prefix > 24   ? "255.255.255.255 "
                                              : prefix > 16 ? "255.255.255 "
                                              : prefix > 8  ? "255.255 "
                                                            : "255 "));
  }
}

TEST_F(RestrictionTest, LongLinesCountAsSeveral) {
  const std::string action(1013, 'a');
  EXPECT_EQ(line("1.2.3.4", action + "aa") + line("", "aa"),
            table("1.2.3.4 " + action + "aaaaa\n"));
}

TEST_F(RestrictionTest, FilesThatCannotBeUsed) {
  const auto compose = [&](const std::string& from, const std::string& to) {
    const std::u16string fromText(from.begin(), from.end());
    const std::u16string toText(to.begin(), to.end());
    jstring one = text(fromText);
    jstring other = text(toText);
    product.calls.clear();
    return bridge([&] { return POSTFIX(composeClientRestrictionFile)(env, nullptr, one, other); });
  };
  table("1.2.3.4 OK");
  const std::string before = content();
  EXPECT_EQ(104, compose(in + "-none", out));
  EXPECT_EQ(104, compose(out, out));
  EXPECT_EQ(before, content());  // lost nothing
  EXPECT_EQ(104, compose(in, out + "/none"));
  EXPECT_EQ("log 1 client restrictions: cannot open " + out + "/none: Not a directory",
            product.calls.at(0));
  EXPECT_EQ(104, compose("/", out));
  EXPECT_EQ(104, compose(in, "/dev/full"));
  EXPECT_EQ("log 1 client restrictions: cannot write /dev/full: No space left on device",
            product.calls.at(0));
  EXPECT_EQ(0, compose(in, out));
  EXPECT_EQ(before, content());
  EXPECT_EQ(500, POSTFIX(composeClientRestrictionFile)(env, nullptr, nullptr, text(u"x")));
  EXPECT_EQ(500, POSTFIX(composeClientRestrictionFile)(env, nullptr, text(u"x"), nullptr));
}

}  // namespace
