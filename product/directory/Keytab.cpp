#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "Kerberos.h"
#include "product/directory.h"
#include "product/log.h"

namespace VESK {

using namespace directory;

namespace {

using Keytab = Krb5Owned<krb5_keytab, krb5_kt_close>;

// One entry of a keytab at a time.
class Entry {
 public:
  explicit Entry(krb5_context krb5) : context(krb5) {}
  ~Entry() { clear(); }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  krb5_error_code next(krb5_keytab keytab, krb5_kt_cursor* cursor) {
    clear();
    const auto code = krb5_kt_next_entry(context, keytab, &value, cursor);
    filled = code == 0;
    return code;
  }
  const krb5_keytab_entry& operator*() const { return value; }

 private:
  void clear() {
    if (filled) krb5_free_keytab_entry_contents(context, &value);
    filled = false;
  }

  krb5_context context;
  krb5_keytab_entry value{};
  bool filled = false;
};

// "HTTP/gate@REALM" is one; a user or a machine account ("GATE$@REALM") has one component.
bool isService(krb5_const_principal principal) { return principal->length > 1; }

std::string nameOf(krb5_context context, krb5_const_principal principal) {
  char* text = nullptr;
  if (krb5_unparse_name(context, principal, &text) != 0) return {};
  std::string copy = text;
  krb5_free_unparsed_name(context, text);
  return copy;
}

struct Newest {
  std::string name;
  std::uint32_t timestamp = 0;  // as unsigned: it does not end in 2038
  krb5_kvno kvno = 0;

  void consider(krb5_context context, const krb5_keytab_entry& entry) {
    const auto when = static_cast<std::uint32_t>(entry.timestamp);
    const bool older = when < timestamp || (when == timestamp && entry.vno < kvno);
    if (!isService(entry.principal) || (!name.empty() && older)) return;
    name = nameOf(context, entry.principal);
    timestamp = when;
    kvno = entry.vno;
  }
};

krb5_error_code readKeytab(krb5_context context, const std::string& path, Newest& newest) {
  Keytab keytab(context);
  krb5_kt_cursor cursor = nullptr;
  krb5_error_code code = krb5_kt_resolve(context, ("FILE:" + path).c_str(), keytab.out());
  if (code == 0) code = krb5_kt_start_seq_get(context, keytab.get(), &cursor);
  if (code != 0) return code;
  Entry entry(context);
  while ((code = entry.next(keytab.get(), &cursor)) == 0) newest.consider(context, *entry);
  krb5_kt_end_seq_get(context, keytab.get(), &cursor);
  return code == KRB5_KT_END ? 0 : code;
}

// libkrb5 takes a file that breaks off for one that ends: each entry starts with its length,
// negative for a gap and zero for the end.
bool breaksOff(const char* path, std::uintmax_t length) {
  constexpr std::uintmax_t VERSION = 2;
  std::ifstream file(path, std::ios::binary);
  for (std::uintmax_t at = VERSION; at < length;) {
    unsigned char bytes[4] = {};
    file.seekg(static_cast<std::streamoff>(at));
    if (!file.read(reinterpret_cast<char*>(bytes), sizeof bytes)) return true;
    const auto size = static_cast<std::int32_t>(std::uint32_t{bytes[0]} << 24 | bytes[1] << 16 |
                                                bytes[2] << 8 | bytes[3]);
    if (size == 0) return false;
    at += sizeof bytes + static_cast<std::uintmax_t>(std::abs(std::int64_t{size}));
    if (at > length) return true;
  }
  return false;
}

// The reason why there is none, or nothing. A pipe or a device could be read for ever.
std::string newestService(const char* path, std::string& name) {
  std::error_code error;
  const bool regular = std::filesystem::is_regular_file(path, error);
  const std::uintmax_t length = regular ? std::filesystem::file_size(path, error) : 0;
  if (error) return error.message();
  if (!regular) return "not a file";
  if (breaksOff(path, length)) return "the file is damaged";
  krb5_context raw = nullptr;
  if (const auto code = krb5_init_context(&raw); code != 0) return krb5Message(nullptr, code);
  const Krb5Context context(raw);
  Newest newest;
  if (const auto code = readKeytab(raw, path, newest); code != 0) return krb5Message(raw, code);
  name = newest.name;
  return name.empty() ? "it has no service principal" : std::string();
}

void copyCut(const std::string& text, char* buffer, std::size_t size) {
  std::size_t length = std::min(text.size(), size - 1);
  const auto inside = [&] { return (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80; };
  while (length > 0 && length < text.size() && inside()) --length;
  text.copy(buffer, length);
  buffer[length] = '\0';
}

}  // namespace

bool get_spn_from_keytab(const char* keytabPath, char* buffer, int bufferSize) {
  if (buffer == nullptr || bufferSize < 1) return false;
  *buffer = '\0';
  std::string name;
  const std::string reason =
      keytabPath == nullptr ? "no path given" : newestService(keytabPath, name);
  if (!reason.empty()) {
    Log::LogByLevel(1,
                    "keytab: %s gives no service principal: %s; hint: export it again with ktutil"
                    " or ktpass, readable for the console",
                    keytabPath == nullptr ? "" : keytabPath, reason.c_str());
    return false;
  }
  copyCut(name, buffer, static_cast<std::size_t>(bufferSize));
  return true;
}

}  // namespace VESK
