#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <system_error>

#include "Kerberos.h"
#include "Text.h"
#include "product/directory.h"
#include "product/log.h"
#include "shared/Boundary.h"
#include "shared/Descriptor.h"

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
  // An older entry must not be taken because the newest one's name found no memory.
  const krb5_error_code error = krb5_unparse_name(context, principal, &text);
  if (error == ENOMEM) throw std::bad_alloc();
  if (error != 0) return {};
  const auto release = [context](char* name) { krb5_free_unparsed_name(context, name); };
  const std::unique_ptr<char, decltype(release)> owner(text, release);
  return text;
}

struct Newest {
  std::string name;
  std::uint32_t timestamp = 0;  // as unsigned: it does not end in 2038
  krb5_kvno kvno = 0;

  void consider(krb5_context context, const krb5_keytab_entry& entry) {
    const auto when = static_cast<std::uint32_t>(entry.timestamp);
    const bool older = when < timestamp || (when == timestamp && entry.vno < kvno);
    if (!isService(entry.principal) || (!name.empty() && older)) return;
    std::string found = nameOf(context, entry.principal);
    if (found.empty()) return;
    name = std::move(found);
    timestamp = when;
    kvno = entry.vno;
  }
};

// A walk through a keytab, ended with its owner.
class Walk {
 public:
  Walk(krb5_context krb5, krb5_keytab table) : context(krb5), keytab(table) {
    started = krb5_kt_start_seq_get(context, keytab, &cursor);
  }
  ~Walk() {
    if (started == 0) krb5_kt_end_seq_get(context, keytab, &cursor);
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  krb5_error_code start() const { return started; }
  krb5_error_code next(Entry& entry) { return entry.next(keytab, &cursor); }

 private:
  krb5_context context;
  krb5_keytab keytab;
  krb5_kt_cursor cursor = nullptr;
  krb5_error_code started;
};

krb5_error_code readKeytab(krb5_context context, const std::string& path, Newest& newest) {
  Keytab keytab(context);
  krb5_error_code code = krb5_kt_resolve(context, ("FILE:" + path).c_str(), keytab.out());
  if (code != 0) return code;
  Walk walk(context, keytab.get());
  if (walk.start() != 0) return walk.start();
  Entry entry(context);
  while ((code = walk.next(entry)) == 0) newest.consider(context, *entry);
  return code == KRB5_KT_END ? 0 : code;
}

// Numbers and texts of a key table, which has the high byte first.
class Fields {
 public:
  explicit Fields(std::string_view content) : left(content) {}

  bool good() const { return whole; }
  bool empty() const { return left.empty(); }

  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    for (const char byte : take(size)) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
  }

  std::string_view take(std::size_t size) {
    whole = whole && size <= left.size();
    if (!whole) return {};
    const std::string_view taken = left.substr(0, size);
    left.remove_prefix(size);
    return taken;
  }

  // Behind its length, of which libkrb5 wants 1 to 32767.
  void skipText() {
    const std::uint32_t size = number(2);
    whole = whole && size >= 1 && size <= 0x7FFF;
    take(size);
  }

 private:
  std::string_view left;
  bool whole = true;
};

// Realm, parts of the name, its type, time, version, kind of key, key; more may follow.
bool isEntry(std::string_view content) {
  Fields entry(content);
  const std::uint32_t parts = entry.number(2);
  if (parts == 0 || parts > 0x7FFF) return false;  // libkrb5 takes it for the end of the file
  for (std::uint32_t i = 0; i <= parts && entry.good(); ++i) entry.skipText();
  entry.take(4 + 4 + 1 + 2);
  entry.skipText();
  return entry.good();
}

// libkrb5 takes a file that breaks off for one that ends, and leaks what it has read of an entry
// that is wrong inside: each starts with its length, negative for a gap and zero for the end.
bool isDamaged(std::string_view content) {
  if (!content.starts_with("\5\2")) return content.starts_with('\5');
  Fields file(content.substr(2));
  while (!file.empty()) {
    const std::int64_t size = static_cast<std::int32_t>(file.number(4));
    if (!file.good()) return true;
    if (size == 0) return false;
    const std::string_view entry = file.take(static_cast<std::size_t>(std::abs(size)));
    if (!file.good() || (size > 0 && !isEntry(entry))) return true;
  }
  return false;
}

std::string systemReason() { return std::generic_category().message(errno); }

// The whole file, or the reason why not. A pipe or a device could be read for ever.
std::string readFile(const std::string& path, std::string& content) {
  constexpr off_t MOST = 1024 * 1024;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return systemReason();
  if (!S_ISREG(status.st_mode)) return "not a file";
  if (status.st_size > MOST) return "the file is too large";
  content.resize(static_cast<std::size_t>(status.st_size));
  const ssize_t got = read(file.get(), content.data(), content.size());
  if (got < 0) return systemReason();
  return static_cast<std::size_t>(got) == content.size() ? "" : "the file is changing";
}

// The reason why there is none, or nothing. libkrb5 gets a copy: it would wait for a lock that
// another process has on the file, and what was looked at here might not be what it reads.
std::string newestService(const std::string& path, std::string& name) {
  std::string content;
  const Wiped wiped{content};
  if (std::string reason = readFile(path, content); !reason.empty()) return reason;
  if (isDamaged(content)) return "the file is damaged";
  const Descriptor copy(memfd_create("keytab", MFD_CLOEXEC));
  if (!copy ||
      write(copy.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    return systemReason();
  }
  krb5_context raw = nullptr;
  if (const auto code = krb5_init_context(&raw); code != 0) return krb5Message(nullptr, code);
  const Krb5Context context(raw);
  Newest newest;
  const auto code = readKeytab(raw, "/proc/self/fd/" + std::to_string(copy.get()), newest);
  if (code != 0) return krb5Message(raw, code);
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

bool get_spn_from_keytab(const char* keytabPath, char* buffer, int bufferSize) try {
  if (buffer == nullptr || bufferSize < 1) return false;
  *buffer = '\0';
  const std::string path = realUtf8(keytabPath);
  std::string name;
  const std::string reason = path.empty() ? "no path given" : newestService(path, name);
  if (!reason.empty()) {
    Log::LogByLevel(1,
                    "keytab: %s gives no service principal: %s; hint: export it again with ktutil"
                    " or ktpass, readable for the console",
                    path.c_str(), reason.c_str());
    return false;
  }
  copyCut(name, buffer, static_cast<std::size_t>(bufferSize));
  return true;
}
VESK_AT_BOUNDARY("keytab", false)

}  // namespace VESK
