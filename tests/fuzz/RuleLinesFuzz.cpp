// Rule lines of the client restriction table.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Fuzz.h"
#include "RestrictionFile.h"
#include "RestrictionRules.h"

namespace {

constexpr std::size_t keyWidth = 20;

constexpr std::string_view firstRule = "192.0.2.1\tOK\n";
constexpr std::string_view firstLine = "192.0.2.1           \tOK\n";
// Behind a line end of its own: the rules before may end within a line.
constexpr std::string_view lastRule = "\n192.0.2.255 REJECT";
constexpr std::string_view lastLine = "192.0.2.255         \tREJECT\n";

// What stands between two good rules never costs them their lines.
void expectTable(std::string_view table) {
  FUZZ_EXPECT(table.starts_with(firstLine) && table.ends_with(lastLine));
  while (!table.empty()) {
    const std::size_t end = table.find('\n');
    FUZZ_EXPECT(end != std::string_view::npos);
    // "%-20s\t%s\n", and no line without an action.
    const std::size_t tab = table.substr(0, end).find('\t', keyWidth);
    FUZZ_EXPECT(tab < end - 1);
    table.remove_prefix(end + 1);
  }
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string linesOf(const std::string& address, const std::string& prefix) {
  char* text = nullptr;
  std::size_t length = 0;
  std::unique_ptr<std::FILE, CloseFile> out(open_memstream(&text, &length));
  FUZZ_EXPECT(out != nullptr);
  EnumerateAlternateIPAddresses(address.c_str(), prefix.c_str(), out.get(), "OK");
  out.reset();
  std::string lines(text, length);
  std::free(text);
  return lines;
}

std::string dotted(std::uint32_t value, unsigned octets) {
  std::string text;
  for (unsigned i = 0; i < octets; ++i) {
    text += (i > 0 ? "." : "") + std::to_string(value >> (24 - 8 * i) & 0xFF);
  }
  return text;
}

// The keys of a network, of one bit at least, are the prefixes at octet borders that it has, in
// their order.
void expectExpansion(std::uint32_t address, unsigned prefix) {
  const unsigned octets = (prefix + 7) / 8;
  const std::uint32_t network = prefix == 32 ? address : address & ~(0xFFFFFFFFU >> prefix);
  std::string expected;
  for (std::uint32_t i = 0; i < 1U << (8 * octets - prefix); ++i) {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): the first octet is there
    std::string key = dotted(network + (i << (32 - 8 * octets)), octets);
    // Whole octets are cut off the text that was given.
    if (prefix % 8 == 0) key = dotted(address, octets);
    key.resize(std::max(key.size(), keyWidth), ' ');
    expected += key + "\tOK\n";
  }
  FUZZ_EXPECT(linesOf(dotted(address, 4), std::to_string(prefix)) == expected);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const std::uint32_t address = input.number();
  expectExpansion(address, 1 + input.byte() % 32U);
  const std::string rules = std::string(firstRule) + input.rest() + std::string(lastRule);
  const fuzz::MemoryFile from(rules);
  const fuzz::MemoryFile to("an older table");
  FUZZ_EXPECT(writeRestrictionFile(from.path().c_str(), to.path().c_str()));
  FUZZ_EXPECT(from.content() == rules);
  const std::string table = to.content();
  expectTable(table);
  // A table with a name is replaced, one without is written in place: they come out the same.
  const std::string named = fuzz::scratchFolder() + "/table";
  FUZZ_EXPECT(writeRestrictionFile(from.path().c_str(), named.c_str()));
  FUZZ_EXPECT(fuzz::readFile(named) == table);
  return 0;
}
