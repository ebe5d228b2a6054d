#include <unicode/ustring.h>

#include <cstdlib>
#include <set>

#include "Resources.h"
#include "product/log.h"
#include "product/notify.h"
#include "shared/Boundary.h"

namespace VESK {

namespace {

std::string orEmpty(const char* text) { return text == nullptr ? "" : text; }

std::string utf8(const UChar* text, int32_t length) {
  UErrorCode status = U_ZERO_ERROR;
  // A unit takes three bytes at most.
  std::string result(static_cast<std::size_t>(length) * 3, '\0');
  int32_t written = 0;
  u_strToUTF8WithSub(result.data(), static_cast<int32_t>(result.size()), &written, text, length,
                     0xFFFD, nullptr, &status);
  result.resize(U_SUCCESS(status) ? static_cast<std::size_t>(written) : 0);
  return result;
}

}  // namespace

struct BvResbundle::Table {
  std::vector<notify::Bundle> tables;
  std::set<std::string> given;  // what callers hold pointers to
};

BvResbundle::BvResbundle() : table(std::make_unique<Table>()) {}

BvResbundle::~BvResbundle() = default;

int BvResbundle::_init(const char* resourceFile, const char* module, const char* locale) try {
  table->tables = notify::openTables(orEmpty(resourceFile), orEmpty(module), orEmpty(locale));
  return table->tables.empty() ? -1 : 0;
}
VESK_AT_BOUNDARY("notify", -1)

const char* BvResbundle::getString(const char* key, const char* fallback) try {
  for (const notify::Bundle& texts : table->tables) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    const UChar* text = ures_getStringByKey(texts.get(), orEmpty(key).c_str(), &length, &status);
    if (U_SUCCESS(status)) return table->given.insert(utf8(text, length)).first->c_str();
  }
  return fallback;
}
VESK_AT_BOUNDARY("notify", fallback)

const char* BvResbundle::GetResourceFileName() try {
  thread_local std::string path;
  path = orEmpty(std::getenv("VESK_HOME")) + "/resource/messages";
  return path.c_str();  // NOLINT(clang-analyzer-cplusplus.InnerPointer): until the thread ends
}
VESK_AT_BOUNDARY("notify", "")

}  // namespace VESK
