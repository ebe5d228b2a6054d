// The agent client against libcurl alone and against the JDK's HTTP client.
// Argument: the folder of AgentPeers.class.
#include <jni.h>

#include <chrono>
#include <list>
#include <string>
#include <vector>

#include "Agents.h"
#include "Compare.h"
#include "agentfloor.h"
#include "product/agent.h"

namespace {

using bench::require;

constexpr int FLEET = 500;
constexpr int DEAD = 20;
constexpr std::size_t CONNECTIONS = 256;
constexpr const char* ACTION = "urn:brelvik:vesk:agent:1#";

std::string envelope(const std::string& element, const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><" +
         element + " xmlns=\"urn:brelvik:vesk:agent:1\">" + content + "</" + element +
         "></soap:Body></soap:Envelope>";
}

JNIEnv* startVm(const std::string& classPath) {
  std::string path = "-Djava.class.path=" + classPath;
  JavaVMOption options[] = {{path.data(), nullptr}};
  JavaVMInitArgs arguments{JNI_VERSION_1_8, 1, options, JNI_FALSE};
  JavaVM* vm = nullptr;
  void* env = nullptr;
  require(JNI_CreateJavaVM(&vm, &env, &arguments) == JNI_OK, "no Java VM");
  return static_cast<JNIEnv*>(env);
}

void test() {
  const bench::Agents agents(
      1, 0, envelope("testResponse", "<accepted>true</accepted><answer>2702</answer>"));
  const std::string address = "http://127.0.0.1:" + std::to_string(agents.ports()[0]);
  const std::string url = address + "/agent";
  const std::string request = envelope("test", "<first>1980</first><second>722</second>");
  bench::compare(
      "agent, connection test", 101,
      {{"bare curl POST",
        [&] {
          const std::string action = std::string(ACTION) + "test";
          require(floor_post(url.c_str(), action.c_str(), request.c_str()) > 0, "no answer");
        }},
       {"library",
        [&] {
          double sum = 0;
          require(AgentSOAPClient::test(address.c_str(), 1980, 722, sum) && sum == 2702, "no sum");
        }}},
      20);
}

// 500 agents that answer after 50 ms, and what 20 dead ones among them add.
void fleet(JNIEnv* env) {
  const bench::Agents agents(FLEET, 50,
                             envelope("PostSetNotifyResponse", "<accepted>true</accepted>"));
  const std::string action = std::string(ACTION) + "PostSetNotify";
  const std::string request = envelope("PostSetNotify", "");
  std::vector<std::string> addresses, urls;
  std::string all;
  for (const int port : agents.ports()) {
    addresses.push_back("127.0.0.1:" + std::to_string(port));
    urls.push_back("http://" + addresses.back() + "/agent");
    all += urls.back() + " ";
  }
  std::vector<const char*> texts;
  for (const std::string& url : urls) texts.push_back(url.c_str());
  const auto tell = [](const std::vector<std::string>& to) {
    std::string reply;
    return AgentSOAPClient::PostSetNotifyAllScanners(to, reply);
  };
  jclass peers = env->FindClass("AgentPeers");
  require(peers != nullptr, "no AgentPeers");
  jmethodID post = env->GetStaticMethodID(
      peers, "postAll", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)I");
  jstring javaUrls = env->NewStringUTF(all.c_str());
  jstring javaAction = env->NewStringUTF(action.c_str());
  jstring javaBody = env->NewStringUTF(request.c_str());
  bench::compare(
      "agents, 500 notified, 50 ms each", 15,
      {{"bare curl multi",
        [&] {
          require(floor_post_all(texts.data(), texts.size(), action.c_str(), request.c_str(),
                                 CONNECTIONS) == FLEET,
                  "not all answered");
        }},
       {"library", [&] { require(tell(addresses) == FLEET, "not all were told"); }},
       {"JDK's asynchronous client", [&] {
          require(env->CallStaticIntMethod(peers, post, javaUrls, javaAction, javaBody) == FLEET,
                  "not all answered Java");
        }}});
  std::list<bench::DeadPort> dead(DEAD);
  std::size_t place = 0;
  for (const bench::DeadPort& port : dead) {
    addresses[place] = "127.0.0.1:" + std::to_string(port.port());
    place += FLEET / DEAD;
  }
  const auto start = std::chrono::steady_clock::now();
  require(tell(addresses) == -DEAD, "another number of dead agents");
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  constexpr double connectTimeout = 5;
  bench::report("agents, 20 of 500 dead", "library", taken.count(), "s",
                taken.count() / connectTimeout);
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 2, "usage: agent CLASSES");
  test();
  fleet(startVm(argv[1]));
}
