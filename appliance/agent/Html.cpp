#include "Html.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>

namespace agent {
namespace {

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

void appendUtf8(std::string& text, std::uint32_t code) {
  const auto more = [&](int shift) {
    text += static_cast<char>(0x80u | ((code >> shift) & 0x3Fu));
  };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0u | code >> 6);
    more(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0u | code >> 12);
    more(6), more(0);
  } else if (code < 0x110000) {
    text += static_cast<char>(0xF0u | code >> 18);
    more(12), more(6), more(0);
  }
}

std::uint32_t characterOf(std::string_view name) {
  static const std::map<std::string_view, std::uint32_t> names{
      {"amp", '&'},     {"lt", '<'},        {"gt", '>'},       {"quot", '"'},
      {"apos", '\''},   {"nbsp", ' '},      {"copy", 0xA9},    {"reg", 0xAE},
      {"euro", 0x20AC}, {"hellip", 0x2026}, {"ndash", 0x2013}, {"mdash", 0x2014},
  };
  if (!name.starts_with('#')) {
    const auto found = names.find(name);
    return found == names.end() ? 0 : found->second;
  }
  const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
  std::uint32_t code = 0;
  const char* last = name.data() + name.size();
  const auto [end, error] = std::from_chars(name.data() + (hex ? 2 : 1), last, code, hex ? 16 : 10);
  return error == std::errc{} && end == last ? code : 0;
}

class Stripper {
 public:
  explicit Stripper(std::string_view source) : html(source) {}

  std::string run() {
    while (at < html.size()) {
      if (html[at] == '<') {
        tag();
      } else if (html[at] == '&') {
        entity();
      } else {
        character(html[at++]);
      }
    }
    return text;
  }

 private:
  void skipPast(std::string_view end) {
    const auto found = html.find(end, at);
    at = found == std::string_view::npos ? html.size() : found + end.size();
  }

  void tag() {
    if (html.substr(at).starts_with("<!--")) return skipPast("-->");
    const auto first = at + 1;
    const auto nameEnd = std::min(html.find_first_of(" \t\r\n/>", first + 1), html.size());
    const std::string name = lower(html.substr(std::min(first, html.size()), nameEnd - first));
    skipPast(">");
    // Their text is not for readers.
    if (name == "script" || name == "style" || name == "title") {
      skipPast("</");
      skipPast(">");
    }
    static constexpr std::array breaks{"br", "p",  "/p", "div", "/div",
                                       "tr", "li", "h1", "h2",  "h3"};
    if (std::find(breaks.begin(), breaks.end(), name) != breaks.end()) lineBreak();
  }

  void lineBreak() {
    while (text.ends_with(' ')) text.pop_back();
    if (!text.empty() && !text.ends_with("\n\n")) text += '\n';
  }

  void entity() {
    const auto end = html.substr(at, 12).find(';');
    const std::uint32_t code =
        end == std::string_view::npos ? 0 : characterOf(html.substr(at + 1, end - 1));
    if (code == 0) return character(html[at++]);
    appendUtf8(text, code);
    at += end + 1;
  }

  void character(char c) {
    const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (!blank) {
      text += c;
    } else if (!text.empty() && text.back() != ' ' && text.back() != '\n') {
      text += ' ';
    }
  }

  std::string_view html;
  std::size_t at = 0;
  std::string text;
};

}  // namespace

std::string htmlText(std::string_view html) { return Stripper(html).run(); }

}  // namespace agent
