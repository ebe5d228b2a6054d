// The host utilities against bare C and against what Java offers, in one VM whose heap is large and
// touched, as a console's is.
#include <arpa/inet.h>
#include <jni.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Compare.h"
#include "JniCommon.h"
#include "RestrictionFile.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_IPv6JNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_JniInit.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_WzrdJNI.h"
#include "restrictionfloor.h"

namespace {

#define PEER(peer, method) Java_com_brelvik_vesk_ui_modelobjects_jni_##peer##_##method

constexpr int RULES = 1'000'000;

JNIEnv* startVm(const std::string& classPath) {
  std::string path = "-Djava.class.path=" + classPath;
  JavaVMOption options[] = {{const_cast<char*>("-Xms2g"), nullptr},
                            {const_cast<char*>("-Xmx2g"), nullptr},
                            {const_cast<char*>("-XX:+AlwaysPreTouch"), nullptr},
                            {path.data(), nullptr}};
  JavaVMInitArgs arguments{JNI_VERSION_1_8, std::size(options), options, JNI_FALSE};
  JavaVM* vm = nullptr;
  void* env = nullptr;
  bench::require(JNI_CreateJavaVM(&vm, &env, &arguments) == JNI_OK, "no Java VM");
  return static_cast<JNIEnv*>(env);
}

// A list for one call and its texts afterwards.
struct List {
  explicit List(JNIEnv* jniEnv) : env(jniEnv), object(env->NewObject(jArrLClz, jArrLCon)) {}
  ~List() { env->DeleteLocalRef(object); }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  void check() const {
    bench::require(!env->ExceptionCheck() && env->CallIntMethod(object, jArrLSize) == 1,
                   "no answer in the list");
  }
  JNIEnv* env;
  jobject object;
};

void barePopen(JNIEnv* env, const char* command) {
  const List list(env);
  std::FILE* output = popen(command, "r");
  char line[1024] = {};
  bench::require(output != nullptr && std::fgets(line, sizeof line, output) != nullptr, "no line");
  pclose(output);
  line[std::strcspn(line, "\n")] = '\0';
  jstring text = env->NewStringUTF(line);
  env->CallBooleanMethod(list.object, jArrLAdd, text);
  env->DeleteLocalRef(text);
  list.check();
}

void getters(JNIEnv* env, jclass peers) {
  const char* command = "/bin/date +%T";
  jmethodID run =
      env->GetStaticMethodID(peers, "processBuilder", "(Ljava/lang/String;Ljava/util/ArrayList;)V");
  bench::require(run != nullptr, "no HostPeers.processBuilder");
  jstring text = env->NewStringUTF(command);
  bench::compare("getter, 2 GiB heap", 101,
                 {{"bare popen", [=] { barePopen(env, command); }},
                  {"WzrdJNI.getSysTime",
                   [=] {
                     const List list(env);
                     PEER(WzrdJNI, getSysTime)(env, nullptr, list.object);
                     list.check();
                   }},
                  {"ProcessBuilder", [=] {
                     const List list(env);
                     env->CallStaticVoidMethod(peers, run, text, list.object);
                     list.check();
                   }}});
}

std::vector<jstring> addresses(JNIEnv* env) {
  std::vector<jstring> all;
  for (unsigned i = 0; i < 1000; ++i) {
    char text[64];
    std::snprintf(text, sizeof text, "2001:0DB8:%x:%x::%X/%u", i * 7919 % 65536, i * 104729 % 65536,
                  i + 1, 1 + i % 128);
    all.push_back(env->NewStringUTF(text));
  }
  return all;
}

jstring bareFormat(JNIEnv* env, jstring address) {
  const char* chars = env->GetStringUTFChars(address, nullptr);
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), "%s", chars);
  env->ReleaseStringUTFChars(address, chars);
  char* slash = std::strchr(text.data(), '/');
  const int prefix = std::atoi(slash + 1);
  *slash = '\0';
  std::array<unsigned char, 16> bytes{};
  bench::require(inet_pton(AF_INET6, text.data(), bytes.data()) == 1, "no address");
  for (int i = prefix; i < 128; ++i) {
    bytes[static_cast<std::size_t>(i / 8)] &= static_cast<unsigned char>(~(0x80 >> i % 8));
    if (i % 8 == 0) {
      std::memset(bytes.data() + i / 8, 0, static_cast<std::size_t>(16 - i / 8));
      break;
    }
  }
  inet_ntop(AF_INET6, bytes.data(), text.data(), INET6_ADDRSTRLEN);
  std::snprintf(text.data() + std::strlen(text.data()), 8, "/%d", prefix);
  return env->NewStringUTF(text.data());
}

// Each run is a million addresses.
template <typename Format>
auto million(JNIEnv* env, const std::vector<jstring>& all, const Format& format) {
  return [=, &all] {
    for (int round = 0; round < 1000; ++round) {
      for (jstring address : all) {
        auto answer = static_cast<jstring>(format(address));
        bench::require(answer != nullptr, "no answer");
        env->DeleteLocalRef(answer);
      }
    }
  };
}

void ipv6(JNIEnv* env, jclass peers) {
  const std::vector<jstring> all = addresses(env);
  jmethodID java = env->GetStaticMethodID(peers, "inet6", "(Ljava/lang/String;)Ljava/lang/String;");
  bench::require(java != nullptr, "no HostPeers.inet6");
  for (jstring address : all) {
    const char* one = env->GetStringUTFChars(bareFormat(env, address), nullptr);
    const char* other =
        env->GetStringUTFChars(PEER(IPv6JNI, formatIPv6WithMask)(env, nullptr, address), nullptr);
    bench::require(std::strcmp(one, other) == 0, "different addresses");
  }
  bench::compare(
      "IPv6 form, 1,000,000 addresses", 7,
      {{"bare JNI call", million(env, all, [=](jstring a) { return bareFormat(env, a); })},
       {"IPv6JNI.formatIPv6WithMask",
        million(env, all,
                [=](jstring a) { return PEER(IPv6JNI, formatIPv6WithMask)(env, nullptr, a); })},
       {"Inet6Address", million(env, all, [=](jstring a) {
          return env->CallStaticObjectMethod(peers, java, a);
        })}});
}

// Hosts and networks of seven kinds: about 7.5 lines a rule.
void writeRules(const std::string& path) {
  constexpr int LENGTHS[] = {32, 24, 22, 20, 30, 27, 16, 0};
  std::ofstream rules(path);
  for (unsigned i = 0; i < RULES; ++i) {
    const unsigned value = i * 2654435761U;
    rules << (value >> 24) << '.' << (value >> 16 & 255) << '.' << (value >> 8 & 255) << '.'
          << (value & 255);
    if (const int length = LENGTHS[i % 8]; length > 0) rules << '/' << length;
    rules << (i % 3 == 0 ? " REJECT not from here\n" : " OK\n");
  }
}

double peakKib() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double value = 0;
    if (word == "VmHWM:" && status >> value) return value;
  }
  return 0;
}

std::function<void()> shell(const std::string& command) {
  return [command] { bench::require(std::system(command.c_str()) == 0, command.c_str()); };
}

void restrictions(const std::string& folder, const std::string& scripts) {
  const std::string rules = folder + "/rules";
  const auto table = [&](const char* who) { return folder + "/" + who; };
  writeRules(rules);
  const auto floor = [=] {
    bench::require(floor_restrictions(rules.c_str(), table("floor").c_str()) == 0, "floor failed");
  };
  const auto bridge = [=] {
    bench::require(writeRestrictionFile(rules.c_str(), table("bridge").c_str()), "bridge failed");
  };
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
  const double before = peakKib();
  bridge();
  bench::report("restrictions, peak memory", "beyond the VM's", peakKib() - before, "KiB", 0);
  const std::string in = " <" + rules + " >";
  bench::compare("restrictions, 1,000,000 rules", 3,
                 {{"C floor", floor},
                  {"composeClientRestrictionFile", bridge},
                  {"awk", shell("awk -f " + scripts + "/restrictions.awk" + in + table("awk"))},
                  {"perl", shell("perl " + scripts + "/restrictions.pl" + in + table("perl"))}});
  for (const char* other : {"bridge", "awk", "perl"}) {
    shell("cmp " + table("floor") + " " + table(other))();
  }
}

}  // namespace

// host CLASSES SCRIPTS: where HostPeers.class and the awk and perl programs are
int main(int argc, char** argv) {
  bench::require(argc == 3, "usage: host CLASSES SCRIPTS");
  JNIEnv* env = startVm(argv[1]);
  std::string folder = std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX";
  bench::require(mkdtemp(folder.data()) != nullptr, "no temporary folder");
  std::filesystem::create_directories(folder + "/home/config");
  std::filesystem::create_directories(folder + "/home/log");
  std::ofstream(folder + "/home/config/vesk.ini") << "[log_level]\nui = NOLOG\n";
  setenv("VESK_HOME", (folder + "/home").c_str(), 1);
  bench::require(PEER(JniInit, initializeJNI)(env, nullptr) == 0, "initializeJNI failed");
  jclass peers = env->FindClass("HostPeers");
  bench::require(peers != nullptr, "no class HostPeers");
  restrictions(folder, argv[2]);
  getters(env, peers);
  ipv6(env, peers);
  std::filesystem::remove_all(folder);
  return 0;
}
