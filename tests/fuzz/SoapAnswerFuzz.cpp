// What an agent answers: either a reason why it is refused, or values of the types that were asked
// for.
#include <cmath>

#include "Fuzz.h"
#include "agent/Address.h"
#include "agent/Answer.h"
#include "agent/Markup.h"
#include "agent/Request.h"

namespace {

using namespace VESK::agent;

constexpr const char* operation = "getMTALog";

// The request of the same values: what it says is read back as it was said.
template <typename Value>
void expectSaid(const char* name, const Value& value) {
  Request request(operation);
  if constexpr (std::is_same_v<Value, std::string>) {
    request.put(name, value.c_str());
  } else {
    request.put(name, value);
  }
  FUZZ_EXPECT(request.unsendable() == nullptr);
  std::string text = request.bytes();
  for (const std::string tag : {"</getMTALog", "<getMTALog"}) {  // in a value they are escaped
    text.insert(text.find(tag) + tag.size(), "Response");
  }
  FUZZ_EXPECT(refusedMarkup(text) == nullptr);
  Answer answer;
  FUZZ_EXPECT(!answer.read(text, 200, operation));
  Value again{};
  FUZZ_EXPECT(!answer.get(name, again));
  if constexpr (std::is_same_v<Value, double>) {
    FUZZ_EXPECT(again == value || (std::isnan(again) && std::isnan(value)));
  } else {
    FUZZ_EXPECT(again == value);
  }
}

template <typename Value>
void expectValue(const Answer& answer, const char* name) {
  Value value{};
  if (!answer.get(name, value)) expectSaid(name, value);
}

void expectText(const Answer& answer, const char* name) {
  std::string value;
  if (answer.get(name, value)) return;
  FUZZ_EXPECT(fuzz::isUtf8(value));
  // XML has no form for some characters, and reads a carriage return as the end of a line.
  if (value.find('\r') == std::string::npos && fuzz::isUtf8(value) &&
      value.find_first_of("\x01\x02\x03\x04\x05\x06\x07\x08\x0B\x0C\x0E\x0F") ==
          std::string::npos) {
    Request request(operation);
    request.put(name, value.c_str());
    if (request.unsendable() == nullptr) expectSaid(name, value);
  }
}

void expectAddress(const std::string& text) {
  const Address address = addressOf(text.c_str());
  FUZZ_EXPECT(address.url.empty() == static_cast<bool>(address.failure));
  FUZZ_EXPECT(!address.peer.empty() && address.peer.find('\n') == std::string::npos);
  if (address.failure) return;
  FUZZ_EXPECT(address.url.starts_with("http://"));
  const Address again = addressOf(address.url.c_str());
  FUZZ_EXPECT(!again.failure && again.peer == address.peer && again.url == address.url);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const long status = input.byte() == 0 ? 200 : 500;
  const std::string text = input.rest();
  if (!text.starts_with('<')) expectAddress(text.substr(0, text.find('\0')));
  Answer answer;
  if (const Failure failure = answer.read(text, status, operation)) {
    FUZZ_EXPECT(*failure.hint != '\0');
    return 0;
  }
  FUZZ_EXPECT(status == 200 && refusedMarkup(text) == nullptr);
  expectValue<bool>(answer, "accepted");
  expectValue<int>(answer, "pagesize");
  expectValue<unsigned>(answer, "inode");
  expectValue<double>(answer, "answer");
  expectText(answer, "events");
  return 0;
}
