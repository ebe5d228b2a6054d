// What commands print: Postfix's settings and the first lines that the wizard shows.
#include <algorithm>
#include <cstdio>

#include "Command.h"
#include "FakeJava.h"
#include "Fuzz.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI.h"

namespace {

std::string output;

}  // namespace

// The library starts its commands by these; no command is run.
extern "C" std::FILE* __wrap_popen(const char*, const char*) {
  return fmemopen(output.data(), output.size(), "r");
}
extern "C" int __wrap_pclose(std::FILE* stream) { return std::fclose(stream); }

namespace {

constexpr std::size_t longestLine = 1023;

// The line that a command's reader sees: up to its end, and of a zero byte in it.
std::string firstLine() {
  std::string line = output.substr(0, std::min(output.find('\n'), output.size() - 1) + 1);
  line = line.substr(0, longestLine);
  return line.substr(0, line.find('\0'));
}

// "name = value": what is behind the first blank behind the sign.
std::string valueIn(std::string line) {
  line = line.substr(0, line.find('\n'));
  const std::size_t sign = line.find('=');
  const std::size_t blank = sign == std::string::npos ? sign : line.find(' ', sign);
  return blank == std::string::npos ? "" : line.substr(blank + 1);
}

void expectValue() {
  fuzz::FakeJava java;
  const jint code = Java_com_brelvik_vesk_ui_modelobjects_jni_PostfixJNI_getPostconf(
      java.env(), nullptr, java.string(u"myhostname"), java.list());
  if (output.empty()) {
    FUZZ_EXPECT(code == 102 && java.added.empty());
    return;
  }
  FUZZ_EXPECT(code == 0 && java.added.size() == 1);
  const std::string value = valueIn(firstLine());
  if (fuzz::isUtf8(value)) {
    FUZZ_EXPECT(java.added[0].size() >= value.size());
    const bool isChanged = std::any_of(
        value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) >= 0xF0; });
    FUZZ_EXPECT(isChanged || java.added[0] == value);
  }
}

void expectQuery() {
  fuzz::FakeJava java;
  const jint code =
      queryToList(java.env(), java.list(), "WzrdJNI.get", wizardCommandSize, "%s", "command");
  FUZZ_EXPECT(code == (output.empty() ? 102 : 0) && java.added.size() == (output.empty() ? 0 : 1));
  if (code == 0 && java.added[0] != "\n") {
    FUZZ_EXPECT(java.added[0].find('\n') == std::string::npos);
  }
}

void expectLines() {
  std::size_t bytes = 0;
  FUZZ_EXPECT(readLines("command", [&bytes](OutputLine& line) {
                bytes += std::string_view(line.text).size();
                line.cutAtNewline();
              }) == 0);
  FUZZ_EXPECT(bytes <= output.size());
  FUZZ_EXPECT(bytes == output.size() || output.find('\0') != std::string::npos);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  output.assign(reinterpret_cast<const char*>(data), size);
  expectValue();
  expectQuery();
  expectLines();
  return 0;
}
