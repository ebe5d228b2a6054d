#include "product/update/Publisher.h"

#include <archive.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <memory>

#include "support/Server.h"

namespace {

struct Free {
  void operator()(archive* writer) const { archive_write_free(writer); }
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void add(archive* writer, const Entry& given) {
  const std::unique_ptr<archive_entry, Free> entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), given.name.c_str());
  archive_entry_set_filetype(entry.get(), given.type);
  archive_entry_set_perm(entry.get(), static_cast<mode_t>(given.mode));
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(given.content.size()));
  if (given.type == AE_IFLNK) archive_entry_set_symlink(entry.get(), given.link.c_str());
  if (given.type == AE_IFREG && !given.link.empty())
    archive_entry_set_hardlink(entry.get(), given.link.c_str());
  archive_write_header(writer, entry.get());
  archive_write_data(writer, given.content.data(), given.content.size());
}

}  // namespace

std::string sha256(const std::string& text) {
  unsigned char sum[EVP_MAX_MD_SIZE];
  EVP_Digest(text.data(), text.size(), sum, nullptr, EVP_sha256(), nullptr);
  std::string hex(64, '\0');
  for (std::size_t i = 0; i < 64; ++i)
    hex[i] = "0123456789abcdef"[sum[i / 2] >> (4 - i % 2 * 4) & 15];
  return hex;
}

Publisher::Publisher()
    : manifest{{"schema", 1}, {"serial", 0}, {"issued", "2026-11-21T10:15:00Z"}} {
  std::filesystem::create_directory(dir.path("source"));
  makeKey("key.pem");
}

void Publisher::makeKey(const std::string& key) const {
  // The tool makes a missing key on the way.
  const int status =
      Server::run({"make-update-source", "--dir", dir.path("made"), "--key", dir.path(key)},
                  dir.path("make.log"));
  if (status != 0) throw std::runtime_error("no key: " + dir.read("make.log"));
}

void Publisher::offer(const std::string& component, const std::string& version,
                      const Entries& entries) {
  Entries all{{"SHA256SUMS"}};
  for (const Entry& one : entries) {
    const std::string name = one.name.starts_with("./") ? one.name.substr(2) : one.name;
    if (one.type == AE_IFREG) all[0].content += sha256(one.content) + "  " + name + "\n";
  }
  all.insert(all.end(), entries.begin(), entries.end());
  offerBare(component, version, all);
}

void Publisher::offerBare(const std::string& component, const std::string& version,
                          const Entries& entries) {
  const std::string name = component + "-" + version + ".tar.gz";
  std::size_t unpacked = 0;
  const std::unique_ptr<archive, Free> writer(archive_write_new());
  archive_write_set_format_pax_restricted(writer.get());
  archive_write_add_filter_gzip(writer.get());
  archive_write_open_filename(writer.get(), dir.path("source/" + name).c_str());
  for (const Entry& one : entries) {
    add(writer.get(), one);
    unpacked += one.content.size();
  }
  archive_write_close(writer.get());
  const std::string package = dir.read("source/" + name);
  entry(component) = {{"version", version},
                      {"file", name},
                      {"size", package.size()},
                      {"unpacked", unpacked},
                      {"sha256", sha256(package)}};
}

void Publisher::publish() {
  manifest["serial"] = manifest["serial"].get<int>() + 1;
  dir.write("source/manifest.json", manifest.dump(2));
  sign();
}

void Publisher::sign(const std::string& key) const {
  const std::string text = dir.read("source/manifest.json");
  const std::unique_ptr<std::FILE, Free> file(std::fopen(dir.path(key).c_str(), "r"));
  const std::unique_ptr<EVP_PKEY, Free> secret(
      PEM_read_PrivateKey(file.get(), nullptr, nullptr, nullptr));
  const std::unique_ptr<EVP_MD_CTX, Free> context(EVP_MD_CTX_new());
  unsigned char signature[64];
  std::size_t size = sizeof signature;
  if (EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, secret.get()) != 1 ||
      EVP_DigestSign(context.get(), signature, &size,
                     reinterpret_cast<const unsigned char*>(text.data()), text.size()) != 1) {
    throw std::runtime_error("no signature");
  }
  dir.write("source/manifest.json.sig", {reinterpret_cast<const char*>(signature), size});
}
