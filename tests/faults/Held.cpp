#include "Held.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace held {
namespace {

struct Entry {
  void* block;
  void* holder;
  long number;
};

// Open addressing; a block that goes leaves a mark that searches go past.
constexpr std::size_t slots = 1 << 18;
Entry table[slots];
char gone;
std::atomic_flag busy = ATOMIC_FLAG_INIT;
std::atomic<long> alive{0};
long numbers = 0;

struct Lock {
  Lock() {
    while (busy.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Lock() { busy.clear(std::memory_order_release); }
};

std::size_t slotOf(void* block) {
  const auto value = reinterpret_cast<std::uintptr_t>(block) >> 4;
  return (value ^ value >> 15) % slots;
}

}  // namespace

void add(void* block, void* holder) {
  if (block == nullptr) return;
  const Lock lock;
  std::size_t slot = slotOf(block);
  for (std::size_t tries = 0; table[slot].block != nullptr && table[slot].block != &gone; ++tries) {
    if (tries == slots) std::abort();
    slot = (slot + 1) % slots;
  }
  table[slot] = {block, holder, ++numbers};
  ++alive;
}

bool remove(void* block) {
  if (block == nullptr || alive.load(std::memory_order_relaxed) == 0) return false;
  const Lock lock;
  for (std::size_t slot = slotOf(block), tries = 0; table[slot].block != nullptr && tries < slots;
       slot = (slot + 1) % slots, ++tries) {
    if (table[slot].block != block) continue;
    table[slot].block = &gone;
    if (table[(slot + 1) % slots].block == nullptr) {  // nobody has to search past it
      for (std::size_t at = slot; table[at].block == &gone; at = (at + slots - 1) % slots) {
        table[at].block = nullptr;
      }
    }
    --alive;
    return true;
  }
  return false;
}

long count() { return alive; }
long mark() { return numbers; }

std::string nameOf(void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return "?";
  std::string name = info.dli_fname;
  name.erase(0, name.rfind('/') + 1);
  if (info.dli_sname != nullptr) return name + " " + info.dli_sname;
  char offset[32];
  std::snprintf(
      offset, sizeof offset, " +%#lx",
      static_cast<unsigned long>(static_cast<char*>(address) - static_cast<char*>(info.dli_fbase)));
  return name + offset;
}

long countOf(long mark, const std::function<bool(void* holder)>& isSuch) {
  long found = 0;
  for (const Entry& entry : table) {
    const bool meant = entry.block != nullptr && entry.block != &gone && entry.number > mark;
    if (meant && isSuch(entry.holder)) ++found;
  }
  return found;
}

std::string since(long mark) {
  std::map<std::string, int> holders;
  for (const Entry& entry : table) {
    if (entry.block != nullptr && entry.block != &gone && entry.number > mark)
      ++holders[nameOf(entry.holder)];
  }
  std::string text;
  for (const auto& [name, times] : holders) {
    text += (text.empty() ? "" : ", ") + std::to_string(times) + " of " + name;
  }
  return text;
}

}  // namespace held
