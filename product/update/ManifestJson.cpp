#include "ManifestJson.h"

#include "shared/JsonEvents.h"

namespace VESK::update {

namespace {

// The depth is 1 in the whole object, 2 in "packages" and 3 in a package; all else that nests is
// passed over.
class Reader : public JsonEvents {
 public:
  explicit Reader(ManifestJson& fill) : json(fill) {}

  bool number_unsigned(std::uint64_t value) override {
    if (other() && record() != nullptr) record()->numbers[member] = value;
    return depth > 0;
  }
  bool string(std::string& value) override {
    if (other() && record() != nullptr) record()->texts[member] = value;
    return depth > 0;
  }
  bool start_object(std::size_t) override {
    if (depth == 0) json.all.isObject = true;
    if (depth > 0) other();
    if (depth == 2 && inPackages) inPackage = package->isObject = true;
    if (depth == 1 && member == "packages") inPackages = json.hasPackages = true;
    ++depth;
    return true;
  }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t) override { return other() && ++depth > 0; }
  bool end_array() override { return leave(); }
  bool key(std::string& name) override {
    if (depth == 2 && inPackages) package = &json.packages[name];
    if (depth == 1 || (depth == 3 && inPackage)) member = name;
    return true;
  }

 private:
  JsonRecord* record() {
    if (depth == 1) return &json.all;
    return depth == 3 && inPackage ? package : nullptr;
  }

  // What an earlier member of the name was, it is no more.
  bool other() override {
    if (depth == 2 && inPackages) *package = {};
    if (depth == 1 && member == "packages") {
      json.hasPackages = false;
      json.packages.clear();
    }
    if (JsonRecord* found = record()) {
      found->texts.erase(member);
      found->numbers.erase(member);
    }
    return depth > 0;
  }

  bool leave() {
    --depth;
    if (depth == 2) inPackage = false;
    if (depth == 1) inPackages = false;
    return true;
  }

  ManifestJson& json;
  JsonRecord* package = nullptr;
  std::string member;
  int depth = 0;
  bool inPackages = false;
  bool inPackage = false;
};

}  // namespace

std::string JsonRecord::text(const char* name) const {
  const auto found = texts.find(name);
  return found != texts.end() ? found->second : std::string();
}

std::uint64_t JsonRecord::number(const char* name) const {
  const auto found = numbers.find(name);
  return found != numbers.end() ? found->second : 0;
}

bool readJson(const std::string& text, ManifestJson& json) {
  Reader reader(json);
  return nlohmann::json::sax_parse(text, &reader) && json.all.isObject;
}

}  // namespace VESK::update
