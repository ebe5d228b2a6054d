// The set-up wizard: nearly every step is one shell command.
#include <cstring>
#include <string>
#include <vector>

#include "Command.h"
#include "JniCommon.h"
#include "VeskVer.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"
#include "product/log.h"

namespace {

#define WZRD_GETTERS(ROW)                                                                          \
  ROW(getHostname, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network hostname")      \
  ROW(getIPAddr, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val data_port ip")            \
  ROW(getIPMask, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val data_port netmask")       \
  ROW(getIpv4Gateway,                                                                              \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network default_ipv4_gw")            \
  ROW(getIpv6Gateway,                                                                              \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network default_ipv6_gw")            \
  ROW(getIpv4DNS1, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network ipv4_dns1")     \
  ROW(getIpv4DNS2, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network ipv4_dns2")     \
  ROW(getIpv6DNS1, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network ipv6_dns1")     \
  ROW(getIpv6DNS2, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val network ipv6_dns2")     \
  ROW(getCurrContinent, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val system continent") \
  ROW(getCurrCountry, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val system country")     \
  ROW(getCurrCity, "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val system city")           \
  ROW(getChildVersion, "/opt/brelvik/vesk/script/cfgtool.sh getchildver")                          \
  ROW(getDBSvrIP, "/opt/brelvik/vesk/script/cfgtool.sh getdb")

// The value stands in double quotes as it is.
#define WZRD_SETTERS(ROW)                                                                      \
  ROW(setHostname, wizardActionSize,                                                           \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network hostname \"%s\"")        \
  ROW(setIPAddr, wizardActionSize,                                                             \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set data_port ip \"%s\"")            \
  ROW(setIPMask, wizardActionSize,                                                             \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set data_port netmask \"%s\"")       \
  ROW(setIpv4Gateway, wizardActionSize,                                                        \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network default_ipv4_gw \"%s\"") \
  ROW(setIpv6Gateway, wizardActionSize,                                                        \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network default_ipv6_gw \"%s\"") \
  ROW(setIpv4DNS1, wizardActionSize,                                                           \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network ipv4_dns1 \"%s\"")       \
  ROW(setIpv4DNS2, wizardActionSize,                                                           \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network ipv4_dns2 \"%s\"")       \
  ROW(setIpv6DNS1, wizardActionSize,                                                           \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network ipv6_dns1 \"%s\"")       \
  ROW(setIpv6DNS2, wizardActionSize,                                                           \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set network ipv6_dns2 \"%s\"")       \
  ROW(setICPort, wizardCommandSize,                                                            \
      "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set icp nic \"%s\"")

// Only the first line that matches counts, and what stands behind its first "=".
#define WZRD_INTERFACE_READERS(ROW)                                                 \
  ROW(getIFV4Addr, "(IP)",                                                          \
      "cat /etc/sysconfig/network-scripts/ifcfg-%s | grep IPADDR | cut -d'=' -f2")  \
  ROW(getIFV4NetMask, "(Netmask)",                                                  \
      "cat /etc/sysconfig/network-scripts/ifcfg-%s | grep NETMASK | cut -d'=' -f2") \
  ROW(getIFV6AddrMask, "(IP)",                                                      \
      "cat /etc/sysconfig/network-scripts/ifcfg-%s | grep IPV6ADDR | cut -d'=' -f2")

void dropNewline(char* text) {
  const std::size_t length = std::strlen(text);
  if (length > 0 && text[length - 1] == '\n') text[length - 1] = '\0';
}

// The first line of a command that need not print one: then a lone newline. False when it was not
// started.
bool lineOrNewline(const char* command, OutputLine& line) {
  const jint code = readFirstLine(command, line);
  if (code == result::commandPrintedNothing) std::strcpy(line.text, "\n");
  return code != result::commandNotStarted;
}

// A key that is missing, like the whole file, reads as the empty text: the wizard then shows an
// empty field. What the list says to it is not passed on.
jint interfaceValue(JNIEnv* env, jobject list, const char* method, const CommandLine& command) {
  LogPrintf("%s szCmd: [%s]", method, command.c_str());
  OutputLine line;
  if (!lineOrNewline(command.c_str(), line)) return result::commandNotStarted;
  LogPrintf("%s szRet: [%s]", method, line.text);
  dropNewline(line.text);
  static_cast<void>(formJArrListStr(env, line.text, list));
  return result::success;
}

// Every line becomes an element, handed over in one go at the end.
jint linesToList(JNIEnv* env, jobject list, const char* method, const CommandLine& command) {
  LogPrintf("%s szCmd: [%s]", method, command.c_str());
  std::vector<std::string> lines;
  const jint code = readLines(command.c_str(), [&](OutputLine& line) {
    LogPrintf("%s szRet: [%s]", method, line.text);
    dropNewline(line.text);
    lines.emplace_back(line.text);
  });
  return code == result::success ? formJArrListStr(env, lines, list) : code;
}

// The clock asks often: its command is not worth a line in the log each time.
jint clockToList(JNIEnv* env, jobject list, const char* method, const char* command) {
  if (list == nullptr) return result::nullArgument;
  return firstLineToList(env, list, method, command);
}

// Postfix is told even when the system refused; only a shell that cannot be run ends it.
jint switchIPv6(const char* method, const char* system, const char* postfix) {
  const jint status = runAction(method, StatusForm::raw, wizardCommandSize, "%s", system);
  return status < 0 ? status : runAction(method, StatusForm::raw, wizardCommandSize, "%s", postfix);
}

const char* restartCommand(jint mode) {
  switch (mode) {
    case 1:
      return "unset TZ;/opt/brelvik/vesk/script/S99MANAGER restart";
    case 2:
      return "unset TZ;/opt/brelvik/vesk/script/cfgtool.sh restart_vesk";
    default:
      return "unset TZ;/opt/brelvik/vesk/script/cfgtool.sh restart_vesk_noui";
  }
}

}  // namespace

#define DEFINE_GETTER(method, command)                                             \
  VESK_JNI(jint, WzrdJNI, method)(JNIEnv * env, jobject, jobject list) try {       \
    return queryToList(env, list, "WzrdJNI." #method, wizardCommandSize, command); \
  }                                                                                \
  VESK_ON_NO_MEMORY(result::commandNotStarted)
WZRD_GETTERS(DEFINE_GETTER)

#define DEFINE_SETTER(method, size, format)                                        \
  VESK_JNI(jint, WzrdJNI, method)(JNIEnv * env, jobject, jstring value) {          \
    if (value == nullptr) return result::nullArgument;                             \
    const VeskJniString text(env, value);                                          \
    return runAction("WzrdJNI." #method, StatusForm::raw, size, format, text.str); \
  }
WZRD_SETTERS(DEFINE_SETTER)

#define DEFINE_INTERFACE_READER(method, what, text)                                          \
  VESK_JNI(jint, WzrdJNI, method)(JNIEnv * env, jobject, jstring device, jobject list) try { \
    if (device == nullptr) return result::nullArgument;                                      \
    const VeskJniString name(env, device);                                                   \
    CommandLine command("WzrdJNI." #method, wizardCommandSize);                              \
    if (!command.format(text, name.str)) return command.failure();                           \
    return interfaceValue(env, list, "WzrdJNI." #method what, command);                      \
  }                                                                                          \
  VESK_ON_NO_MEMORY(result::commandNotStarted)
WZRD_INTERFACE_READERS(DEFINE_INTERFACE_READER)

// Unlike the other getters, what the list answers is not passed on here and in getIFDevList.
VESK_JNI(jint, WzrdJNI, getICPort)(JNIEnv* env, jobject, jobject list) try {
  const jint code = queryToList(env, list, "WzrdJNI.getICPort", wizardCommandSize,
                                "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val icp nic");
  const bool appendFailed = code == result::stringNotCreated || code == result::addRefused;
  return appendFailed ? result::success : code;
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

// One element a word.
VESK_JNI(jint, WzrdJNI, getIFDevList)(JNIEnv* env, jobject, jobject list) try {
  if (list == nullptr) return result::nullArgument;
  const char* command = "/etc/clish/scripts/ifenum.sh netdev";
  LogPrintf("WzrdJNI.getIFDevList szCmd: [%s]", command);
  OutputLine line;
  if (const jint code = readFirstLine(command, line); code != result::success) return code;
  LogPrintf("WzrdJNI.getIFDevList szRet: [%s]", line.text);
  char* rest = nullptr;
  for (char* word = strtok_r(line.text, " \n", &rest); word != nullptr;
       word = strtok_r(nullptr, " \n", &rest)) {
    static_cast<void>(formJArrListStr(env, word, list));
    if (env->ExceptionCheck()) break;  // nothing may be asked of the VM until the caller has it
  }
  return result::success;
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

VESK_JNI(jint, WzrdJNI, getSysTime)(JNIEnv* env, jobject, jobject list) try {
  return clockToList(env, list, "WzrdJNI.getSysTime", "/bin/date +%T");
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

VESK_JNI(jint, WzrdJNI, getSysDate)(JNIEnv* env, jobject, jobject list) try {
  return clockToList(env, list, "WzrdJNI.getSysDate", "/bin/date +%m/%d/%Y");
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

#define DEFINE_INTERFACE_SETTER(method, format)                                               \
  VESK_JNI(jint, WzrdJNI, method)                                                             \
  (JNIEnv * env, jobject, jstring first, jstring second, jstring third) {                     \
    if (anyNull(first, second, third)) return result::nullArgument;                           \
    const VeskJniString one(env, first);                                                      \
    const VeskJniString two(env, second);                                                     \
    const VeskJniString three(env, third);                                                    \
    return runAction("WzrdJNI." #method, StatusForm::raw, wizardCommandSize, format, one.str, \
                     two.str, three.str);                                                     \
  }
DEFINE_INTERFACE_SETTER(setIFV4Addr, "/etc/clish/scripts/ifcfg.sh \"%s\" \"%s\" \"%s\"")
DEFINE_INTERFACE_SETTER(setIFV6Addr, "/etc/clish/scripts/ifcfg6.sh \"%s\" \"%s\" \"%s\"")

// A failure's code comes out as true.
VESK_JNI(jboolean, WzrdJNI, isIPv6Enable)(JNIEnv*, jobject) {
  const char* command = "cat /etc/sysconfig/network | grep NETWORKING_IPV6 | cut -d'=' -f2";
  LogPrintf("WzrdJNI.isIPv6Enable() szCmd: [%s]", command);
  OutputLine line;
  const jint code = readFirstLine(command, line);
  if (code == result::commandNotStarted) return static_cast<jboolean>(code);
  if (code == result::success) {
    dropNewline(line.text);
  } else {
    LogPrintf("WzrdJNI.isIPv6Enable() fgets = NULL");
    std::strcpy(line.text, "\n");
  }
  LogPrintf("WzrdJNI.isIPv6Enable() szRet: [%s]", line.text);
  return std::strcmp(line.text, "yes") == 0 ? JNI_TRUE : JNI_FALSE;
}

// Not the mirror image of enableIPv6: Postfix is found through the search path here, and by the
// product's own path there.
VESK_JNI(jint, WzrdJNI, disableIPv6)(JNIEnv*, jobject) {
  return switchIPv6("WzrdJNI.disableIPv6", "/etc/clish/scripts/ipv6.sh disable",
                    "postconf -e inet_protocols=ipv4");
}

VESK_JNI(jint, WzrdJNI, enableIPv6)(JNIEnv*, jobject) {
  return switchIPv6("WzrdJNI.enableIPv6", "/etc/clish/scripts/ipv6.sh enable",
                    "/opt/brelvik/vesk/postfix/usr/sbin/postconf -e inet_protocols=all");
}

// The exit code, unlike the other actions of the wizard but regToMaster.
VESK_JNI(jint, WzrdJNI, applyNetworkSettings)(JNIEnv*, jobject) {
  return runAction("WzrdJNI.applyNetworkSettings", StatusForm::exitCode, wizardActionSize,
                   "/opt/brelvik/vesk/script/cfgtool.sh apply_network");
}

// The console checks these values itself; every one passes here.
VESK_JNI(jint, WzrdJNI, checkIPAddr)(JNIEnv*, jobject, jstring) { return result::success; }
VESK_JNI(jint, WzrdJNI, checkGateway)(JNIEnv*, jobject, jstring) { return result::success; }
VESK_JNI(jint, WzrdJNI, checkDNS)(JNIEnv*, jobject, jstring) { return result::success; }

VESK_JNI(jint, WzrdJNI, getContinentList)(JNIEnv* env, jobject, jobject list) try {
  if (list == nullptr) return result::nullArgument;
  CommandLine command("WzrdJNI.getContinentList", wizardCommandSize);
  if (!command.format("/etc/tzselect continent list")) return command.failure();
  return linesToList(env, list, "WzrdJNI.getContList", command);
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

VESK_JNI(jint, WzrdJNI, getCountryList)(JNIEnv* env, jobject, jstring continent, jobject list) try {
  if (anyNull<jobject>(continent, list)) return result::nullArgument;
  const VeskJniString continentName(env, continent);
  CommandLine command("WzrdJNI.getCountryList", wizardCommandSize);
  if (!command.format("/etc/tzselect country \"%s\" list", continentName.str)) {
    return command.failure();
  }
  return linesToList(env, list, "WzrdJNI.getRegnList", command);
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

VESK_JNI(jint, WzrdJNI, getCityList)
(JNIEnv* env, jobject, jstring continent, jstring country, jobject list) try {
  if (anyNull<jobject>(continent, country, list)) return result::nullArgument;
  const VeskJniString continentName(env, continent);
  const VeskJniString countryName(env, country);
  CommandLine command("WzrdJNI.getCityList", wizardCommandSize);
  if (!command.format("/etc/tzselect country \"%s\" \"%s\" list", continentName.str,
                      countryName.str)) {
    return command.failure();
  }
  return linesToList(env, list, "WzrdJNI.getCityList", command);
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

// Without quotes, unlike the lists: a name with a blank arrives as several words.
VESK_JNI(jint, WzrdJNI, setTimeZone)
(JNIEnv* env, jobject, jstring continent, jstring country, jstring city) {
  if (anyNull(continent, country, city)) return result::nullArgument;
  const VeskJniString continentName(env, continent);
  const VeskJniString countryName(env, country);
  const VeskJniString cityName(env, city);
  return runAction("WzrdJNI.setTimeZone", StatusForm::raw, wizardActionSize,
                   "/etc/tzselect apply %s %s %s", continentName.str, countryName.str,
                   cityName.str);
}

// The hardware clock follows, whatever became of the system's, and its status is the answer.
VESK_JNI(jint, WzrdJNI, setDateTime)(JNIEnv* env, jobject, jstring dateTime) {
  if (dateTime == nullptr) return result::nullArgument;
  const VeskJniString text(env, dateTime);
  CommandLine command("WzrdJNI.setDateTime", wizardActionSize);
  if (!command.format("unset TZ;/bin/date --set=\"%s\"", text.str)) return command.failure();
  LogPrintf("WzrdJNI.setDateTime szCmd: [%s]", command.c_str());
  LogPrintf("WzrdJNI.setDateTime nRet: [%d]", runInShell(command.c_str()));
  const int status = runInShell("/sbin/hwclock --utc -w");
  LogPrintf("WzrdJNI.setDateTime set the hardware time nRet: [%d]", status);
  return status;
}

VESK_JNI(jint, WzrdJNI, chkMasterDB)(JNIEnv* env, jobject, jstring parent) {
  if (parent == nullptr) return result::nullArgument;
  const VeskJniString address(env, parent);
  return runAction("WzrdJNI.chkMasterDB", StatusForm::raw, wizardActionSize,
                   "/opt/brelvik/vesk/script/cfgtool.sh chkdb \"%s\" sa postgreSQL", address.str);
}

VESK_JNI(jint, WzrdJNI, getParentVersion)(JNIEnv* env, jobject, jstring parent, jobject list) try {
  if (anyNull<jobject>(parent, list)) return result::nullArgument;
  const VeskJniString address(env, parent);
  return queryToList(env, list, "WzrdJNI.getParentVersion", wizardActionSize,
                     "/opt/brelvik/vesk/script/cfgtool.sh getparentver \"%s\" sa postgreSQL",
                     address.str);
}
VESK_ON_NO_MEMORY(result::commandNotStarted)

// The registration outlives the console that it restarts: the wrapper keeps none of its handles.
VESK_JNI(jint, WzrdJNI, regToMaster)(JNIEnv* env, jobject, jstring parent) {
  if (parent == nullptr) return result::nullArgument;
  const VeskJniString address(env, parent);
  return runAction("WzrdJNI.regToMaster", StatusForm::exitCode, wizardActionSize,
                   "%s/bin/close_handle_sh \"/opt/brelvik/vesk/script/cfgtool.sh reg \\\"%s\\\" "
                   "sa postgreSQL\"",
                   getVeskHome(), address.str);
}

// The end-user quarantine keeps its data in the local database, which then stays up.
VESK_JNI(jint, WzrdJNI, afterRegister)(JNIEnv*, jobject) {
  LogPrintf("WzrdJNI.afterRegister: start to stop AdminUI.");
  static_cast<void>(runInShell("/opt/brelvik/vesk/script/S99ADMINUI stop &"));
  if (runInShell("/opt/brelvik/vesk/script/is_euq_enable.sh") != 0) return result::success;
  LogPrintf("WzrdJNI.afterRegister: start to stop AdminDB.");
  static_cast<void>(runInShell("/opt/brelvik/vesk/script/dbctl.sh stop &"));
  return result::success;
}

VESK_JNI(jint, WzrdJNI, restartServices)(JNIEnv*, jobject, jint mode) {
  if (mode == 0) return result::success;
  return runAction("WzrdJNI.restartServices", StatusForm::raw, wizardActionSize, "%s",
                   restartCommand(mode));
}
