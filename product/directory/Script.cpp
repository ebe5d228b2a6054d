#include "Script.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "Filter.h"
#include "product/directory.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace VESK::directory {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

using Setter = bool (*)(Script&, std::string_view);

template <std::string Script::*FIELD>
bool setAttribute(Script& script, std::string_view text) {
  script.*FIELD = text;
  return isAttributeName(text);
}

template <std::string Script::*FIELD>
bool setOptionalAttribute(Script& script, std::string_view text) {
  script.*FIELD = text;
  return text.empty() || isAttributeName(text);
}

template <std::string Script::*FIELD>
bool setFilter(Script& script, std::string_view text) {
  script.*FIELD = text;
  return isFilter(text);
}

// Hands over what stands between commas, until `take` returns false.
template <typename Take>
bool splitList(std::string_view text, const Take& take) {
  while (!text.empty()) {
    const std::size_t comma = std::min(text.find(','), text.size());
    if (!take(trimmed(text.substr(0, comma)))) return false;
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return true;
}

template <std::vector<std::string> Script::*FIELD>
bool setOptionalAttributes(Script& script, std::string_view text) {
  std::vector<std::string>& list = script.*FIELD;
  list.clear();
  return splitList(text, [&list](std::string_view name) {
    list.emplace_back(name);
    return isAttributeName(name);
  });
}

// Each is a name, or a class and a name with a colon between.
bool setMemberAttributes(Script& script, std::string_view text) {
  script.memberDnAttrs.clear();
  return splitList(text, [&script](std::string_view part) {
    const std::size_t colon = part.find(':');
    const bool tied = colon != std::string_view::npos;
    const std::string_view name = tied ? part.substr(colon + 1) : part;
    const std::string_view objectClass = tied ? part.substr(0, colon) : std::string_view();
    script.memberDnAttrs.push_back({std::string(name), std::string(objectClass)});
    return isAttributeName(name) && (!tied || isAttributeName(objectClass));
  });
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
    Key{"member_dn_attrs", setMemberAttributes},
    Key{"member_name_attrs", setOptionalAttributes<&Script::memberNameAttrs>},
    Key{"member_of_attr", setAttribute<&Script::memberOfAttr>},
    Key{"entry_dn_attr", setAttribute<&Script::entryDnAttr>},
    Key{"primary_group_attr", setOptionalAttribute<&Script::primaryGroupAttr>},
    Key{"sid_attr", setOptionalAttribute<&Script::sidAttr>},
    Key{"smtp_prefix_attrs", setOptionalAttributes<&Script::smtpPrefixAttrs>},
    Key{"page_size", setPageSize},
};

// inih, which reads the settings, keeps its options in variables of the process; a script has lines
// that go on and would need others.
struct Parse {
  Script script;
  int line = 0;         // being read
  std::string key{};    // of the item being read, which may go on over indented lines
  std::string value{};  // its value so far
  int keyLine = 0;      // where it starts
  std::string wrong{};  // the first complaint
};

void complain(Parse& parse, int line, const std::string& what) {
  if (parse.wrong.empty()) parse.wrong = "line " + std::to_string(line) + ": " + what;
}

void finishItem(Parse& parse) {
  const std::string key = std::exchange(parse.key, {});
  if (key.empty()) return;
  const auto* row =
      std::find_if(KEYS.begin(), KEYS.end(), [&](const Key& other) { return other.name == key; });
  if (row == KEYS.end()) {
    complain(parse, parse.keyLine, "unknown key " + key);
  } else if (!row->set(parse.script, parse.value)) {
    complain(parse, parse.keyLine, "bad value for " + key + ": " + parse.value);
  }
}

void takeLine(Parse& parse, std::string_view raw) {
  const std::string_view text = trimmed(raw);
  if (!text.empty() && text.size() < raw.size() && isBlank(raw.front()) && !parse.key.empty()) {
    parse.value += text;
    return;
  }
  finishItem(parse);
  if (text.empty() || text.front() == '#') return;
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    return complain(parse, parse.line, "neither key = value nor comment");
  }
  parse.key = trimmed(text.substr(0, equals));
  parse.value = trimmed(text.substr(equals + 1));
  parse.keyLine = parse.line;
}

// Empty when the file is good.
std::string parseFile(const char* path, Parse& parse) {
  errno = 0;
  std::ifstream file(path);
  if (!file.is_open()) return std::generic_category().message(errno);
  for (std::string line; std::getline(file, line);) {
    ++parse.line;
    takeLine(parse, line);
  }
  if (file.bad()) return std::generic_category().message(errno);
  finishItem(parse);
  if (parse.script.primaryGroupAttr.empty() != parse.script.sidAttr.empty()) {
    complain(parse, parse.line, "primary_group_attr and sid_attr go together");
  }
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

int BvLDAPScript::init(const char* path) try {
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
VESK_AT_BOUNDARY("directory", -1)

}  // namespace VESK
