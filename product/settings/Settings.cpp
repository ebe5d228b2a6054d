#include "product/settings.h"

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "IniFile.h"
#include "product/log.h"
#include "shared/Boundary.h"

namespace VESK {
namespace {

// Items are never removed and values never freed, so a reader follows three pointers and takes no
// lock: a shared pointer would cost every reader a write to memory that all of them share. Values
// are kept once a text, so that a switch that is set a thousand times costs two texts.
class Items {
 public:
  bool get(std::string_view section, std::string_view key, std::string& value) const {
    const Item* item = find(section, key);
    if (item == nullptr) return false;
    value = *item->value.load(std::memory_order_acquire);
    return true;
  }

  // Writers come one at a time.
  void set(std::string_view section, std::string_view key, std::string_view value) {
    const std::string* kept = &*texts.emplace(value).first;
    if (Item* known = find(section, key)) {
      known->value.store(kept, std::memory_order_release);
      return;
    }
    std::atomic<Item*>& chain = chains[slotOf(section, key)];
    Item& made = all.emplace_back(section, key, kept, chain.load(std::memory_order_relaxed));
    chain.store(&made, std::memory_order_release);
  }

  bool has(std::string_view section, std::string_view key) const {
    return find(section, key) != nullptr;
  }

 private:
  struct Item {
    Item(std::string_view sectionName, std::string_view keyName, const std::string* text,
         Item* following)
        : section(sectionName), key(keyName), value(text), next(following) {}
    const std::string section;
    const std::string key;
    std::atomic<const std::string*> value;
    Item* const next;
  };

  Item* find(std::string_view section, std::string_view key) const {
    Item* item = chains[slotOf(section, key)].load(std::memory_order_acquire);
    while (item != nullptr && (item->key != key || item->section != section)) item = item->next;
    return item;
  }

  static std::size_t slotOf(std::string_view section, std::string_view key) {
    const std::hash<std::string_view> hash;
    return (hash(section) * 31 + hash(key)) % slots;
  }

  static constexpr std::size_t slots = 251;
  std::array<std::atomic<Item*>, slots> chains{};
  std::deque<Item> all;         // a deque, since its elements stay where they are
  std::set<std::string> texts;  // likewise
};

class Store final : public GlobalSettingOnMem {
 public:
  int getValue(const char* key, std::string& value, const char* section, int) override {
    value.clear();
    if (key == nullptr || section == nullptr) return -1;
    return items.get(section, key, value) ? 0 : -1;
  }

  bool isLoaded() const override { return loaded.load(std::memory_order_acquire); }

  int set(const char* section, const char* key, const char* value) {
    if (section == nullptr || key == nullptr || value == nullptr) return 0;
    if (*section == '\0' || *key == '\0') return 0;
    const std::lock_guard lock(writing);
    items.set(section, key, value);
    return 1;
  }

  void load(const char* path) {
    const std::lock_guard lock(writing);
    if (isLoaded()) return;
    const auto start = std::chrono::steady_clock::now();
    std::vector<IniItem> read;
    IniProblem problem;
    if (readIniFile(path, read, problem)) {
      take(read);
      return;
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    Log::LogByLevel(LOG_NORMAL, "settings load: %s: %s, after %.0f ms: %s; %s",
                    problem.reason.c_str(), problem.where.c_str(), time.count(),
                    problem.detail.c_str(), problem.hint.c_str());
  }

 private:
  // What was set in memory before the file could be read is newer than the file.
  void take(const std::vector<IniItem>& read) {
    Items& known = items;
    std::vector<const IniItem*> fresh;
    for (const IniItem& item : read) {
      if (!known.has(item.section, item.key)) fresh.push_back(&item);
    }
    for (const IniItem* item : fresh) known.set(item->section, item->key, item->value);
    loaded.store(true, std::memory_order_release);
  }

  Items items;
  std::mutex writing;
  std::atomic<bool> loaded{false};
};

std::atomic<Store*> store{nullptr};

Store* storeMade() {
  // Never destroyed: other libraries still read while the process ends.
  static Store* const made = new Store;
  store.store(made, std::memory_order_release);
  return made;
}

}  // namespace

GlobalSettingOnMem* GlobalSettingOnMem::Instance(const char* path, bool, const char*, const char*,
                                                 const char*, const char*, bool) try {
  if (path == nullptr) return store.load(std::memory_order_acquire);
  Store* made = storeMade();
  made->load(path);
  return made;
}
VESK_AT_BOUNDARY("settings", store.load(std::memory_order_acquire))

int GlobalSettingOnMem::_replace_create_item_on_mem(const char* section, const char* key,
                                                    const char* value) try {
  return static_cast<Store*>(this)->set(section, key, value);
}
VESK_AT_BOUNDARY("settings", 0)

}  // namespace VESK
