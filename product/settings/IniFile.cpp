#include "IniFile.h"

#include <ini.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

namespace VESK {
namespace {

constexpr std::size_t largestFile = 16 * 1024 * 1024;
// inih keeps 49 bytes of a section name and drops the rest: a name that fills them may be cut.
constexpr std::size_t longestSection = 48;

struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

std::string describe(int error) { return std::generic_category().message(error); }

IniProblem unreadable(const char* path, int error) {
  if (error == ENOENT) {
    return {path, "missing", describe(error), "check VESK_HOME and its config folder"};
  }
  return {path, "unreadable", describe(error), "give the console's account the right to read it"};
}

bool readText(const char* path, std::string& text, IniProblem& problem) {
  const FileHandle stream(std::fopen(path, "re"));
  if (stream == nullptr) {
    problem = unreadable(path, errno);
    return false;
  }
  char block[16384];
  std::size_t length = 0;
  while ((length = std::fread(block, 1, sizeof block, stream.get())) > 0) {
    text.append(block, length);
    if (text.size() <= largestFile) continue;
    problem = {path, "too large", "more than 16 MiB", "is this the settings file?"};
    return false;
  }
  if (std::ferror(stream.get()) != 0) problem = unreadable(path, errno);
  return std::ferror(stream.get()) == 0;
}

IniProblem syntaxError(const char* path, std::size_t line, const char* detail) {
  return {std::string(path) + ":" + std::to_string(line), "syntax error", detail,
          "a line is [section], key = value or a comment"};
}

// A text ends at a NUL byte for inih: what follows in the line would be dropped without a word.
bool isText(const char* path, const std::string& text, IniProblem& problem) {
  const auto nul = std::find(text.begin(), text.end(), '\0');
  if (nul == text.end()) return true;
  const auto line = static_cast<std::size_t>(std::count(text.begin(), nul, '\n')) + 1;
  problem = syntaxError(path, line, "NUL byte, not plain or UTF-8 text");
  return false;
}

void configureParser(std::size_t longestLine) {
  ini_allow_bom = true;
  ini_allow_inline_comments = false;  // lists of addresses hold semicolons
  ini_allow_multiline = false;        // an indented line is an item, not the rest of the last one
  ini_allow_no_value = false;
  ini_stop_on_first_error = true;
  ini_use_stack = false;
  ini_allow_realloc = false;
  ini_initial_alloc = ini_max_line = static_cast<int>(longestLine);
}

std::size_t longestLineOf(const std::string& text) {
  std::size_t longest = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

struct Parse {
  std::vector<IniItem>& items;
  const char* complaint = "neither a section, an item nor a comment";
};

int takeItem(void* user, const char* section, const char* key, const char* value) {
  auto& parse = *static_cast<Parse*>(user);
  if (std::strlen(section) > longestSection) {
    parse.complaint = "the name of its section is longer than 48 bytes";
    return 0;
  }
  if (*key == '\0') {
    parse.complaint = "no key before the sign";
    return 0;
  }
  parse.items.push_back({section, key, value});
  return 1;
}

}  // namespace

bool readIniFile(const char* path, std::vector<IniItem>& items, IniProblem& problem) {
  std::string text;
  if (!readText(path, text, problem) || !isText(path, text, problem)) return false;
  configureParser(longestLineOf(text) + 3);  // line end and NUL
  Parse parse{items};
  const int line = ini_parse_string(text.c_str(), takeItem, &parse);
  if (line == 0) return true;
  problem = line > 0 ? syntaxError(path, static_cast<std::size_t>(line), parse.complaint)
                     : unreadable(path, ENOMEM);
  return false;
}

}  // namespace VESK
