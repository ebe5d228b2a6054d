// The set-up wizard. Its commands run for real, in the sandbox.
#include <filesystem>

#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"

namespace {

const std::set<long> notAsked = {101, 102};  // a question to a command
const std::set<long> notRun = {-1, 101};     // an action's raw status
const std::set<long> notRunExit = {255, 101};

struct Getter {
  const char* name;
  jint (*call)(JNIEnv*, jobject, jobject list);
};
struct Setter {
  const char* name;
  jint (*call)(JNIEnv*, jobject, jstring value);
  const char* value;
  std::set<long> status = notRun;
};
struct Action {
  const char* name;
  jint (*call)(JNIEnv*, jobject);
  std::set<long> status = notRun;
};

#define ROW(method, ...) \
  { "WzrdJNI." #method, NATIVE(WzrdJNI, method), ##__VA_ARGS__ }
constexpr Getter getters[] = {
    ROW(getHostname),     ROW(getIPAddr),        ROW(getIPMask),        ROW(getIpv4Gateway),
    ROW(getIpv6Gateway),  ROW(getIpv4DNS1),      ROW(getIpv4DNS2),      ROW(getIpv6DNS1),
    ROW(getIpv6DNS2),     ROW(getCurrContinent), ROW(getCurrCountry),   ROW(getCurrCity),
    ROW(getChildVersion), ROW(getDBSvrIP),       ROW(getSysTime),       ROW(getSysDate),
    ROW(getICPort),       ROW(getIFDevList),     ROW(getContinentList),
};
const Setter setters[] = {
    ROW(setHostname, "faulty.example.com"),
    ROW(setIPAddr, "192.0.2.77"),
    ROW(setIPMask, "255.255.255.128"),
    ROW(setIpv4Gateway, "192.0.2.1"),
    ROW(setIpv6Gateway, "2001:db8::1"),
    ROW(setIpv4DNS1, "192.0.2.53"),
    ROW(setIpv4DNS2, "192.0.2.54"),
    ROW(setIpv6DNS1, "2001:db8::53"),
    ROW(setIpv6DNS2, "2001:db8::54"),
    ROW(setICPort, "eth1"),
    ROW(checkIPAddr, "192.0.2.1"),
    ROW(checkGateway, "192.0.2.1"),
    ROW(checkDNS, "192.0.2.1"),
    ROW(chkMasterDB, "127.0.0.1"),
    ROW(regToMaster, "127.0.0.1", notRunExit),
};
const Action actions[] = {ROW(enableIPv6), ROW(disableIPv6), ROW(applyNetworkSettings, notRunExit)};

std::string network() {
  return World::filesOf("/etc/conf") + World::filesOf("/etc/sysconfig") +
         World::read("/etc/postfix/main.cf");
}

// Puts back what a call changes; the copy is made once.
std::function<void()> restoring(const World& world) {
  using std::filesystem::copy_options;
  const std::string saved = world.dir.path("etc");
  const std::string mail = World::read("/etc/postfix/main.cf");
  const auto copy = [](const std::string& from, const std::string& to) {
    std::filesystem::remove_all(to);
    std::filesystem::copy(from, to, copy_options::recursive | copy_options::overwrite_existing);
  };
  std::filesystem::create_directories(saved);
  for (const char* folder : {"/conf", "/sysconfig"})
    copy(std::string("/etc") + folder, saved + folder);
  return [=] {
    for (const char* folder : {"/conf", "/sysconfig"})
      copy(saved + folder, std::string("/etc") + folder);
    World::write("/etc/postfix/main.cf", mail);
  };
}

std::string withoutDigits(std::string text) {
  for (char& c : text) c = c >= '0' && c <= '9' ? '9' : c;
  return text;
}

void addRows(World& world, const std::function<void()>& restore, std::vector<EntryPoint>& all) {
  for (const Getter& row : getters) {
    all.push_back(
        {.name = row.name,
         .call = [row](JNIEnv* env, jobject list, jobject) { return row.call(env, nullptr, list); },
         .failures = notAsked});
    if (all.back().name.find("getSys") != std::string::npos) all.back().constant = withoutDigits;
  }
  for (const Setter& row : setters) {
    const jstring value = world.vm.text(row.value);
    all.push_back(
        {row.name,
         [row, value](JNIEnv* env, jobject, jobject) { return row.call(env, nullptr, value); },
         row.status,
         {},
         restore,
         network});
  }
  for (const Action& row : actions) {
    all.push_back({row.name,
                   [row](JNIEnv* env, jobject, jobject) { return row.call(env, nullptr); },
                   row.status,
                   {},
                   restore,
                   network});
    all.back().allOrNothing = false;  // the system's half and Postfix's
  }
}

std::vector<EntryPoint> others(World& world, const std::function<void()>& restore) {
  Vm& vm = world.vm;
  const jstring device = vm.text("eth0"), address = vm.text("192.0.2.9"),
                mask = vm.text("255.255.255.0"), address6 = vm.text("2001:db8::9"),
                prefix = vm.text("64"), asia = vm.text("Asia"), japan = vm.text("Japan"),
                tokyo = vm.text("Tokyo"), parent = vm.text("127.0.0.1"),
                time = vm.text("2031-02-03 04:05:06");
#define READER(method)                                           \
  {"WzrdJNI." #method,                                           \
   [=](JNIEnv* env, jobject list, jobject) {                     \
     return NATIVE(WzrdJNI, method)(env, nullptr, device, list); \
   },                                                            \
   notAsked}
#define CHANGER(method, ...)                                           \
  {                                                                    \
    "WzrdJNI." #method,                                                \
        [=](JNIEnv* env, jobject, jobject) {                           \
          return NATIVE(WzrdJNI, method)(env, nullptr, ##__VA_ARGS__); \
        },                                                             \
        notRun, {}, restore, network                                   \
  }
  std::vector<EntryPoint> all = {
      READER(getIFV4Addr),
      READER(getIFV4NetMask),
      READER(getIFV6AddrMask),
      CHANGER(setIFV4Addr, device, address, mask),
      CHANGER(setIFV6Addr, device, address6, prefix),
      CHANGER(setTimeZone, asia, japan, tokyo),
      CHANGER(restartServices, 1),
      {"WzrdJNI.getCountryList", CALL(WzrdJNI, getCountryList, asia, list), notAsked},
      {"WzrdJNI.getCityList", CALL(WzrdJNI, getCityList, asia, japan, list), notAsked},
      {"WzrdJNI.getParentVersion", CALL(WzrdJNI, getParentVersion, parent, list), notAsked, {}},
      {"WzrdJNI.isIPv6Enable",
       CALL(WzrdJNI, isIPv6Enable),
       {101},  // which comes out as true
       {1}},
      CHANGER(setDateTime, time),
      CHANGER(afterRegister),
  };
  all.back().failures = {101};  // it says that it went on, but for want of memory
  return all;
}

}  // namespace

std::vector<EntryPoint> wizardCalls(World& world) {
  const std::function<void()> restore = restoring(world);
  std::vector<EntryPoint> all;
  addRows(world, restore, all);
  for (EntryPoint& entry : others(world, restore)) all.push_back(std::move(entry));
  return all;
}
