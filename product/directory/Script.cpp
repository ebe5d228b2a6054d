#include "Script.h"

#include <ini.h>
#include <product/directory.h>
#include <product/log.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "Filter.h"

namespace VESK::directory {

namespace {

using Setter = bool (*)(Script&, std::string_view);

template <std::string Script::*FIELD>
bool setAttribute(Script& script, std::string_view text) {
  script.*FIELD = text;
  return isAttributeName(text);
}

template <std::string Script::*FIELD>
bool setFilter(Script& script, std::string_view text) {
  script.*FIELD = text;
  return isFilter(text);
}

// Names separated by commas.
template <std::vector<std::string> Script::*FIELD>
bool setOptionalAttributes(Script& script, std::string_view text) {
  std::vector<std::string>& list = script.*FIELD;
  list.clear();
  while (!text.empty()) {
    const std::size_t comma = std::min(text.find(','), text.size());
    std::string_view name = text.substr(0, comma);
    text.remove_prefix(std::min(comma + 1, text.size()));
    name.remove_prefix(std::min(name.find_first_not_of(" \t\n"), name.size()));
    name = name.substr(0, name.find_last_not_of(" \t\n") + 1);
    if (!isAttributeName(name)) return false;
    list.emplace_back(name);
  }
  return true;
}

template <std::vector<std::string> Script::*FIELD>
bool setAttributes(Script& script, std::string_view text) {
  return setOptionalAttributes<FIELD>(script, text) && !(script.*FIELD).empty();
}

bool setStripDomain(Script& script, std::string_view text) {
  script.loginStripDomain = text == "yes";
  return text == "yes" || text == "no";
}

bool setStrategy(Script& script, std::string_view text) {
  if (text == "walk") script.parentStrategy = ParentStrategy::WALK;
  if (text == "memberof") script.parentStrategy = ParentStrategy::MEMBER_OF;
  if (text == "in_chain") script.parentStrategy = ParentStrategy::IN_CHAIN;
  return text == "walk" || text == "memberof" || text == "in_chain";
}

bool setPageSize(Script& script, std::string_view text) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, script.pageSize);
  return error == std::errc() && stop == end && script.pageSize >= 1 && script.pageSize <= 1000000;
}

struct Key {
  std::string_view name;
  Setter set;
};

constexpr std::array KEYS = {
    Key{"user_filter", setFilter<&Script::userFilter>},
    Key{"user_name_attr", setAttribute<&Script::userNameAttr>},
    Key{"user_search_attrs", setAttributes<&Script::userSearchAttrs>},
    Key{"user_login_attrs", setAttributes<&Script::userLoginAttrs>},
    Key{"login_strip_domain", setStripDomain},
    Key{"group_filter", setFilter<&Script::groupFilter>},
    Key{"group_name_attr", setAttribute<&Script::groupNameAttr>},
    Key{"group_search_attrs", setAttributes<&Script::groupSearchAttrs>},
    Key{"group_classes", setAttributes<&Script::groupClasses>},
    Key{"parent_strategy", setStrategy},
    Key{"member_dn_attrs", setOptionalAttributes<&Script::memberDnAttrs>},
    Key{"member_name_attrs", setOptionalAttributes<&Script::memberNameAttrs>},
    Key{"member_of_attr", setAttribute<&Script::memberOfAttr>},
    Key{"entry_dn_attr", setAttribute<&Script::entryDnAttr>},
    Key{"smtp_prefix_attrs", setOptionalAttributes<&Script::smtpPrefixAttrs>},
    Key{"page_size", setPageSize},
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct Parse {
  Script script;
  File file;
  int line = 0;         // being read
  std::string key;      // of the item being read, which may go on over indented lines
  std::string value;    // its value so far
  int keyLine = 0;      // where it starts
  std::string wrong{};  // the first complaint
};

int complain(Parse& parse, int line, const std::string& what) {
  if (parse.wrong.empty()) parse.wrong = "line " + std::to_string(line) + ": " + what;
  return 0;
}

int finishItem(Parse& parse) {
  if (parse.key.empty()) return 1;
  const auto* key =
      std::find_if(KEYS.begin(), KEYS.end(), [&](const Key& row) { return row.name == parse.key; });
  if (key == KEYS.end()) return complain(parse, parse.keyLine, "unknown key " + parse.key);
  if (key->set(parse.script, parse.value)) return 1;
  return complain(parse, parse.keyLine, "bad value for " + parse.key + ": " + parse.value);
}

int onItem(void* user, const char* section, const char* name, const char* value) {
  auto& parse = *static_cast<Parse*>(user);
  if (*section != '\0')
    return complain(parse, parse.line, std::string("unknown section ") + section);
  if (parse.key == name) {
    parse.value += value;
    return 1;
  }
  const int good = finishItem(parse);
  parse.key = name;
  parse.value = value;
  parse.keyLine = parse.line;
  return good;
}

char* readLine(char* buffer, int size, void* user) {
  auto& parse = *static_cast<Parse*>(user);
  char* text = std::fgets(buffer, size, parse.file.get());
  if (text == nullptr) return nullptr;
  ++parse.line;
  if (std::strchr(text, '\n') == nullptr && std::feof(parse.file.get()) == 0) {
    complain(parse, parse.line, "line too long; go on in an indented line");
  }
  return text;
}

// Empty when the file is good.
std::string parseFile(const char* path, Parse& parse) {
  parse.file.reset(std::fopen(path, "re"));
  if (parse.file == nullptr) return std::generic_category().message(errno);
  const int syntax = ini_parse_stream(readLine, &parse, onItem, &parse);
  finishItem(parse);
  if (parse.wrong.empty() && syntax != 0) complain(parse, syntax, "neither key=value nor comment");
  if (std::ferror(parse.file.get()) != 0) return "cannot be read";
  return parse.wrong;
}

// What tells one state of a file from the next.
struct Stamp {
  std::array<long long, 6> marks{};

  bool operator==(const Stamp&) const = default;
};

bool stampOf(const char* path, Stamp& stamp) {
  struct stat file {};
  if (stat(path, &file) != 0) return false;
  stamp.marks = {static_cast<long long>(file.st_dev),
                 static_cast<long long>(file.st_ino),
                 static_cast<long long>(file.st_size),
                 file.st_mtim.tv_sec,
                 file.st_mtim.tv_nsec,
                 file.st_ctim.tv_nsec};
  return true;
}

struct Loaded {
  Stamp stamp;
  ScriptPtr script;
};

const ScriptPtr& genericScript() {
  static const ScriptPtr script = std::make_shared<const Script>();
  return script;
}

std::mutex processMutex;
ScriptPtr processScript;  // the last one loaded by any thread
// Every operation loads its vendor's file, which hardly ever changes.
std::map<std::string, Loaded> loadedFiles;
// What this thread loaded itself: look-ups for different vendors that run at the same time must not
// get one another's.
thread_local ScriptPtr threadScript;

void install(ScriptPtr script) {
  threadScript = script;
  const std::lock_guard lock(processMutex);
  processScript.swap(script);
}

ScriptPtr loadedBefore(const std::string& path, const Stamp& stamp) {
  const std::lock_guard lock(processMutex);
  const auto found = loadedFiles.find(path);
  return found != loadedFiles.end() && found->second.stamp == stamp ? found->second.script
                                                                    : nullptr;
}

void keepLoaded(const std::string& path, const Stamp& stamp, const ScriptPtr& script) {
  constexpr std::size_t MANY = 16;
  const std::lock_guard lock(processMutex);
  if (loadedFiles.size() >= MANY) loadedFiles.clear();
  loadedFiles[path] = {stamp, script};
}

}  // namespace

ScriptPtr currentScript() {
  if (threadScript != nullptr) return threadScript;
  const std::lock_guard lock(processMutex);
  return processScript != nullptr ? processScript : genericScript();
}

}  // namespace VESK::directory

namespace VESK {

void BvLDAPScript::destroy() { directory::install(nullptr); }

int BvLDAPScript::init(const char* path) {
  const std::string name = path == nullptr ? "" : path;
  directory::Stamp stamp;
  const bool stamped = directory::stampOf(name.c_str(), stamp);
  directory::ScriptPtr script = stamped ? directory::loadedBefore(name, stamp) : nullptr;
  if (script == nullptr) {
    directory::Parse parse;
    if (const std::string wrong = directory::parseFile(name.c_str(), parse); !wrong.empty()) {
      Log::LogByLevel(1, "directory: script %s: %s; hint: %s", name.c_str(), wrong.c_str(),
                      "the built-in generic script serves meanwhile");
      directory::install(directory::genericScript());
      return -1;
    }
    script = std::make_shared<const directory::Script>(std::move(parse.script));
    if (stamped) directory::keepLoaded(name, stamp, script);
  }
  directory::install(std::move(script));
  return 0;
}

}  // namespace VESK
