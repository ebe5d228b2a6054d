// The journal, and doubles of the log and the settings store.

#include <cstdarg>
#include <cstdio>

#include "doubles/Product.h"
#include "product/log.h"
#include "product/settings.h"

namespace {

std::string formatted(const char* format, std::va_list arguments) {
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  return text;
}

}  // namespace

Product product;

int ask(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string call = formatted(format, arguments);
  va_end(arguments);
  product.calls.push_back(call);
  const std::size_t index = product.calls.size() - 1;
  if (index == product.throwAt || (product.throwsOn && index > product.throwAt)) {
    throw ProductFailure();
  }
  const auto answer = product.answers.find(call.substr(0, call.find(' ')));
  return answer == product.answers.end() ? 0 : answer->second;
}

namespace {

struct Store : VESK::GlobalSettingOnMem {
  int getValue(const char* key, std::string& value, const char* section, int reserved) override {
    const std::string item = std::string(section) + "/" + key;
    ask("setting %s %d", item.c_str(), reserved);
    value = product.settings[item];
    return value.empty() ? -1 : 0;
  }
  bool isLoaded() const override { return product.storeLoaded; }
};

struct Sink : VESK::LogMsgBvCLM {
  void write(int, const char*) override {}
};

Store store;
Sink sink;

}  // namespace

namespace VESK {

GlobalSettingOnMem* GlobalSettingOnMem::Instance(const char* path, bool b1, const char* s1,
                                                 const char* s2, const char* s3, const char* s4,
                                                 bool b2) {
  const bool usual = b1 && b2 && s1 == nullptr && s2 == nullptr && s3 == nullptr && s4 == nullptr;
  ask("store %s%s", path, usual ? "" : " with other arguments");
  return product.storeExists ? &store : nullptr;
}

int GlobalSettingOnMem::_replace_create_item_on_mem(const char* section, const char* key,
                                                    const char* value) {
  return ask("replace %s %s %s", section, key, value);
}

LogMsgBvCLM* LogMsgBvCLM::Instance(VESKLoggingProcess process, GlobalSetting* settings, bool flag,
                                   bv_SynchronizationLevelType level, const char* name) {
  ask("sink %d %s %d %d %s", process, settings == &store ? "store" : "?", flag, level, name);
  return &sink;
}

void Log::Init(LogMsgBvCLM* to, VESKLogLevel level) {
  ask("level %s %d", to == &sink ? "sink" : "?", level);
}

void Log::LogByLevel(int level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  ask("log %d %s", level, text.c_str());
}

}  // namespace VESK

void LogPrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  ask("print %s", text.c_str());
}
