#include "Filter.h"

#include <ldap.h>

#include <algorithm>
#include <memory>

namespace VESK::directory {

namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

void appendHex(std::string& out, char c) {
  constexpr const char* HEX = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  out += '\\';
  out += HEX[byte >> 4];
  out += HEX[byte & 0x0F];
}

void appendEscaped(std::string& out, char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte < 0x20 || byte == 0x7F || c == '(' || c == ')' || c == '*' || c == '\\') {
    appendHex(out, c);
  } else {
    out += c;
  }
}

bool take(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

// Filters within filters. Each takes some of the stack.
constexpr int DEEPEST = 100;

// Cuts one filter off the front; false when there is none, or a deeper one.
bool takeFilter(std::string_view& text, int depth = 0) {
  if (depth > DEEPEST || !take(text, '(')) return false;
  if (take(text, '!')) return takeFilter(text, depth + 1) && take(text, ')');
  if (take(text, '&') || take(text, '|')) {
    do {
      if (!takeFilter(text, depth + 1)) return false;
    } while (!text.empty() && text.front() == '(');
    return take(text, ')');
  }
  const std::string_view comparison = text.substr(0, text.find_first_of("()"));
  const std::size_t equals = comparison.find('=');
  if (equals == 0 || equals == std::string_view::npos) return false;
  text.remove_prefix(comparison.size());
  return take(text, ')');
}

struct FreeDn {
  void operator()(LDAPRDN* dn) const { ldap_dnfree(dn); }
};
using Dn = std::unique_ptr<LDAPRDN, FreeDn>;

// Null for what is none, and for the empty one.
Dn parseDn(const std::string& text) {
  LDAPRDN* parts = nullptr;
  return ldap_str2dn(text.c_str(), &parts, LDAP_DN_FORMAT_LDAPV3) == LDAP_SUCCESS ? Dn(parts)
                                                                                  : Dn();
}

struct FreeText {
  void operator()(char* text) const { ldap_memfree(text); }
};

}  // namespace

bool isAttributeName(std::string_view text) {
  if (text.empty() || !(isLetter(text.front()) || isDigit(text.front()))) return false;
  return std::all_of(text.begin(), text.end(), [](char c) {
    return isLetter(c) || isDigit(c) || c == '-' || c == '.' || c == ';' || c == '_';
  });
}

bool isFilter(std::string_view text) { return takeFilter(text) && text.empty(); }

std::string escapeValue(std::string_view value) {
  std::string out;
  for (const char c : value) appendEscaped(out, c);
  return out;
}

std::string escapeBytes(std::string_view value) {
  std::string out;
  for (const char c : value) appendHex(out, c);
  return out;
}

// A row of wildcards counts as one: the empty parts between them would make the filter invalid.
std::string escapePattern(std::string_view pattern) {
  std::string out;
  for (const char c : pattern) {
    if (c != '*') {
      appendEscaped(out, c);
    } else if (out.empty() || out.back() != '*') {
      out += '*';
    }
  }
  return out;
}

std::string item(std::string_view attribute, std::string_view escaped) {
  std::string out = "(";
  return out.append(attribute).append("=").append(escaped).append(")");
}

std::string anyOf(const std::vector<std::string>& attributes, std::string_view escaped) {
  std::string out = "(|";
  for (const std::string& attribute : attributes) out += item(attribute, escaped);
  return out + ")";
}

std::string both(std::string_view first, std::string_view second) {
  std::string out = "(&";
  return out.append(first).append(second).append(")");
}

std::string comparableDn(const std::string& dn) {
  const Dn parts = parseDn(dn);
  if (!parts) return {};
  char* rawText = nullptr;
  if (ldap_dn2str(parts.get(), &rawText, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS) return {};
  const std::unique_ptr<char, FreeText> text(rawText);
  std::string out = text == nullptr ? "" : text.get();
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  // libldap takes "#" without digits for a value, and cannot read what it then writes.
  if (out.find("=#") != std::string::npos && !parseDn(out)) return {};
  return out;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

bool isUnder(const std::string& dn, const std::string& base) {
  const std::string entry = comparableDn(dn);
  const std::string top = comparableDn(base);
  if (top.empty() || entry == top) return true;
  return entry.size() > top.size() && entry.ends_with("," + top);
}

}  // namespace VESK::directory
