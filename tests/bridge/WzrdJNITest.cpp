#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"

#include <cstdlib>

#include "JvmTest.h"
#include "Seams.h"

namespace {

using Texts = std::vector<std::u16string>;

#define WZRD(method) Java_com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI_##method

const std::string glcfg = "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf ";
const std::string cfgtool = "/opt/brelvik/vesk/script/cfgtool.sh ";

struct WzrdJNITest : JvmTest {
  jobject list = nullptr;
  void SetUp() override {
    JvmTest::SetUp();
    list = newList();
  }
  template <typename Call>
  jint call(const Call& function) {
    product.calls.clear();
    list = newList();
    return bridge(function);
  }
  jstring a = nullptr, b = nullptr, c = nullptr;
  void threeTexts() { a = text(u"eth0"), b = text(u"10.0.0.1"), c = text(u"x y\"z"); }
};

// Method, command, and whether the command is logged.
#define GETTERS(ROW)                                               \
  ROW(getHostname, glcfg + "val network hostname", true)           \
  ROW(getIPAddr, glcfg + "val data_port ip", true)                 \
  ROW(getIPMask, glcfg + "val data_port netmask", true)            \
  ROW(getIpv4Gateway, glcfg + "val network default_ipv4_gw", true) \
  ROW(getIpv6Gateway, glcfg + "val network default_ipv6_gw", true) \
  ROW(getIpv4DNS1, glcfg + "val network ipv4_dns1", true)          \
  ROW(getIpv4DNS2, glcfg + "val network ipv4_dns2", true)          \
  ROW(getIpv6DNS1, glcfg + "val network ipv6_dns1", true)          \
  ROW(getIpv6DNS2, glcfg + "val network ipv6_dns2", true)          \
  ROW(getCurrContinent, glcfg + "val system continent", true)      \
  ROW(getCurrCountry, glcfg + "val system country", true)          \
  ROW(getCurrCity, glcfg + "val system city", true)                \
  ROW(getICPort, glcfg + "val icp nic", true)                      \
  ROW(getChildVersion, cfgtool + "getchildver", true)              \
  ROW(getDBSvrIP, cfgtool + "getdb", true)                         \
  ROW(getSysTime, "/bin/date +%T", false)                          \
  ROW(getSysDate, "/bin/date +%m/%d/%Y", false)                    \
  ROW(getIFDevList, "/etc/clish/scripts/ifenum.sh netdev", true)

struct Getter {
  std::string name;
  jint (*call)(JNIEnv*, jobject, jobject);
  std::string command;
  bool logged;
};

TEST_F(WzrdJNITest, GettersAskOneCommandAndListItsFirstLine) {
#define ROW(method, command, logged) {#method, WZRD(method), command, logged},
  const Getter getters[] = {GETTERS(ROW)};
#undef ROW
  ASSERT_EQ(18U, std::size(getters));
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    env->PushLocalFrame(64);
    const auto ask = [&] { return call([&] { return getter.call(env, nullptr, list); }); };
    const std::string prefix = "print WzrdJNI." + getter.name;
    const bool words = getter.name == "getIFDevList";
    const bool keepsAppend = !words && getter.name != "getICPort";
    seams.output = "eth0 eth1\nmore\n";
    EXPECT_EQ(0, ask());
    Calls expected{"popen r " + getter.command, "pclose", prefix + " szRet: [eth0 eth1\n]"};
    if (getter.logged)
      expected.insert(expected.begin(), prefix + " szCmd: [" + getter.command + "]");
    EXPECT_EQ(expected, product.calls);
    EXPECT_EQ(words ? (Texts{u"eth0", u"eth1"}) : Texts{u"eth0 eth1"}, texts(list));

    seams.output = " \n";
    EXPECT_EQ(0, ask());
    EXPECT_EQ(words ? Texts{} : Texts{u" "}, texts(list));

    seams.output = "";
    EXPECT_EQ(102, ask());
    EXPECT_EQ("pclose", product.calls.back());
    EXPECT_EQ(Texts{}, texts(list));
    seams.popenFails = true;
    EXPECT_EQ(101, ask());
    seams.popenFails = false;

    seams.output = "eth0 eth1\n";
    product.calls.clear();
    list = refusingList();
    EXPECT_EQ(keepsAppend ? 503 : 0, getter.call(env, nullptr, list));
    EXPECT_TRUE(takeException());
    product.calls.clear();
    EXPECT_EQ(500, getter.call(env, nullptr, nullptr));
    EXPECT_EQ(Calls{}, product.calls);
    env->PopLocalFrame(nullptr);
  }
}

#define SETTERS(ROW)                                         \
  ROW(setHostname, "set network hostname \"", 258)           \
  ROW(setIPAddr, "set data_port ip \"", 258)                 \
  ROW(setIPMask, "set data_port netmask \"", 258)            \
  ROW(setIpv4Gateway, "set network default_ipv4_gw \"", 258) \
  ROW(setIpv6Gateway, "set network default_ipv6_gw \"", 258) \
  ROW(setIpv4DNS1, "set network ipv4_dns1 \"", 258)          \
  ROW(setIpv4DNS2, "set network ipv4_dns2 \"", 258)          \
  ROW(setIpv6DNS1, "set network ipv6_dns1 \"", 258)          \
  ROW(setIpv6DNS2, "set network ipv6_dns2 \"", 258)          \
  ROW(setICPort, "set icp nic \"", 259)

struct Setter {
  std::string name;
  jint (*call)(JNIEnv*, jobject, jstring);
  std::string command;
  std::size_t longest;
};

TEST_F(WzrdJNITest, SettersAnswerTheRawStatusAndCutLongValues) {
#define ROW(method, command, longest) {#method, WZRD(method), glcfg + command, longest},
  const Setter setters[] = {SETTERS(ROW)};
#undef ROW
  for (const Setter& setter : setters) {
    SCOPED_TRACE(setter.name);
    const auto set = [&](const std::u16string& value) {
      jstring given = text(value);
      return call([&] { return setter.call(env, nullptr, given); });
    };
    seams.status = 256;
    EXPECT_EQ(256, set(u"a $(b) \"\u00e9"));
    const std::string command = setter.command + "a $(b) \"\xC3\xA9\"";
    const std::string prefix = "print WzrdJNI." + setter.name;
    EXPECT_EQ(
        (Calls{prefix + " szCmd: [" + command + "]", "system " + command, prefix + " nRet: [256]"}),
        product.calls);
    EXPECT_EQ(256, set(std::u16string(300, u'v')));
    std::string cut = setter.command + std::string(300, 'v');
    EXPECT_EQ("system " + cut.substr(0, setter.longest), product.calls.at(1));
    EXPECT_EQ(500, setter.call(env, nullptr, nullptr));
    EXPECT_EQ(3U, product.calls.size());
  }
}

TEST_F(WzrdJNITest, InterfaceReadersAnswerZeroWhateverTheyFind) {
  struct Reader {
    jint (*call)(JNIEnv*, jobject, jstring, jobject);
    std::string name, key;
  };
  const Reader readers[] = {{WZRD(getIFV4Addr), "getIFV4Addr(IP)", "IPADDR"},
                            {WZRD(getIFV4NetMask), "getIFV4NetMask(Netmask)", "NETMASK"},
                            {WZRD(getIFV6AddrMask), "getIFV6AddrMask(IP)", "IPV6ADDR"}};
  jstring device = text(u"eth0");
  for (const Reader& reader : readers) {
    const auto read = [&] { return call([&] { return reader.call(env, nullptr, device, list); }); };
    const std::string command =
        "cat /etc/sysconfig/network-scripts/ifcfg-eth0 | grep " + reader.key + " | cut -d'=' -f2";
    seams.output = "10.0.0.1\n10.0.0.2\n";
    EXPECT_EQ(0, read());
    EXPECT_EQ(
        (Calls{"print WzrdJNI." + reader.name + " szCmd: [" + command + "]", "popen r " + command,
               "pclose", "print WzrdJNI." + reader.name + " szRet: [10.0.0.1\n]"}),
        product.calls);
    EXPECT_EQ(Texts{u"10.0.0.1"}, texts(list));
    seams.output = "";
    EXPECT_EQ(0, read());
    EXPECT_EQ("print WzrdJNI." + reader.name + " szRet: [\n]", product.calls.back());
    EXPECT_EQ(Texts{u""}, texts(list));
    EXPECT_EQ(0, reader.call(env, nullptr, device, refusingList()));
    EXPECT_TRUE(takeException());
    EXPECT_EQ(500, reader.call(env, nullptr, nullptr, list));
    seams.popenFails = true;
    EXPECT_EQ(101, read());
    seams.popenFails = false;
  }
}

TEST_F(WzrdJNITest, Ipv6IsOnOnlyForYesInSmallLetters) {
  const std::string name = "print WzrdJNI.isIPv6Enable()";
  const std::string command = "cat /etc/sysconfig/network | grep NETWORKING_IPV6 | cut -d'=' -f2";
  const auto ask = [] { return WZRD(isIPv6Enable)(env, nullptr); };
  for (const auto& [output, answer] :
       {std::pair{"yes\n", 1}, {"yes", 1}, {"YES\n", 0}, {"yes \n", 0}, {"\n", 0}, {"", 0}}) {
    seams.output = output;
    EXPECT_EQ(answer, call(ask)) << output;
  }
  EXPECT_EQ((Calls{name + " szCmd: [" + command + "]", "popen r " + command, "pclose",
                   name + " fgets = NULL", name + " szRet: [\n]"}),
            product.calls);
  seams.popenFails = true;
  EXPECT_EQ(101, call(ask));
}

struct Action {
  const char* name;
  std::string command;
  jint exits3;  // the answer when the command exits with 3
  std::function<jint()> call;
  std::size_t longest = 0;  // of a command with long texts
};

TEST_F(WzrdJNITest, ActionsAnswerTheStatusEachInItsOwnForm) {
  threeTexts();
  jstring parent = text(u"10.1.1.1");
  const auto restart = [](jint mode) {
    return [=] { return WZRD(restartServices)(env, nullptr, mode); };
  };
  const std::string three = " \"eth0\" \"10.0.0.1\" \"x y\"z\"";
  const Action actions[] = {
      {"setIFV4Addr", "/etc/clish/scripts/ifcfg.sh" + three, 768,
       [&] { return WZRD(setIFV4Addr)(env, nullptr, a, b, c); }, 259},
      {"setIFV6Addr", "/etc/clish/scripts/ifcfg6.sh" + three, 768,
       [&] { return WZRD(setIFV6Addr)(env, nullptr, a, b, c); }, 259},
      {"applyNetworkSettings", cfgtool + "apply_network", 3,
       [] { return WZRD(applyNetworkSettings)(env, nullptr); }},
      {"setTimeZone", "/etc/tzselect apply eth0 10.0.0.1 x y\"z", 768,
       [&] { return WZRD(setTimeZone)(env, nullptr, a, b, c); }, 258},
      {"chkMasterDB", cfgtool + "chkdb \"10.1.1.1\" sa postgreSQL", 768,
       [&] { return WZRD(chkMasterDB)(env, nullptr, parent); }, 258},
      {"regToMaster",
       "/vesk/bin/close_handle_sh \"" + cfgtool + "reg \\\"10.1.1.1\\\" sa postgreSQL\"", 3,
       [&] { return WZRD(regToMaster)(env, nullptr, parent); }, 258},
      {"restartServices", "unset TZ;/opt/brelvik/vesk/script/S99MANAGER restart", 768, restart(1)},
      {"restartServices", "unset TZ;" + cfgtool + "restart_vesk", 768, restart(2)},
      {"restartServices", "unset TZ;" + cfgtool + "restart_vesk_noui", 768, restart(-7)},
  };
  for (const Action& action : actions) {
    SCOPED_TRACE(action.command);
    seams.status = 768;
    EXPECT_EQ(action.exits3, call(action.call));
    const std::string prefix = std::string("print WzrdJNI.") + action.name;
    EXPECT_EQ((Calls{prefix + " szCmd: [" + action.command + "]", "system " + action.command,
                     prefix + " nRet: [768]"}),
              product.calls);
  }
  a = b = c = parent = text(std::u16string(300, u'x'));
  for (const Action& action : actions) {
    if (action.longest == 0) continue;
    call(action.call);
    EXPECT_EQ(std::string("system ").size() + action.longest, product.calls.at(1).size())
        << action.name;
  }
  unsetenv("VESK_HOME");
  call(actions[5].call);
  EXPECT_TRUE(product.calls[1].starts_with("system /opt/brelvik/vesk/bin/close_handle_sh"));
  EXPECT_EQ(0, call(restart(0)));
  EXPECT_EQ(0, WZRD(checkIPAddr)(env, nullptr, nullptr) + WZRD(checkGateway)(env, nullptr, a) +
                   WZRD(checkDNS)(env, nullptr, b));
  EXPECT_EQ(Calls{}, product.calls);
}

TEST_F(WzrdJNITest, NullTextsAre500AndNothingIsRun) {
  threeTexts();
  for (const jint code :
       {WZRD(setIFV4Addr)(env, nullptr, nullptr, b, c),
        WZRD(setIFV6Addr)(env, nullptr, a, b, nullptr),
        WZRD(setTimeZone)(env, nullptr, a, nullptr, c), WZRD(setDateTime)(env, nullptr, nullptr),
        WZRD(chkMasterDB)(env, nullptr, nullptr), WZRD(regToMaster)(env, nullptr, nullptr),
        WZRD(getParentVersion)(env, nullptr, nullptr, list),
        WZRD(getParentVersion)(env, nullptr, a, nullptr),
        WZRD(getContinentList)(env, nullptr, nullptr),
        WZRD(getCountryList)(env, nullptr, nullptr, list),
        WZRD(getCountryList)(env, nullptr, a, nullptr),
        WZRD(getCityList)(env, nullptr, a, nullptr, list),
        WZRD(getCityList)(env, nullptr, nullptr, b, list),
        WZRD(getCityList)(env, nullptr, a, b, nullptr)}) {
    EXPECT_EQ(500, code);
  }
  EXPECT_EQ(Calls{}, product.calls);
}

TEST_F(WzrdJNITest, ZoneListsTakeEveryLineInOrder) {
  jstring asia = text(u"Asia");
  jstring japan = text(u"Japan");
  const struct {
    std::string name, command;
    std::function<jint()> call;
  } lists[] = {
      {"getContList", "/etc/tzselect continent list",
       [&] { return WZRD(getContinentList)(env, nullptr, list); }},
      {"getRegnList", "/etc/tzselect country \"Asia\" list",
       [&] { return WZRD(getCountryList)(env, nullptr, asia, list); }},
      {"getCityList", "/etc/tzselect country \"Asia\" \"Japan\" list",
       [&] { return WZRD(getCityList)(env, nullptr, asia, japan, list); }},
  };
  for (const auto& row : lists) {
    seams.output = "b\n\na\nb";
    EXPECT_EQ(0, call(row.call));
    const std::string line = "print WzrdJNI." + row.name + " szRet: [";
    EXPECT_EQ((Calls{"print WzrdJNI." + row.name + " szCmd: [" + row.command + "]",
                     "popen r " + row.command, line + "b\n]", line + "\n]", line + "a\n]",
                     line + "b]", "pclose"}),
              product.calls);
    EXPECT_EQ((Texts{u"b", u"", u"a", u"b"}), texts(list));
    seams.output = std::string(1500, 'z');
    EXPECT_EQ(0, call(row.call));
    EXPECT_EQ((Texts{std::u16string(1023, u'z'), std::u16string(477, u'z')}), texts(list));
    seams.output = "";
    EXPECT_EQ(0, call(row.call));
    seams.popenFails = true;
    EXPECT_EQ(101, call(row.call));
    seams.popenFails = false;
  }
}

TEST_F(WzrdJNITest, HardwareClockFollowsWhateverTheSystemsClockSaid) {
  jstring when = text(u"2026-11-21 10:15:00");
  seams.status = 256;
  EXPECT_EQ(256, call([&] { return WZRD(setDateTime)(env, nullptr, when); }));
  const std::string command = "unset TZ;/bin/date --set=\"2026-11-21 10:15:00\"";
  EXPECT_EQ((Calls{"print WzrdJNI.setDateTime szCmd: [" + command + "]", "system " + command,
                   "print WzrdJNI.setDateTime nRet: [256]", "system /sbin/hwclock --utc -w",
                   "print WzrdJNI.setDateTime set the hardware time nRet: [256]"}),
            product.calls);
}

TEST_F(WzrdJNITest, PostfixIsToldOfIpv6UnlessTheShellCannotRun) {
  const struct {
    std::string name, system, postfix;
    jint (*call)(JNIEnv*, jobject);
  } rows[] = {
      {"disableIPv6", "/etc/clish/scripts/ipv6.sh disable", "postconf -e inet_protocols=ipv4",
       WZRD(disableIPv6)},
      {"enableIPv6", "/etc/clish/scripts/ipv6.sh enable",
       "/opt/brelvik/vesk/postfix/usr/sbin/postconf -e inet_protocols=all", WZRD(enableIPv6)},
  };
  for (const auto& row : rows) {
    const auto change = [&] { return row.call(env, nullptr); };
    const std::string prefix = "print WzrdJNI." + row.name;
    seams.status = 256;
    EXPECT_EQ(256, call(change));
    EXPECT_EQ((Calls{prefix + " szCmd: [" + row.system + "]", "system " + row.system,
                     prefix + " nRet: [256]", prefix + " szCmd: [" + row.postfix + "]",
                     "system " + row.postfix, prefix + " nRet: [256]"}),
              product.calls);
    seams.status = -1;
    EXPECT_EQ(-1, call(change));
    EXPECT_EQ(3U, product.calls.size());
  }
}

TEST_F(WzrdJNITest, AfterRegisterLeavesTheDatabaseToTheQuarantine) {
  const Calls stopsUi{"print WzrdJNI.afterRegister: start to stop AdminUI.",
                      "system /opt/brelvik/vesk/script/S99ADMINUI stop &",
                      "system /opt/brelvik/vesk/script/is_euq_enable.sh"};
  const auto act = [] { return WZRD(afterRegister)(env, nullptr); };
  seams.status = 256;
  EXPECT_EQ(0, call(act));
  EXPECT_EQ(stopsUi, product.calls);
  seams.status = 0;
  EXPECT_EQ(0, call(act));
  Calls both = stopsUi;
  both.insert(both.end(), {"print WzrdJNI.afterRegister: start to stop AdminDB.",
                           "system /opt/brelvik/vesk/script/dbctl.sh stop &"});
  EXPECT_EQ(both, product.calls);
}

TEST_F(WzrdJNITest, ParentVersionIsAGetterWithAnAddress) {
  jstring parent = text(u"10.1.1.1");
  const auto ask = [&] { return WZRD(getParentVersion)(env, nullptr, parent, list); };
  seams.output = "9.1\n";
  EXPECT_EQ(0, call(ask));
  const std::string command = cfgtool + "getparentver \"10.1.1.1\" sa postgreSQL";
  EXPECT_EQ((Calls{"print WzrdJNI.getParentVersion szCmd: [" + command + "]", "popen r " + command,
                   "pclose", "print WzrdJNI.getParentVersion szRet: [9.1\n]"}),
            product.calls);
  EXPECT_EQ(Texts{u"9.1"}, texts(list));
  seams.output = "";
  EXPECT_EQ(102, call(ask));
}

}  // namespace
