// The lines of a log that hold a keyword, in either direction, in constant memory.
#ifndef VESK_APPLIANCE_AGENT_LINES_H
#define VESK_APPLIANCE_AGENT_LINES_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "LogFiles.h"

namespace agent {

struct Line {
  std::uint64_t begin;
  std::uint64_t next;     // where the next line begins
  std::string_view text;  // of a line that fills a whole block, its beginning
};

class Lines {
 public:
  // False to stop.
  using Visit = std::function<bool(const Line&)>;

  // A keyword with a line feed in it is in no line; the empty one is in each.
  Lines(const LogText& log, const std::string& keyword);

  // Both from the beginning of a line to the beginning of another.
  void forwards(std::uint64_t from, std::uint64_t to, const Visit& visit);
  void backwards(std::uint64_t from, std::uint64_t to, const Visit& visit);
  std::uint64_t count(std::uint64_t from, std::uint64_t to);

 private:
  std::string_view read(std::uint64_t from, std::uint64_t to, std::size_t most);
  const char* find(const char* from, const char* end) const;
  void chooseRarest(std::string_view sample);
  std::string_view wholeLines(std::uint64_t from, std::uint64_t to);
  bool visitBlock(std::string_view block, std::uint64_t offset, const Visit& visit) const;
  std::uint64_t countBlock(std::string_view block) const;
  // Of lines that do not fit into a block.
  std::uint64_t endOfLong(std::uint64_t begin, std::uint64_t to);
  std::uint64_t beginOfLong(std::uint64_t from, std::uint64_t end);
  bool longHolds(std::uint64_t begin, std::uint64_t end);
  bool visitLong(std::uint64_t begin, std::uint64_t end, const Visit& visit);

  const LogText& text;
  std::string keyword;
  std::size_t rarest = 0;
  bool chosen = false;
  std::vector<char> buffer;
};

}  // namespace agent

#endif
