#include "Lines.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace agent {
namespace {

constexpr std::size_t forwardBlock = 1 << 18;
// A page is near: reading far back would be for nothing.
constexpr std::size_t backwardBlock = 1 << 16;

const char* endOf(std::string_view text) { return text.data() + text.size(); }

std::size_t distance(const char* from, const char* to) {
  return static_cast<std::size_t>(to - from);
}

const char* newlineIn(const char* from, const char* end) {
  return static_cast<const char*>(std::memchr(from, '\n', distance(from, end)));
}

const char* lastNewlineIn(const char* from, const char* end) {
  return static_cast<const char*>(memrchr(from, '\n', distance(from, end)));
}

}  // namespace

Lines::Lines(const LogText& log, const std::string& wanted)
    : text(log), keyword(wanted), buffer(forwardBlock) {}

std::string_view Lines::read(std::uint64_t from, std::uint64_t to, std::size_t most) {
  const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(to - from, most));
  const std::string_view block(buffer.data(), text.read(from, buffer.data(), size));
  if (!chosen) chooseRarest(block);
  return block;
}

// The search jumps from one occurrence of this byte to the next: the rarer, the faster.
void Lines::chooseRarest(std::string_view sample) {
  constexpr std::size_t enough = 16384;
  std::array<std::size_t, 256> counts{};
  for (const char c : sample.substr(0, enough)) ++counts[static_cast<unsigned char>(c)];
  for (std::size_t at = 1; at < keyword.size(); ++at) {
    const auto countAt = [&](std::size_t i) {
      return counts[static_cast<unsigned char>(keyword[i])];
    };
    if (countAt(at) < countAt(rarest)) rarest = at;
  }
  chosen = true;
}

const char* Lines::find(const char* from, const char* end) const {
  if (distance(from, end) < keyword.size()) return nullptr;
  const char* last = end - (keyword.size() - rarest) + 1;  // behind the last place for it
  for (const char* at = from + rarest;; ++at) {
    at = static_cast<const char*>(std::memchr(at, keyword[rarest], distance(at, last)));
    if (at == nullptr) return nullptr;
    const char* begin = at - rarest;
    if (std::memcmp(begin, keyword.data(), keyword.size()) == 0) return begin;
  }
}

bool Lines::visitBlock(std::string_view block, std::uint64_t offset, const Visit& visit) const {
  const char* end = endOf(block);
  for (const char* at = block.data(); at < end;) {
    const char* hit = keyword.empty() ? at : find(at, end);
    if (hit == nullptr) return true;
    const char* before = lastNewlineIn(at, hit);
    const char* begin = before == nullptr ? at : before + 1;
    const char* newline = newlineIn(hit, end);
    const char* next = newline == nullptr ? end : newline + 1;
    const Line line{offset + distance(block.data(), begin),
                    offset + distance(block.data(), next),
                    {begin, distance(begin, newline == nullptr ? end : newline)}};
    if (!visit(line)) return false;
    at = next;
  }
  return true;
}

std::uint64_t Lines::countBlock(std::string_view block) const {
  std::uint64_t lines = 0;
  const char* end = endOf(block);
  for (const char* at = block.data(); at < end;) {
    const char* hit = keyword.empty() ? at : find(at, end);
    if (hit == nullptr) break;
    ++lines;
    const char* newline = newlineIn(hit, end);
    at = newline == nullptr ? end : newline + 1;
  }
  return lines;
}

// As many as fit into a block; none when the first does not.
std::string_view Lines::wholeLines(std::uint64_t from, std::uint64_t to) {
  const std::string_view block = read(from, to, forwardBlock);
  if (from + block.size() >= to || block.empty()) return block;
  const char* newline = lastNewlineIn(block.data(), endOf(block));
  return newline == nullptr ? std::string_view()
                            : block.substr(0, distance(block.data(), newline) + 1);
}

std::uint64_t Lines::endOfLong(std::uint64_t begin, std::uint64_t to) {
  for (std::uint64_t at = begin; at < to;) {
    const std::string_view block = read(at, to, forwardBlock);
    if (block.empty()) return begin;
    const char* newline = newlineIn(block.data(), endOf(block));
    if (newline != nullptr) return at + distance(block.data(), newline) + 1;
    at += block.size();
  }
  return to;
}

std::uint64_t Lines::beginOfLong(std::uint64_t from, std::uint64_t end) {
  --end;  // its own line feed
  while (end > from) {
    const std::uint64_t begin = end - std::min<std::uint64_t>(end - from, backwardBlock);
    const std::string_view block = read(begin, end, backwardBlock);
    const char* newline = lastNewlineIn(block.data(), endOf(block));
    if (newline != nullptr) return begin + distance(block.data(), newline) + 1;
    end = begin;
  }
  return from;
}

bool Lines::longHolds(std::uint64_t begin, std::uint64_t end) {
  if (keyword.empty()) return true;
  if (keyword.size() > forwardBlock / 2) return false;
  const std::uint64_t step = forwardBlock - keyword.size() + 1;
  for (std::uint64_t at = begin; at < end; at += step) {
    const std::string_view block = read(at, end, forwardBlock);
    if (find(block.data(), endOf(block)) != nullptr) return true;
  }
  return false;
}

bool Lines::visitLong(std::uint64_t begin, std::uint64_t end, const Visit& visit) {
  if (!longHolds(begin, end)) return true;
  std::string_view head = read(begin, end, backwardBlock);
  if (head.ends_with('\n')) head.remove_suffix(1);
  return visit({begin, end, head});
}

void Lines::forwards(std::uint64_t from, std::uint64_t to, const Visit& visit) {
  if (keyword.find('\n') != std::string::npos) return;
  while (from < to) {
    const std::string_view block = wholeLines(from, to);
    if (!block.empty()) {
      if (!visitBlock(block, from, visit)) return;
      from += block.size();
      continue;
    }
    const std::uint64_t end = endOfLong(from, to);
    if (end == from) return;  // the log was cut off meanwhile
    if (!visitLong(from, end, visit)) return;
    from = end;
  }
}

std::uint64_t Lines::count(std::uint64_t from, std::uint64_t to) {
  std::uint64_t lines = 0;
  if (keyword.find('\n') != std::string::npos) return 0;
  while (from < to) {
    const std::string_view block = wholeLines(from, to);
    if (!block.empty()) {
      lines += countBlock(block);
      from += block.size();
      continue;
    }
    const std::uint64_t end = endOfLong(from, to);
    if (end == from) break;
    if (longHolds(from, end)) ++lines;
    from = end;
  }
  return lines;
}

void Lines::backwards(std::uint64_t from, std::uint64_t to, const Visit& visit) {
  if (keyword.find('\n') != std::string::npos) return;
  std::vector<Line> found;
  while (to > from) {
    const std::uint64_t begin = to - std::min<std::uint64_t>(to - from, backwardBlock);
    std::string_view block = read(begin, to, backwardBlock);
    if (block.size() < to - begin) return;  // the log was cut off meanwhile
    if (begin > from) {
      // A line that only ends in here belongs to the block before.
      const char* newline = newlineIn(block.data(), endOf(block));
      block.remove_prefix(newline == nullptr ? block.size() : distance(block.data(), newline) + 1);
    }
    if (block.empty()) {
      const std::uint64_t first = beginOfLong(from, to);
      if (!visitLong(first, to, visit)) return;
      to = first;
      continue;
    }
    to = begin + distance(buffer.data(), block.data());
    found.clear();
    visitBlock(block, to, [&found](const Line& line) {
      found.push_back(line);
      return true;
    });
    for (auto line = found.rbegin(); line != found.rend(); ++line) {
      if (!visit(*line)) return;
    }
  }
}

}  // namespace agent
