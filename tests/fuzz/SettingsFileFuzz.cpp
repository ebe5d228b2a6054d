// The settings file: what is read, written down in its plainest form, is read as the same.
#include <algorithm>

#include "Fuzz.h"
#include "settings/IniFile.h"

namespace {

using VESK::IniItem;
using VESK::IniProblem;

bool isSame(const IniItem& one, const IniItem& other) {
  return one.section == other.section && one.key == other.key && one.value == other.value;
}

std::string written(const std::vector<IniItem>& items) {
  std::string text = ";\n";  // a mark in front of the first key is part of it
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i == 0 ? !items[i].section.empty() : items[i].section != items[i - 1].section) {
      text += "[" + items[i].section + "]\n";
    }
    text += items[i].key + "=" + items[i].value + "\n";
  }
  return text;
}

bool read(const std::string& text, std::vector<IniItem>& items, IniProblem& problem) {
  const fuzz::MemoryFile file(text);
  return VESK::readIniFile(file.path().c_str(), items, problem);
}

void expectForm(const IniItem& item) {
  FUZZ_EXPECT(item.section.size() <= 48 && !item.key.empty());
  const std::string all = item.section + item.key + item.value;
  FUZZ_EXPECT(all.find('\n') == std::string::npos && all.find('\0') == std::string::npos);
  FUZZ_EXPECT(item.key.find_first_of("=:") == std::string::npos);
}

// What no input can be.
bool refusesWhatItCannotRead() {
  std::vector<IniItem> items;
  IniProblem problem;
  FUZZ_EXPECT(!VESK::readIniFile("/nowhere/vesk.ini", items, problem));
  FUZZ_EXPECT(problem.reason == "missing");
  FUZZ_EXPECT(!VESK::readIniFile("/", items, problem) && problem.reason == "unreadable");
  FUZZ_EXPECT(!read(std::string((16 << 20) + 1, ' '), items, problem));
  FUZZ_EXPECT(problem.reason == "too large");
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  static const bool refuses = refusesWhatItCannotRead();
  static_cast<void>(refuses);
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<IniItem> items;
  IniProblem problem;
  if (!read(text, items, problem)) {
    FUZZ_EXPECT(!problem.where.empty() && !problem.reason.empty() && !problem.detail.empty());
    return 0;
  }
  std::for_each(items.begin(), items.end(), expectForm);
  std::vector<IniItem> again;
  FUZZ_EXPECT(read(written(items), again, problem));
  FUZZ_EXPECT(std::equal(items.begin(), items.end(), again.begin(), again.end(), isSame));
  return 0;
}
