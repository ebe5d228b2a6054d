// Quarantined mail: what a console shows of it fits, and is text that XML can hold.
#include <fcntl.h>

#include "Fuzz.h"
#include "Html.h"
#include "Message.h"

namespace {

void expectShown(const std::string& text, std::size_t limit) {
  FUZZ_EXPECT(text.size() <= limit && fuzz::isUtf8(text));
  for (const char c : text) {
    FUZZ_EXPECT(static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t' || c == '\r');
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool started = (agent::Message::initialise(), true);
  static_cast<void>(started);
  fuzz::Input input(data, size);
  const std::size_t limit = 8 * std::size_t{input.byte()};
  const std::string content = input.rest();
  const fuzz::MemoryFile file(content);
  const agent::Message message(VESK::Descriptor(::open(file.path().c_str(), O_RDONLY | O_CLOEXEC)));
  if (message.readable()) {
    expectShown(message.header(limit), limit);
    expectShown(message.text(limit), limit);
    expectShown(message.attachments(limit), limit);
  }
  // Characters by number may take more room than their names.
  FUZZ_EXPECT(agent::htmlText(content).size() <= 2 * content.size());
  return 0;
}
