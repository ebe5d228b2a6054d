// The JSON of a manifest, taken apart as it is read.
#ifndef VESK_UPDATE_MANIFEST_JSON_H
#define VESK_UPDATE_MANIFEST_JSON_H

#include <cstdint>
#include <map>
#include <string>

namespace VESK::update {

// The texts and whole numbers from 0 on of an object. The last of equal names counts.
struct JsonRecord {
  bool isObject = false;
  std::map<std::string, std::string> texts;
  std::map<std::string, std::uint64_t> numbers;

  // Empty and 0 when there is none of that type.
  std::string text(const char* name) const;
  std::uint64_t number(const char* name) const;
};

struct ManifestJson {
  JsonRecord all;
  bool hasPackages = false;  // "packages" is an object
  std::map<std::string, JsonRecord> packages;
};

// False when the text is no JSON object.
bool readJson(const std::string& text, ManifestJson& json);

}  // namespace VESK::update

#endif
