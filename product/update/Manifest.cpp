#include "Manifest.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <algorithm>
#include <memory>

#include "Digest.h"
#include "Files.h"
#include "ManifestJson.h"
#include "Version.h"

namespace VESK::update {

namespace {

constexpr std::uint64_t SCHEMA = 1;
constexpr std::size_t LARGEST_KEY = 16384;

struct FreeOpenSsl {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeOpenSsl>;

Key loadKey(const std::string& path, Failure& failure) {
  const std::string pem = readFile(path, LARGEST_KEY);
  const std::unique_ptr<BIO, FreeOpenSsl> source(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  Key key(PEM_read_bio_PUBKEY(source.get(), nullptr, nullptr, nullptr));
  ERR_clear_error();  // the thread's queue belongs to all libraries on it
  if (key && EVP_PKEY_get_id(key.get()) == EVP_PKEY_ED25519) return key;
  failure.set("key", "no Ed25519 public key", path, "put the publisher's key there, see key_file");
  return nullptr;
}

bool isSigned(const std::string& text, const std::string& signature, EVP_PKEY* key) {
  const std::unique_ptr<EVP_MD_CTX, FreeOpenSsl> context(EVP_MD_CTX_new());
  const auto bytes = [](const std::string& of) {
    return reinterpret_cast<const unsigned char*>(of.data());
  };
  const bool good = context &&
                    EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key) == 1 &&
                    EVP_DigestVerify(context.get(), bytes(signature), signature.size(), bytes(text),
                                     text.size()) == 1;
  ERR_clear_error();
  return good;
}

std::string fingerprint(EVP_PKEY* key) {
  unsigned char raw[32];
  std::size_t size = sizeof raw;
  Sha256 sum;
  if (EVP_PKEY_get_raw_public_key(key, raw, &size) == 1) sum.add(raw, size);
  return sum.finish();
}

// It becomes the last part of a URL.
bool isFileName(const std::string& name) {
  const auto plain = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view("._+~-").find(c) != std::string_view::npos;
  };
  return !name.empty() && name.size() <= 255 && name.front() != '.' &&
         std::all_of(name.begin(), name.end(), plain);
}

bool readPackage(const JsonRecord& object, std::uint64_t largest, Package& package) {
  if (!object.isObject) return false;
  package = {object.text("version"), object.text("file"), object.number("size"),
             object.number("unpacked"), object.text("sha256")};
  return isVersion(package.version) && isFileName(package.file) && isSha256(package.sha256) &&
         package.size > 0 && package.size <= largest && package.unpacked <= 4 * largest;
}

bool readPackages(const ManifestJson& json, std::uint64_t largest, Manifest& manifest,
                  Failure& failure) {
  for (const auto& [name, object] : json.packages) {
    Package package;
    if (!readPackage(object, largest, package)) {
      return failure.set("manifest", "entry not usable", name,
                         "the publisher must mend it, or raise max_package");
    }
    manifest.packages.emplace(name, std::move(package));
  }
  return true;
}

}  // namespace

bool readManifest(const std::string& text, const std::string& signature, const std::string& keyFile,
                  std::uint64_t maxPackage, Manifest& manifest, Failure& failure) {
  const Key key = loadKey(keyFile, failure);
  if (!key) return false;
  if (!isSigned(text, signature, key.get())) {
    return failure.set("signature", "the manifest is not signed by the key", keyFile,
                       "it was altered, or the publisher has another key");
  }
  ManifestJson json;
  if (!readJson(text, json) || json.all.number("schema") != SCHEMA) {
    return failure.set("manifest", "not of schema 1", "", "this appliance may be too old for it");
  }
  manifest = {json.all.number("serial"), json.all.text("issued"), fingerprint(key.get()), {}};
  if (manifest.serial == 0 || !json.hasPackages) {
    return failure.set("manifest", "no serial or no packages", "", "the publisher must mend it");
  }
  return readPackages(json, maxPackage, manifest, failure);
}

}  // namespace VESK::update
