#include "Pattern.h"

#include <algorithm>

namespace VESK::filter {

namespace {

// Parentheses within parentheses; the converter's own output stays below it.
constexpr std::uint32_t DEEPEST_PARENTHESES = 200;
// Of a whole search: some tenths of a second.
constexpr std::uint32_t MOST_STEPS = 20'000'000;
constexpr std::uint32_t FEWEST_STEPS = 1000;  // of the search from one place
constexpr std::uint32_t MOST_MEMORY_KIB = 16 * 1024;

struct FreeContext {
  void operator()(pcre2_compile_context* handle) const { pcre2_compile_context_free(handle); }
  void operator()(pcre2_match_context* handle) const { pcre2_match_context_free(handle); }
  void operator()(pcre2_match_data* handle) const { pcre2_match_data_free(handle); }
};

pcre2_compile_context* compileLimits() {
  static const std::unique_ptr<pcre2_compile_context, FreeContext> LIMITS = [] {
    std::unique_ptr<pcre2_compile_context, FreeContext> made(pcre2_compile_context_create(nullptr));
    if (made) pcre2_set_max_pattern_length(made.get(), LONGEST_PATTERN);
    if (made) pcre2_set_parens_nest_limit(made.get(), DEEPEST_PARENTHESES);
    return made;
  }();
  return LIMITS.get();
}

PCRE2_SPTR bytesOf(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
}

}  // namespace

Pattern::Pattern(std::string_view regularExpression, Purpose purpose) {
  // \C would cut a character into bytes.
  std::uint32_t options = PCRE2_UTF | PCRE2_UCP | PCRE2_NEVER_BACKSLASH_C;
  if (purpose == FOR_VALIDATION) options |= PCRE2_NO_START_OPTIMIZE;
  pcre2_compile_context* limits = compileLimits();
  if (limits == nullptr) {
    number = PCRE2_ERROR_NOMEMORY;
    return;
  }
  code.reset(pcre2_compile(bytesOf(regularExpression), regularExpression.size(), options, &number,
                           &offset, limits));
}

std::string Pattern::error() const {
  PCRE2_UCHAR words[256] = {};
  pcre2_get_error_message(number, words, sizeof words);
  return reinterpret_cast<const char*>(words);
}

std::uint32_t Pattern::captures() const {
  std::uint32_t count = 0;
  pcre2_pattern_info(code.get(), PCRE2_INFO_CAPTURECOUNT, &count);
  return count;
}

// Each entry is a number of two bytes and the name, all of one length.
std::set<std::string> Pattern::groupNames() const {
  std::uint32_t count = 0;
  std::uint32_t size = 0;
  PCRE2_SPTR entry = nullptr;
  pcre2_pattern_info(code.get(), PCRE2_INFO_NAMECOUNT, &count);
  pcre2_pattern_info(code.get(), PCRE2_INFO_NAMEENTRYSIZE, &size);
  pcre2_pattern_info(code.get(), PCRE2_INFO_NAMETABLE, &entry);
  std::set<std::string> names;
  for (; count > 0; --count, entry += size) names.insert(reinterpret_cast<const char*>(entry + 2));
  return names;
}

Pattern::Outcome Pattern::match(std::string_view text) const {
  if (!ok()) return FAILED;
  std::uint32_t options = 0;
  pcre2_pattern_info(code.get(), PCRE2_INFO_ALLOPTIONS, &options);
  // The component counts anew at each place where it begins.
  const std::size_t places = (options & PCRE2_ANCHORED) != 0 ? 1 : text.size() + 1;
  const std::size_t share = MOST_STEPS / places;
  return run(text, 0, std::max(static_cast<std::uint32_t>(share), FEWEST_STEPS));
}

Pattern::Outcome Pattern::matchStart(std::string_view text, std::uint32_t steps) const {
  return run(text, PCRE2_ANCHORED, steps);
}

Pattern::Outcome Pattern::run(std::string_view text, std::uint32_t options,
                              std::uint32_t steps) const {
  const std::unique_ptr<pcre2_match_context, FreeContext> limits(
      pcre2_match_context_create(nullptr));
  const std::unique_ptr<pcre2_match_data, FreeContext> data(pcre2_match_data_create(1, nullptr));
  if (!limits || !data) return FAILED;
  pcre2_set_match_limit(limits.get(), steps);
  pcre2_set_heap_limit(limits.get(), MOST_MEMORY_KIB);
  const int answer =
      pcre2_match(code.get(), bytesOf(text), text.size(), 0, options, data.get(), limits.get());
  if (answer >= 0) return FOUND;
  switch (answer) {
    case PCRE2_ERROR_NOMATCH:
      return NOT_FOUND;
    case PCRE2_ERROR_MATCHLIMIT:
    case PCRE2_ERROR_DEPTHLIMIT:
    case PCRE2_ERROR_HEAPLIMIT:
      return GAVE_UP;
    default:
      return FAILED;
  }
}

}  // namespace VESK::filter
