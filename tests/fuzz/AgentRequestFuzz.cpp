// Requests that reach the reference agent: a fault, or an answer that the product's client reads.
#include <filesystem>

#include "Fuzz.h"
#include "Message.h"
#include "Operations.h"
#include "agent/Answer.h"
#include "agent/Markup.h"

namespace {

namespace fs = std::filesystem;

// A spool with one message an area, a log of one line, and a folder that exports may go to.
std::string makeWorld() {
  const std::string base = fuzz::scratchFolder() + "/agent";
  for (const char* area : {"quarantine", "archive", "postponed"}) {
    fs::create_directories(base + "/spool/" + area);
    fuzz::writeFile(base + "/spool/" + area + "/m1.eml",
                    "Subject: Hello\nFrom: a@example.com\n\nWords\n");
  }
  fs::create_directories(base + "/export/sub");
  fs::create_directories(base + "/elsewhere");
  fs::create_directory_symlink("../elsewhere", base + "/export/link");
  fuzz::writeFile(base + "/maillog", "Nov 21 10:15:00 mx postfix/smtpd[1]: connect\n");
  agent::Message::initialise();
  return base;
}

struct World {
  std::string base = makeWorld();
  agent::Agent agent{agent::Misbehaviour(), agent::Events(""),
                     agent::Quarantine(base + "/spool", base + "/export"),
                     agent::MailLog(base + "/maillog")};
};

void expectAnswer(const std::string& operation, const std::string& answer) {
  FUZZ_EXPECT(VESK::agent::refusedMarkup(answer) == nullptr && fuzz::isUtf8(answer));
  VESK::agent::Answer read;
  FUZZ_EXPECT(!read.read(answer, 200, operation.c_str()));
  bool accepted = false;
  FUZZ_EXPECT(!read.get("accepted", accepted));
}

void expectFault(const agent::Fault& fault) {
  const std::string answer = agent::faultXml(fault);
  FUZZ_EXPECT(VESK::agent::refusedMarkup(answer) == nullptr && fuzz::isUtf8(answer));
  VESK::agent::Answer read;
  FUZZ_EXPECT(read.read(answer, 500, "test").reason == "a SOAP fault");
}

// Exports reach their folder only, and nothing is left half done.
void expectInside(const World& world) {
  FUZZ_EXPECT(fs::is_empty(world.base + "/elsewhere"));
  for (const auto& entry : fs::directory_iterator(world.base)) {
    const std::string name = entry.path().filename();
    FUZZ_EXPECT(name == "spool" || name == "export" || name == "elsewhere" || name == "maillog");
  }
  for (const auto& entry : fs::recursive_directory_iterator(world.base + "/export")) {
    if (!entry.is_regular_file()) continue;
    FUZZ_EXPECT(!entry.path().filename().string().starts_with(".vesk-"));
    fs::remove(entry.path());
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  static World world;
  try {
    const agent::Request request(std::string(reinterpret_cast<const char*>(data), size));
    const std::string operation = request.operation();
    const std::string answer = agent::perform(world.agent, request);
    FUZZ_EXPECT(agent::isOperation(operation));
    expectAnswer(operation, answer);
    if (operation.starts_with("getWholeMsg")) expectInside(world);
  } catch (const agent::Fault& fault) {
    expectFault(fault);
  }
  return 0;
}
