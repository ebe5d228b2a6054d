#include "Markup.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <vector>

namespace VESK::agent {

namespace {

constexpr int DEEPEST = 64;
constexpr std::size_t MOST_MARKUP = 64 * 1024;  // a message has less than 4 KiB
constexpr const char* BLANKS = " \t\r\n";

bool isBlank(std::string_view text) { return text.find_first_not_of(BLANKS) == text.npos; }

bool isCharacter(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code < 0xD800 || (code > 0xDFFF && code < 0xFFFE) || (code > 0xFFFF && code <= 0x10FFFF);
}

bool holdsOnlyCharacters(std::string_view text) {
  const auto isControl = [](char byte) {
    const auto code = static_cast<unsigned char>(byte);
    return code < 0x20 && !isCharacter(code);
  };
  // U+FFFE and U+FFFF.
  return std::none_of(text.begin(), text.end(), isControl) &&
         text.find("\xEF\xBF\xBE") == text.npos && text.find("\xEF\xBF\xBF") == text.npos;
}

// What stands between & and ;
bool isReference(std::string_view name) {
  constexpr std::string_view ENTITIES[] = {"amp", "lt", "gt", "quot", "apos"};
  if (!name.starts_with('#'))
    return std::find(std::begin(ENTITIES), std::end(ENTITIES), name) != std::end(ENTITIES);
  const int base = name.starts_with("#x") ? 16 : 10;
  name.remove_prefix(base == 16 ? 2 : 1);
  const char* end = name.data() + name.size();
  std::uint32_t code = 0;
  const auto [stop, error] = std::from_chars(name.data(), end, code, base);
  return error == std::errc() && stop == end && isCharacter(code);
}

bool holdsOnlyReferences(std::string_view text) {
  for (std::size_t at = text.find('&'); at != text.npos; at = text.find('&', at + 1)) {
    const std::size_t end = text.find(';', at);
    if (end == text.npos || !isReference(text.substr(at + 1, end - at - 1))) return false;
  }
  return true;
}

// The parser takes the first of two; another reader may take the second.
bool hasAttributeTwice(std::string_view tag) {
  std::vector<std::string_view> names;
  std::size_t from = tag.find_first_of(BLANKS);
  while (from != tag.npos) {
    from = tag.find_first_not_of(BLANKS, from);
    const std::size_t quote = from == tag.npos ? from : tag.find_first_of("\"'", from);
    if (quote == tag.npos) break;
    names.push_back(tag.substr(from, tag.find_first_of(" \t\r\n=", from) - from));
    const std::size_t end = tag.find(tag[quote], quote + 1);
    from = end == tag.npos ? end : end + 1;
  }
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) != names.end();
}

// Marks that are no elements, by their beginnings and ends.
struct Special {
  std::string_view begin;
  std::string_view end;
};
constexpr Special cdata{"<![CDATA[", "]]>"};
constexpr Special comment{"<!--", "-->"};
constexpr Special instruction{"<?", "?>"};

// A > within quotes is part of an attribute's value.
std::size_t lengthOfTag(std::string_view text) {
  std::size_t at = text.find_first_of("\"'>");
  while (at != text.npos && text[at] != '>') {
    at = text.find(text[at], at + 1);
    if (at != text.npos) at = text.find_first_of("\"'>", at + 1);
  }
  return at == text.npos ? text.size() : at + 1;
}

std::size_t lengthOf(std::string_view text) {
  if (!text.starts_with('<')) return std::min(text.find('<'), text.size());
  for (const Special& special : {cdata, comment, instruction}) {
    if (!text.starts_with(special.begin)) continue;
    const std::size_t end = text.find(special.end, special.begin.size());
    return end == text.npos ? text.size() : end + special.end.size();
  }
  return lengthOfTag(text);
}

// Takes a document piece by piece; each gives why it is refused, or null.
class Inspection {
 public:
  const char* take(std::string_view piece);

 private:
  const char* takeText(std::string_view text) const;
  const char* takeComment(std::string_view text);
  const char* takeInstruction(std::string_view text);
  const char* takeTag(std::string_view tag);
  bool outside() const { return depth <= 0; }

  std::size_t markup = 0;
  int depth = 0;
  int roots = 0;
  bool begun = false;
};

const char* Inspection::takeText(std::string_view text) const {
  if (outside() && !isBlank(text)) return "text outside the envelope";
  if (text.find("]]>") != text.npos) return "]]> in a text";
  return holdsOnlyReferences(text) ? nullptr : "an unknown entity or character";
}

const char* Inspection::takeComment(std::string_view text) {
  markup += text.size();
  return text.find("--", comment.begin.size()) + comment.end.size() < text.size()
             ? "-- in a comment"
             : nullptr;
}

const char* Inspection::takeInstruction(std::string_view text) {
  markup += text.size();
  const bool declares = text.starts_with("<?xml") && isBlank(text.substr(5, 1));
  return declares && begun ? "an XML declaration that is not at the beginning" : nullptr;
}

const char* Inspection::takeTag(std::string_view tag) {
  if (tag.starts_with("<!")) return "a DOCTYPE";
  markup += tag.size();
  const bool closes = tag.starts_with("</");
  if (!closes && outside() && ++roots > 1) return "more than one envelope";
  if (closes) --depth;
  if (!closes && !tag.ends_with("/>")) ++depth;
  if (depth > DEEPEST) return "elements nested too deep";
  if (tag.find('<', 1) != tag.npos) return "a < within a tag";
  if (!holdsOnlyReferences(tag)) return "an unknown entity or character";
  return hasAttributeTwice(tag) ? "an attribute twice" : nullptr;
}

const char* Inspection::take(std::string_view piece) {
  const char* reason = nullptr;
  if (!piece.starts_with('<')) {
    reason = takeText(piece);
  } else if (piece.starts_with(cdata.begin)) {
    markup += cdata.begin.size();
    if (outside()) reason = "text outside the envelope";
  } else if (piece.starts_with(comment.begin)) {
    reason = takeComment(piece);
  } else if (piece.starts_with(instruction.begin)) {
    reason = takeInstruction(piece);
  } else {
    reason = takeTag(piece);
  }
  begun = true;
  return reason == nullptr && markup > MOST_MARKUP ? "too much markup" : reason;
}

}  // namespace

const char* refusedMarkup(std::string_view text) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
  if (!holdsOnlyCharacters(text)) return "a character that XML does not allow";
  Inspection inspection;
  while (!text.empty()) {
    const std::size_t length = lengthOf(text);
    if (const char* reason = inspection.take(text.substr(0, length))) return reason;
    text.remove_prefix(length);
  }
  return nullptr;
}

}  // namespace VESK::agent
