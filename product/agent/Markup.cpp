#include "Markup.h"

#include <algorithm>

namespace VESK::agent {

namespace {

constexpr int DEEPEST = 64;
constexpr std::size_t MOST_MARKUP = 64 * 1024;  // an answer has less than 4 KiB

// Marks that are no elements, by their beginnings and ends.
struct Special {
  std::string_view begin;
  std::string_view end;
  bool isText;
};
constexpr Special specials[] = {
    {"<![CDATA[", "]]>", true}, {"<!--", "-->", false}, {"<?", "?>", false}};

std::size_t endOf(std::string_view text, std::string_view end, std::size_t from) {
  const std::size_t found = text.find(end, from);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

// A > within quotes is part of an attribute's value.
std::size_t endOfTag(std::string_view text) {
  std::size_t at = text.find_first_of("\"'>");
  while (at != std::string_view::npos && text[at] != '>') {
    at = text.find(text[at], at + 1);
    if (at != std::string_view::npos) at = text.find_first_of("\"'>", at + 1);
  }
  return at == std::string_view::npos ? text.size() : at + 1;
}

int deeperBy(std::string_view tag) {
  if (tag.starts_with("</")) return -1;
  return tag.ends_with("/>") ? 0 : 1;
}

}  // namespace

const char* refusedMarkup(std::string_view text) {
  std::size_t markup = 0;
  int depth = 0;
  for (text.remove_prefix(std::min(text.find('<'), text.size())); !text.empty();
       text.remove_prefix(std::min(text.find('<'), text.size()))) {
    const auto* special = std::find_if(std::begin(specials), std::end(specials),
                                       [&](auto& row) { return text.starts_with(row.begin); });
    std::size_t length = 0;
    if (special != std::end(specials)) {
      length = endOf(text, special->end, special->begin.size());
      markup += special->isText ? special->begin.size() : length;
    } else {
      if (text.starts_with("<!")) return "a DOCTYPE in the answer";
      length = endOfTag(text);
      depth += deeperBy(text.substr(0, length));
      markup += length;
    }
    if (depth > DEEPEST) return "elements nested too deep";
    if (markup > MOST_MARKUP) return "too much markup";
    text.remove_prefix(length);
  }
  return nullptr;
}

}  // namespace VESK::agent
