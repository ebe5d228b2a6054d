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
  return {"VESK", "MAILER-DAEMON@" + hostName(), ""};
}

void addMailbox(GMimeMessage* message, GMimeAddressType type, const Mailbox& mailbox) {
  const Object<InternetAddress> address(
      internet_address_mailbox_new(mailbox.name.c_str(), mailbox.address.c_str()));
  internet_address_set_charset(address.get(), UTF8);
  internet_address_list_add(g_mime_message_get_addresses(message, type), address.get());
}

void setHeaders(GMimeMessage* message, const Mail& mail, const Encoded& encoded) {
  const Mailbox from = fromOf(mail);
  addMailbox(message, GMIME_ADDRESS_TYPE_FROM, from);
  for (const Mailbox& mailbox : mail.to) addMailbox(message, GMIME_ADDRESS_TYPE_TO, mailbox);
  g_mime_message_set_subject(message, oneLine(valid(mail.subject)).c_str(),
                             encoded.charset.c_str());
  GDateTime* now = g_date_time_new_now_local();
  g_mime_message_set_date(message, now);
  g_date_time_unref(now);
  // GMime's own identifiers ask the network for the machine's name.
  const Text unique(g_uuid_string_random());
  const std::string domain = from.address.substr(from.address.rfind('@') + 1);
  g_mime_message_set_message_id(message, (std::string(unique.get()) + "@" + domain).c_str());
  // Keeps holiday answers away.
  g_mime_object_set_header(GMIME_OBJECT(message), "Auto-Submitted", "auto-generated", nullptr);
}

void setBody(GMimeMessage* message, const Encoded& encoded) {
  const Object<GMimeStream> stream(
      g_mime_stream_mem_new_with_buffer(encoded.body.data(), encoded.body.size()));
  const Object<GMimeDataWrapper> content(
      g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  const Object<GMimePart> part(g_mime_part_new_with_type("text", "plain"));
  g_mime_object_set_content_type_parameter(GMIME_OBJECT(part.get()), "charset",
                                           encoded.charset.c_str());
  g_mime_part_set_content(part.get(), content.get());
  g_mime_object_encode(GMIME_OBJECT(part.get()), GMIME_ENCODING_CONSTRAINT_7BIT);
  g_mime_message_set_mime_part(message, GMIME_OBJECT(part.get()));
}

}  // namespace

std::string compose(const Mail& mail) {
  startGMime();
  const Encoded encoded = encode(mail.charset, valid(mail.subject), lines(valid(mail.body)));
  const Object<GMimeMessage> message(g_mime_message_new(TRUE));
  setHeaders(message.get(), mail, encoded);
  setBody(message.get(), encoded);
  return Text(g_mime_object_to_string(GMIME_OBJECT(message.get()), nullptr)).get();
}

}  // namespace VESK::notify
