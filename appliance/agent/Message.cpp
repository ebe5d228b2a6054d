#include "Message.h"

#include <algorithm>
#include <limits>

#include "Html.h"
#include "Text.h"

namespace agent {
namespace {

// Deeper parts are not looked into: no client makes them, and each level costs stack.
constexpr int deepest = 32;

struct UnrefObject {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Type>
using Object = std::unique_ptr<Type, UnrefObject>;

struct Free {
  void operator()(char* text) const { g_free(text); }
};
using Chars = std::unique_ptr<char, Free>;

std::string inOneLine(const char* text) {
  std::string line = text == nullptr ? "" : text;
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
  std::erase(line, '\r');
  return line;
}

std::string lowerType(GMimeObject* part) {
  const Chars type(g_mime_content_type_get_mime_type(g_mime_object_get_content_type(part)));
  const Chars lower(g_ascii_strdown(type.get(), -1));
  return lower.get();
}

// Decoded, in UTF-8; no more than `limit` bytes are kept in memory, however long the part is.
std::string decoded(GMimePart* part, std::size_t limit) {
  GMimeDataWrapper* content = g_mime_part_get_content(part);
  if (content == nullptr) return "";
  GByteArray* bytes = g_byte_array_new();
  g_byte_array_set_size(bytes, static_cast<guint>(limit));
  const Object<GMimeStream> memory(g_mime_stream_mem_new_with_byte_array(bytes));
  g_mime_stream_set_bounds(memory.get(), 0, static_cast<gint64>(limit));
  const Object<GMimeStream> filtered(g_mime_stream_filter_new(memory.get()));
  const char* charset = g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "charset");
  if (charset != nullptr) {
    const Object<GMimeFilter> filter(g_mime_filter_charset_new(charset, "utf-8"));
    // A name that nobody knows: what is UTF-8 in it shows, the rest is replaced.
    if (filter) g_mime_stream_filter_add(GMIME_STREAM_FILTER(filtered.get()), filter.get());
  }
  g_mime_data_wrapper_write_to_stream(content, filtered.get());
  g_mime_stream_flush(filtered.get());
  const auto size = static_cast<std::size_t>(g_mime_stream_tell(memory.get()));
  return {reinterpret_cast<const char*>(bytes->data), std::min(size, limit)};
}

std::size_t written(const Object<GMimeStream>& counter) {
  return GMIME_STREAM_NULL(counter.get())->written;
}

std::string describe(GMimeObject* part) {
  const Object<GMimeStream> counter(g_mime_stream_null_new());
  const char* name = nullptr;
  if (GMIME_IS_PART(part)) {
    name = g_mime_part_get_filename(GMIME_PART(part));
    GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part));
    if (content != nullptr) g_mime_data_wrapper_write_to_stream(content, counter.get());
  } else if (GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part))) {
    name = g_mime_message_get_subject(inner);
    g_mime_object_write_to_stream(GMIME_OBJECT(inner), nullptr, counter.get());
  }
  const std::string shown = inOneLine(name);
  return (shown.empty() ? "unnamed" : shown) + '\t' + lowerType(part) + '\t' +
         std::to_string(written(counter)) + '\n';
}

}  // namespace

void Message::initialise() { g_mime_init(); }

Message::Message(Descriptor file) {
  if (!file) return;
  const Object<GMimeStream> stream(g_mime_stream_fs_new(file.release()));
  const Object<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  message.reset(g_mime_parser_construct_message(parser.get(), nullptr));
  if (message) collect(g_mime_message_get_mime_part(message.get()), 0);
}

void Message::collect(GMimeObject* part, int depth) {
  if (part == nullptr || depth > deepest) return;
  if (GMIME_IS_MULTIPART(part)) {
    GMimeMultipart* parts = GMIME_MULTIPART(part);
    for (int at = 0; at < g_mime_multipart_get_count(parts); ++at) {
      collect(g_mime_multipart_get_part(parts, at), depth + 1);
    }
    return;
  }
  const bool inlineText = GMIME_IS_PART(part) && !g_mime_part_is_attachment(GMIME_PART(part)) &&
                          g_mime_part_get_filename(GMIME_PART(part)) == nullptr;
  const std::string type = lowerType(part);
  if (inlineText && type == "text/plain") {
    if (plain == nullptr) plain = GMIME_PART(part);
  } else if (inlineText && type == "text/html") {
    if (html == nullptr) html = GMIME_PART(part);
  } else if (GMIME_IS_PART(part) || GMIME_IS_MESSAGE_PART(part)) {
    attached.push_back(part);
  }
}

std::string Message::header(std::size_t limit) const {
  GMimeHeaderList* headers = g_mime_object_get_header_list(GMIME_OBJECT(message.get()));
  std::string lines;
  for (int at = 0; at < g_mime_header_list_get_count(headers) && lines.size() < limit; ++at) {
    GMimeHeader* header = g_mime_header_list_get_header_at(headers, at);
    lines += std::string(g_mime_header_get_name(header)) + ": " +
             inOneLine(g_mime_header_get_value(header)) + '\n';
  }
  return cleanText(lines, limit);
}

std::string Message::text(std::size_t limit) const {
  // Marks and carriage returns are dropped later: more is read than is wanted.
  if (plain != nullptr) return cleanText(decoded(plain, 2 * limit), limit);
  if (html != nullptr) return cleanText(htmlText(decoded(html, 32 * limit)), limit);
  return "";
}

std::string Message::attachments(std::size_t limit) const {
  std::string lines;
  for (GMimeObject* part : attached) {
    if (lines.size() >= limit) break;
    lines += describe(part);
  }
  return cleanText(lines, limit);
}

}  // namespace agent
