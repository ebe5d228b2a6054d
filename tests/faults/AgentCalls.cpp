#include "World.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_MTAlogJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_QuarantineJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemMonitorJNI.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_TorvaCommonJNI.h"
#include "product/settings.h"
#include "support/Agent.h"

namespace {

constexpr const char* LETTER =
    "From: ann@example.com\r\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\nMIME-Version: 1.0\r\n"
    "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
    "Good morning \U0001F600\r\n";
constexpr const char* MAIL_LOG =
    "Nov 21 10:15:00 gate postfix/smtpd[1]: 4A0B: client=mx.example.org[192.0.2.1]\n"
    "Nov 21 10:15:01 gate postfix/smtp[2]: 4A0B: to=<ann@example.com>, status=sent (250 "
    "\U0001F600)\n";

constexpr jint page[] = {5, 0, 0, 1, 0, 0, 0, 0, 0};

std::shared_ptr<Agent> startAgent(World& world) {
  const std::string spool = world.dir.path("spool");
  for (const char* area : {"quarantine", "archive", "postponed"}) {
    World::write(spool + "/" + area + "/Q-1.eml", LETTER);
  }
  World::write(world.dir.path("export/.keep"), "");
  World::write(world.dir.path("maillog"), MAIL_LOG);
  return world.start<Agent>(Server::Words{"--spool", spool, "--export", world.dir.path("export"),
                                          "--maillog", world.dir.path("maillog")});
}

std::vector<EntryPoint> monitorCalls(World& world, jint port) {
  Vm& vm = world.vm;
  const jstring host = vm.text("127.0.0.1"), value = vm.text(std::string(520, 'n')),
                section = vm.text("faults"), key = vm.text("key"),
                patch = vm.text(std::string(520, '7'));
  const std::string address = "127.0.0.1:" + std::to_string(port);
  const jobject fleet = vm.list({address.c_str(), ("localhost:" + std::to_string(port)).c_str()});
  World::set("agent", "scanners", address);
  return {
      {"SystemMonitorJNI.getVESKVersion", CALL(SystemMonitorJNI, getVESKVersion, list)},
      {"SystemMonitorJNI.testConnection",
       CALL(SystemMonitorJNI, testConnection, host, port, list),
       {300}},
      {"SystemMonitorJNI.UnregisterNotify",
       CALL(SystemMonitorJNI, UnregisterNotify, host, port),
       {0},
       {1}},
      {"SystemMonitorJNI.sendServiceCmd",
       CALL(SystemMonitorJNI, sendServiceCmd, host, port, 3),
       {300}},
      {"SystemMonitorJNI.updateGlobalSetting",
       CALL(SystemMonitorJNI, updateGlobalSetting, value, section, key),
       {-1},
       {0},
       [] { World::set("faults", "key", "old"); },
       [] { return World::get("faults", "key"); }},
      {"SystemMonitorJNI.PatchSetNotify", CALL(SystemMonitorJNI, PatchSetNotify, patch), {-1}},
      {"SystemMonitorJNI.PostSetNotifyAllScanners",
       CALL(SystemMonitorJNI, PostSetNotifyAllScanners, fleet),
       {-1, -2}},
      {"TorvaCommonJNI.sendSystemCmd",
       CALL(TorvaCommonJNI, sendSystemCmd, host, port, 12),
       {0},
       {300}},
  };
}

std::vector<EntryPoint> messageCalls(World& world, const std::string& endpoint) {
  Vm& vm = world.vm;
  const jstring agent = vm.text(endpoint), message = vm.text("Q-1"), file = vm.text("whole.eml"),
                word = vm.text("status"), none = vm.text("");
  const jintArray block = vm.numbers({0, 0, 0, 0, 0, 0, 0, 0, 0});
  return {
      {"QuarantineJNI.getEmail",
       CALL(QuarantineJNI, getEmail, agent, message, file, JNI_FALSE),
       {0},
       {1}},
      {"QuarantineJNI.getEmail_P",
       CALL(QuarantineJNI, getEmail_1P, agent, message, file),
       {0},
       {1}},
      {"QuarantineJNI.getMsgHeaderOrBody",
       CALL(QuarantineJNI, getMsgHeaderOrBody, agent, message, JNI_FALSE, list),
       {0},
       {1}},
      {"QuarantineJNI.getMsgHeaderOrBody_P",
       CALL(QuarantineJNI, getMsgHeaderOrBody_1P, agent, message, list),
       {0},
       {1}},
      {.name = "QuarantineJNI.sendQueueManagementAction",
       .call = CALL(QuarantineJNI, sendQueueManagementAction, agent)},
      {.name = "MTAlogJNI.getMTAEventSubmit",
       .call = CALL(MTAlogJNI, getMTAEventSubmit, agent, word, 0, block, none, list),
       .prepare = [&vm, block] { vm.env->SetIntArrayRegion(block, 0, 9, page); },
       .effect = [&vm, block] { return vm.show(block) + "\n"; },
       .lesser = {"[][]null", "[, ][]null"},
       .mayDoNothing = true},
  };
}

}  // namespace

std::vector<EntryPoint> agentCalls(World& world) {
  const std::shared_ptr<Agent> agent = startAgent(world);
  World::set("agent", "connect_timeout", "1");
  World::set("agent", "timeout", "1");
  for (const char* calls : {"SystemMonitorJNI.test", "SystemMonitorJNI.Un", "SystemMonitorJNI.send",
                            "SystemMonitorJNI.P", "Torva", "Quarantine", "MTAlog"}) {
    world.peers.push_back({"agent", agent->pid(), calls, 2});
  }
  std::vector<EntryPoint> all = monitorCalls(world, agent->port());
  for (EntryPoint& entry : messageCalls(world, agent->endpoint())) all.push_back(std::move(entry));
  return all;
}
