// Manifests of updates: nothing unsigned is believed, and what is signed names plain files of this
// source only.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "Fuzz.h"
#include "SigningKey.h"
#include "update/Digest.h"
#include "update/Manifest.h"
#include "update/ManifestJson.h"
#include "update/Version.h"

namespace {

using namespace VESK::update;

constexpr std::uint64_t largest = 1 << 20;

const fuzz::SigningKey& key() {
  static const fuzz::SigningKey made(fuzz::SigningKey::ED25519);
  return made;
}

void expectPlain(const std::string& text, std::size_t longest) {
  FUZZ_EXPECT(!text.empty() && text.size() <= longest && text.front() != '.');
  FUZZ_EXPECT(std::all_of(text.begin(), text.end(),
                          [](char c) { return c > ' ' && c <= '~' && c != '/' && c != '\\'; }));
}

void expectUsable(const Manifest& manifest) {
  FUZZ_EXPECT(manifest.serial > 0 && isSha256(manifest.signer));
  for (const auto& [name, package] : manifest.packages) {
    expectPlain(package.version, 64);
    expectPlain(package.file, 255);
    FUZZ_EXPECT(isSha256(package.sha256) && package.size > 0 && package.size <= largest);
    FUZZ_EXPECT(package.unpacked <= 4 * largest);
  }
}

bool read(const std::string& text, const std::string& signature, const std::string& keyFile) {
  Manifest manifest;
  Failure failure;
  const bool taken = readManifest(text, signature, keyFile, largest, manifest, failure);
  FUZZ_EXPECT(taken != failure.happened());
  if (taken) expectUsable(manifest);
  return taken;
}

using Json = nlohmann::json;

void expectSame(const Json& tree, const JsonRecord& record) {
  FUZZ_EXPECT(tree.is_object() == record.isObject);
  std::size_t texts = 0;
  std::size_t numbers = 0;
  if (!tree.is_object()) return;
  for (const auto& [name, member] : tree.items()) {
    if (member.is_string()) {
      ++texts;
      FUZZ_EXPECT(record.texts.at(name) == member.get<std::string>());
    } else if (member.is_number_unsigned()) {
      ++numbers;
      FUZZ_EXPECT(record.numbers.at(name) == member.get<std::uint64_t>());
    }
  }
  FUZZ_EXPECT(record.texts.size() == texts && record.numbers.size() == numbers);
}

// Against the parser's own tree.
void expectSameAsTree(const std::string& text) {
  const Json tree = Json::parse(text, nullptr, false);
  ManifestJson json;
  FUZZ_EXPECT(readJson(text, json) == tree.is_object());
  if (!tree.is_object()) return;
  expectSame(tree, json.all);
  const auto packages = tree.find("packages");
  FUZZ_EXPECT(json.hasPackages == (packages != tree.end() && packages->is_object()));
  if (!json.hasPackages) return;
  FUZZ_EXPECT(json.packages.size() == packages->size());
  for (const auto& [name, member] : packages->items()) {
    const auto found = json.packages.find(name);
    FUZZ_EXPECT(found != json.packages.end());
    expectSame(member, found->second);
  }
}

void expectOrder(const std::string& left, const std::string& right) {
  FUZZ_EXPECT(std::is_eq(compareVersions(left, left)));
  FUZZ_EXPECT(std::is_lt(compareVersions(left, right)) == std::is_gt(compareVersions(right, left)));
  FUZZ_EXPECT(std::is_gt(compareVersions(left + ".1", left)));
  if (isVersion(left)) expectPlain(left, 64);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const std::uint8_t flip = input.byte();
  const std::size_t place = input.byte();
  const std::string left = input.text();
  const std::string right = input.text();
  const std::string text = input.rest();
  expectOrder(left, right);
  expectSameAsTree(text);
  std::string signature = key().sign(text);
  read(text, signature, key().publicFile());
  // Another key, another signature, another text, a changed signature.
  switch (place % 4) {
    case 0:
      FUZZ_EXPECT(!read(text, signature, fuzz::MemoryFile(left).path()));
      break;
    case 1:
      FUZZ_EXPECT(!read(text, right, key().publicFile()));
      break;
    case 2:
      FUZZ_EXPECT(!read(text + ' ', signature, key().publicFile()));
      break;
    default:
      signature[place % signature.size()] =
          static_cast<char>(signature[place % signature.size()] ^ (flip == 0 ? 1 : flip));
      FUZZ_EXPECT(!read(text, signature, key().publicFile()));
  }
  return 0;
}
