#include "Message.h"

#include <unistd.h>

#include <algorithm>
#include <optional>

#include "GMime.h"
#include "product/log.h"

namespace VESK::notify {

namespace {

constexpr const char* UTF8 = "utf-8";

std::optional<std::string> converted(const std::string& text, const std::string& charset) {
  gsize length = 0;
  GError* error = nullptr;
  const Text bytes(g_convert(text.data(), static_cast<gssize>(text.size()), charset.c_str(), UTF8,
                             nullptr, &length, &error));
  const Error owned(error);
  if (bytes == nullptr) return std::nullopt;
  return std::string(bytes.get(), length);
}

// Known, and of a kind that leaves ASCII as it is: mail is made of lines. A name with more than
// these characters could be an instruction to the converter.
bool servesMail(const std::string& charset) {
  constexpr std::size_t LONGEST = 40;
  return !charset.empty() && charset.size() <= LONGEST &&
         std::all_of(
             charset.begin(), charset.end(),
             [](char c) { return g_ascii_isalnum(c) || c == '-' || c == '_' || c == '.'; }) &&
         converted("A\n", charset) == "A\n";
}

// The charset that is used, and the body in it.
struct Encoded {
  std::string charset;
  std::string body;
};

Encoded encode(const std::string& asked, const std::string& subject, const std::string& body) {
  if (!servesMail(asked)) {
    Log::LogByLevel(LOG_NORMAL,
                    "notify: charset \"%.60s\" is unknown or not for mail; UTF-8 serves; hint: set "
                    "PreferredCharset in section General-Notification to utf-8",
                    asked.c_str());
    return {UTF8, body};
  }
  if (converted(subject, asked)) {
    if (auto bytes = converted(body, asked)) return {asked, *bytes};
  }
  Log::LogByLevel(LOG_DIAGNOSTIC, "notify: charset %s cannot hold the text; UTF-8 serves",
                  asked.c_str());
  return {UTF8, body};
}

std::string valid(const std::string& text) {
  return Text(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()))).get();
}

// A line break in it would begin a header of its own.
std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return g_ascii_iscntrl(c); }, ' ');
  return text;
}

// LF between lines and at the end.
std::string lines(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    result += text[i] == '\r' ? '\n' : text[i];
  }
  if (result.empty() || result.back() != '\n') result += '\n';
  return result;
}

std::string hostName() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return "localhost";
  const std::string host = name;
  const bool clean = std::all_of(host.begin(), host.end(),
                                 [](char c) { return g_ascii_isalnum(c) || c == '-' || c == '.'; });
  return clean && !host.empty() ? host : "localhost";
}

// A mail without a sender comes from the mail system; answers to it go to the postmaster.
Mailbox fromOf(const Mail& mail) {
  if (!mail.from.empty()) return mail.from.front();
  const std::string address = "MAILER-DAEMON@" + hostName();
  return {"VESK", address, "VESK <" + address + ">"};
}

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

// As encoded words of 75 characters at most, a line each; whole characters in each, in a charset
// that can hold them. GMime's own are longer, and base64 in several words is misread by some.
std::string encodedWords(const std::string& text, const std::string& charset) {
  constexpr std::size_t LONGEST = 75;
  const std::string start = "=?" + charset + "?Q?";
  const char* end = text.data() + text.size();
  std::string words, part, code;
  for (const char* at = text.data(); at < end;) {
    const char* next = g_utf8_next_char(at);
    const std::string longer = part + std::string(at, next);
    const std::string longerCode = quotedPrintable(converted(longer, charset).value_or("?"));
    if (!part.empty() && start.size() + longerCode.size() + 2 > LONGEST) {
      words += start + code + "?=\n ";
      part.clear();
      continue;
    }
    part = longer;
    code = longerCode;
    at = next;
  }
  return words + start + code + "?=";
}

// A line that need not be folded, and nothing in it that reads as encoded.
bool goesAsItIs(const std::string& text) {
  constexpr std::size_t LONGEST = 900;
  return isAscii(text) && text.size() <= LONGEST && text.find("=?") == std::string::npos;
}

std::string header(const Mailbox& mailbox) {
  if (mailbox.name.empty()) return mailbox.address;
  if (goesAsItIs(mailbox.written)) return mailbox.written;
  return encodedWords(mailbox.name, UTF8) + "\n <" + mailbox.address + ">";
}

std::string dateNow() {
  GDateTime* now = g_date_time_new_now_local();
  const Text text(g_mime_utils_header_format_date(now));
  g_date_time_unref(now);
  return text.get();
}

std::string headersOf(const Mail& mail, const std::string& subject, const std::string& charset) {
  const Mailbox from = fromOf(mail);
  std::string to;
  for (const Mailbox& mailbox : mail.to) to += (to.empty() ? "" : ",\n ") + header(mailbox);
  // GMime's own identifiers ask the network for the machine's name.
  const std::string domain = from.address.substr(from.address.rfind('@') + 1);
  const std::string unique = Text(g_uuid_string_random()).get();
  // The last one keeps holiday answers away.
  return "Date: " + dateNow() + "\nFrom: " + header(from) + "\nTo: " + to +
         "\nSubject: " + (goesAsItIs(subject) ? subject : encodedWords(subject, charset)) +
         "\nMessage-ID: <" + unique + "@" + domain +
         ">\nMIME-Version: 1.0\nAuto-Submitted: auto-generated\n";
}

// With the headers that tell how it is to be read.
std::string bodyPart(const Encoded& encoded) {
  const Object<GMimeStream> stream(
      g_mime_stream_mem_new_with_buffer(encoded.body.data(), encoded.body.size()));
  const Object<GMimeDataWrapper> content(
      g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  const Object<GMimePart> part(g_mime_part_new_with_type("text", "plain"));
  GMimeObject* object = GMIME_OBJECT(part.get());
  g_mime_object_set_content_type_parameter(object, "charset", encoded.charset.c_str());
  g_mime_part_set_content(part.get(), content.get());
  g_mime_object_encode(object, GMIME_ENCODING_CONSTRAINT_7BIT);
  return Text(g_mime_object_to_string(object, nullptr)).get();
}

}  // namespace

std::string compose(const Mail& mail) {
  startGMime();
  const std::string subject = oneLine(valid(mail.subject));
  const Encoded encoded = encode(mail.charset, subject, lines(valid(mail.body)));
  return headersOf(mail, subject, encoded.charset) + bodyPart(encoded);
}

}  // namespace VESK::notify
