#include "Mailboxes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>

#include "GMime.h"
#include "product/log.h"
#include "product/notify.h"
#include "shared/Boundary.h"

namespace VESK::notify {

namespace {

// A line of a header holds no more.
constexpr std::size_t LONGEST_ENTRY = 998;
constexpr const char* TOO_LONG = "longer than 998 bytes";
constexpr std::size_t LONGEST_ADDRESS = 254;
constexpr std::size_t LONGEST_LOCAL_PART = 64;

constexpr const char* FORM = "not of the form name@domain";

// 0 when the comment that begins at `from` is never closed.
std::size_t behindComment(std::string_view text, std::size_t from) {
  int depth = 0;
  for (std::size_t i = from; i < text.size(); ++i) {
    if (text[i] == '\\')
      ++i;
    else if (text[i] == '(')
      ++depth;
    else if (text[i] == ')' && --depth == 0)
      return i + 1;
  }
  return 0;
}

// Cuts at semicolons and commas, but not inside a quoted text, a comment or angle brackets. One of
// these that is never closed protects nothing, so that a slip costs its own entry only.
class Splitter {
 public:
  explicit Splitter(std::string_view setting) : text(setting) {}

  bool next(std::string_view& entry) {
    if (at > text.size()) return false;
    const std::size_t begin = at;
    while (at < text.size() && text[at] != ';' && text[at] != ',') at = behind(at);
    entry = text.substr(begin, at++ - begin);
    return true;
  }

 private:
  std::size_t behind(std::size_t from) {
    std::size_t end = 0;
    switch (text[from]) {
      case '"':
        end = closed(quotesClose, behindQuotes(from));
        break;
      case '(':
        end = closed(commentsClose, commentsClose ? behindComment(text, from) : 0);
        break;
      case '<':
        end = behindBrackets(from);
        break;
      case '\\':
        end = std::min(from + 2, text.size());
        break;
      default:
        break;
    }
    return end == 0 ? from + 1 : end;
  }

  // Looks for an end that is not there once only: a long setting takes no longer than its length.
  static std::size_t closed(bool& closes, std::size_t end) {
    closes = end != 0;
    return end;
  }

  std::size_t behindQuotes(std::size_t from) const {
    for (std::size_t i = from + 1; quotesClose && i < text.size(); ++i) {
      if (text[i] == '"') return i + 1;
      if (text[i] == '\\') ++i;
    }
    return 0;
  }

  std::size_t behindBrackets(std::size_t from) {
    for (std::size_t i = from + 1; i < text.size(); i = text[i] == '"' ? behind(i) : i + 1) {
      if (text[i] == '>') return i + 1;
      if (text[i] == '<' || text[i] == ';') break;
    }
    return 0;
  }

  std::string_view text;
  std::size_t at = 0;
  bool quotesClose = true;
  bool commentsClose = true;
};

// The parser never releases an address in square brackets with an open comment behind it. Whether a
// parenthesis begins one is for the parser to say, which has its own way with quotes.
bool mayLeak(std::string_view entry) {
  const std::size_t sign = std::min(entry.find('@'), entry.size());
  for (std::size_t i = entry.find('[', sign); i < entry.size(); ++i) {
    if (entry[i] == '(' && behindComment(entry, i) == 0) return true;
  }
  return false;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

// Line breaks above all: they would begin a header of their own.
bool isPlain(std::string_view text) {
  if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) return false;
  const char* end = text.data() + text.size();
  for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
    if (*at != '\t' && g_unichar_iscntrl(g_utf8_get_char(at))) return false;
  }
  return true;
}

// A name, or an IP address in square brackets. The parser takes brackets around anything.
bool isMailDomain(std::string_view domain) {
  const bool literal = domain.size() > 2 && domain.front() == '[' && domain.back() == ']';
  if (literal) domain = domain.substr(1, domain.size() - 2);
  return std::all_of(domain.begin(), domain.end(), [literal](char c) {
    return g_ascii_isalnum(c) || c == '-' || c == '.' || c == (literal ? ':' : '_');
  });
}

// What the parser lets through and a mail system does not.
const char* faultOf(std::string_view address) {
  const std::size_t sign = address.rfind('@');
  if (sign == std::string_view::npos || sign == 0 || sign + 1 == address.size()) return FORM;
  if (address.size() > LONGEST_ADDRESS || sign > LONGEST_LOCAL_PART) return "too long";
  if (std::any_of(address.begin(), address.end(), [](char c) { return !g_ascii_isprint(c); })) {
    return "letters beyond ASCII before the @ sign";
  }
  if (!isMailDomain(address.substr(sign + 1))) return FORM;
  // Mail systems take it for an option.
  return address.front() == '-' ? "it begins with a hyphen" : nullptr;
}

// The parser drops what it cannot read behind an address, as in "a@b@c" and "<a@b@c>".
bool isReadToItsEnd(std::string_view entry, std::string_view address, std::string_view ascii) {
  if (const std::size_t open = entry.rfind('<'); open != std::string_view::npos) {
    entry = entry.substr(open + 1, entry.find('>', open) - open - 1);
  }
  entry = trimmed(entry);
  if (entry.find('(') != std::string_view::npos) return true;  // a comment may stand anywhere
  return entry.ends_with(address.substr(address.rfind('@') + 1)) ||
         entry.ends_with(ascii.substr(ascii.rfind('@') + 1));
}

// As a header has it, but for letters beyond ASCII. Whoever reads it decodes encoded words: a name
// that looks like one is encoded, so that it comes out as it is.
std::string writtenForm(const std::string& name, const std::string& address) {
  if (name.empty()) return address;
  if (name.find("=?") != std::string::npos) {
    return "=?utf-8?q?" + quotedPrintable(name) + "?= <" + address + ">";
  }
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) {
    return g_ascii_isalnum(c) || (c & 0x80) != 0 ||
           std::strchr(" !#$%&'*+-/=?^_`{|}~", c) != nullptr;
  });
  if (plain) return name + " <" + address + ">";
  std::string quoted;
  for (const char c : name) quoted += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
  return "\"" + quoted + "\" <" + address + ">";
}

class Collector {
 public:
  explicit Collector(const char* name) : setting(name) {}

  void add(std::string_view entry) {
    if (const char* fault = take(entry)) refuse(entry, fault);
  }

  std::vector<Mailbox> mailboxes;

 private:
  // Null, or what is wrong.
  const char* take(std::string_view entry) {
    if (entry.size() > LONGEST_ENTRY) return TOO_LONG;
    if (!isPlain(entry)) return "control characters or bytes that are not UTF-8";
    if (entry.find('@') == std::string_view::npos) return FORM;
    if (mayLeak(entry)) return "a comment is not closed";
    // Without options it is lenient with brackets that are not closed; its strict form leaks.
    const Object<InternetAddressList> list(
        internet_address_list_parse(nullptr, std::string(entry).c_str()));
    return list == nullptr ? FORM : takeList(entry, list.get());
  }

  const char* takeList(std::string_view entry, InternetAddressList* list) {
    const int count = internet_address_list_length(list);
    // The parser reads two addresses with a blank between them as two: rather a slip.
    if (count != 1) return count == 0 ? "no address" : "a separator is missing";
    InternetAddress* address = internet_address_list_get_address(list, 0);
    if (INTERNET_ADDRESS_IS_GROUP(address)) {
      return takeList(entry, internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)));
    }
    return takeMailbox(entry, address);
  }

  const char* takeMailbox(std::string_view entry, InternetAddress* address) {
    InternetAddressMailbox* mailbox = INTERNET_ADDRESS_MAILBOX(address);
    const char* given = internet_address_get_name(address);
    const std::string name = given == nullptr ? "" : given;
    const std::string ascii = internet_address_mailbox_get_idn_addr(mailbox);
    if (const char* fault = faultOf(ascii)) return fault;
    if (!isReadToItsEnd(entry, internet_address_mailbox_get_addr(mailbox), ascii)) return FORM;
    // An encoded name may hold anything.
    if (!isPlain(name)) return "control characters in the name";
    const std::string written = writtenForm(name, ascii);
    if (written.size() > LONGEST_ENTRY) return TOO_LONG;
    if (seen.insert(keyOf(ascii)).second) mailboxes.push_back({name, ascii, written});
    return nullptr;
  }

  // Only the domain's capitals do not matter.
  static std::string keyOf(std::string address) {
    for (std::size_t i = address.rfind('@'); i < address.size(); ++i) {
      address[i] = g_ascii_tolower(address[i]);
    }
    return address;
  }

  void refuse(std::string_view entry, const char* fault) const {
    constexpr int SHOWN = 200;
    const int length = static_cast<int>(std::min<std::size_t>(entry.size(), SHOWN));
    Log::LogByLevel(LOG_NORMAL,
                    "notify: address skipped in %s: \"%.*s\"%s: %s; hint: write name@domain, for a "
                    "local account name@localhost, with semicolons between addresses",
                    setting, length, entry.data(), entry.size() > SHOWN ? "..." : "", fault);
  }

  const char* setting;
  std::set<std::string> seen;
};

}  // namespace

void startGMime() {
  static std::once_flag once;
  std::call_once(once, g_mime_init);
}

std::string quotedPrintable(const std::string& bytes) {
  std::string text;
  char code[4] = {};
  for (const char c : bytes) {
    std::snprintf(code, sizeof code, "=%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += g_ascii_isalnum(c) ? std::string(1, c) : code;
  }
  return text;
}

std::vector<Mailbox> parseMailboxes(const std::vector<std::string>& texts, const char* setting) {
  startGMime();
  Collector collector(setting);
  for (const std::string& text : texts) {
    Splitter splitter(text);
    for (std::string_view entry; splitter.next(entry);) {
      if (entry = trimmed(entry); !entry.empty()) collector.add(entry);
    }
  }
  return std::move(collector.mailboxes);
}

}  // namespace VESK::notify

bool checkToAddress(std::string& addresses, std::vector<std::string>& recipients) try {
  recipients.clear();
  for (const auto& mailbox : VESK::notify::parseMailboxes({addresses}, "the list of recipients")) {
    recipients.push_back(mailbox.written);
  }
  return !recipients.empty();
}
VESK_AT_BOUNDARY("notify", (recipients.clear(), false))
