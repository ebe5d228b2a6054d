// Texts on their way from Java and back: whatever they hold, the library sees UTF-8 or says that it
// does not, and Java gets its modified form.
#include <algorithm>

#include "FakeJava.h"
#include "Fuzz.h"
#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "product/agent/Text.h"
#include "product/directory/Text.h"
#include "product/filter/Text.h"

namespace {

std::u16string unitsOf(const std::string& bytes) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) << 8 |
                                   static_cast<unsigned char>(bytes[i + 1]));
  }
  return units;
}

// A lone surrogate is the only thing in a Java string that has no UTF-8.
bool isWhole(const std::u16string& units) {
  for (std::size_t i = 0; i < units.size(); ++i) {
    const bool high = units[i] >= 0xD800 && units[i] < 0xDC00;
    const bool paired = high && i + 1 < units.size() && units[i + 1] / 0x400 == 0x37;
    if (paired) ++i;
    if (!paired && units[i] / 0x800 == 0x1B) return false;
  }
  return true;
}

void expectReads(const std::u16string& units) {
  fuzz::FakeJava java;
  const VeskJniString read(java.env(), java.string(units));
  const std::string text = read.str;
  const std::string all = fuzz::modifiedUtf8(units);
  // ASCII is copied, and ends at U+0000; the VM's own form has that in two bytes.
  FUZZ_EXPECT(text == all.substr(0, text.size()));
  FUZZ_EXPECT(text == all || units[text.size()] == 0);
  const std::string real = VESK::directory::realUtf8(text.c_str());
  const std::u16string before = units.substr(0, units.find(u'\0'));
  FUZZ_EXPECT(fuzz::isUtf8(real) == isWhole(before));
  // There and back.
  FUZZ_EXPECT(ModifiedUtf8(real.c_str()).c_str() == fuzz::modifiedUtf8(before));
}

void expectWrites(const std::string& text) {
  fuzz::FakeJava java;
  std::vector<std::string> items{text, "behind"};
  FUZZ_EXPECT(formJArrListStr(java.env(), items, java.list()) == 0);
  FUZZ_EXPECT(java.added.size() == 2 && java.added[1] == "behind");
  const std::string once = java.added[0];
  FUZZ_EXPECT(ModifiedUtf8(once.c_str()).c_str() == once);
  // All decoders agree on what the bytes mean.
  std::size_t bad = 0;
  const std::string filtered = VESK::filter::toUtf8(text, bad);
  FUZZ_EXPECT(fuzz::isUtf8(filtered));
  FUZZ_EXPECT(VESK::agent::validUtf8(text) == filtered);
  FUZZ_EXPECT(VESK::filter::toUtf8(once, bad) == filtered);
  if (const auto xml = VESK::agent::textForXml(text)) FUZZ_EXPECT(*xml == filtered);
  if (fuzz::isUtf8(text)) FUZZ_EXPECT(filtered == text);
}

void expectCuts(const std::string& text, std::size_t size) {
  fuzz::GuardedBuffer buffer(size + 1);
  VESK::agent::copyCut(text, buffer.data(), size);
  const std::string_view kept = buffer.text();
  FUZZ_EXPECT(text.starts_with(kept) && (!fuzz::isUtf8(text) || fuzz::isUtf8(kept)));
  const std::string line = VESK::agent::oneLine(text);
  FUZZ_EXPECT(fuzz::isUtf8(line) && line.find('\n') == std::string::npos);
}

template <std::size_t Limit>
void expectBytes(const std::string& bytes) {
  fuzz::FakeJava java;
  const JniByteText<Limit> text(java.env(), java.bytes(bytes));
  FUZZ_EXPECT(std::string_view(bytes).substr(0, Limit).starts_with(text.c_str()));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const std::size_t cut = input.byte();
  const std::string bytes = input.rest();
  const std::string text = bytes.substr(0, bytes.find('\0'));
  expectReads(unitsOf(bytes));
  expectWrites(text);
  expectCuts(text, cut);
  expectBytes<255>(bytes);
  return 0;
}
