// Mail logs: every line is an event once, whichever way the log is read and wherever a file ends.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "Fuzz.h"
#include "LogDate.h"
#include "MailLog.h"

namespace {

namespace fs = std::filesystem;

struct CloseGz {
  void operator()(gzFile file) const { gzclose(file); }
};

void writePacked(const std::string& path, const std::string& content) {
  const std::unique_ptr<gzFile_s, CloseGz> file(gzopen(path.c_str(), "wb1"));
  FUZZ_EXPECT(file != nullptr);
  const auto size = static_cast<unsigned>(content.size());
  FUZZ_EXPECT(size == 0 || gzwrite(file.get(), content.data(), size) == static_cast<int>(size));
}

// Up to three bytes 1 stand for more than the reader takes at once.
std::string stretched(std::string text) {
  for (int i = 0; i < 3; ++i) {
    const std::size_t at = text.find('\1');
    if (at != std::string::npos) text.replace(at, 1, std::string(300'000, 'x'));
  }
  return text;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

// All pages, one behind the other.
std::vector<std::string> eventsOf(agent::MailLog& log, const agent::LogPage& asked) {
  agent::LogPage page = asked;
  std::vector<std::string> events;
  while (true) {
    page.events.clear();
    FUZZ_EXPECT(log.get(page) && fuzz::isUtf8(page.events));
    const std::vector<std::string> lines = linesOf(page.events);
    FUZZ_EXPECT(lines.size() <= static_cast<std::size_t>(asked.pagesize));
    for (const std::string& line : lines) FUZZ_EXPECT(line.size() <= 523);
    events.insert(events.end(), lines.begin(), lines.end());
    if (lines.empty()) break;
    ++page.pagenumber;
  }
  FUZZ_EXPECT(static_cast<std::size_t>(page.totalcount) == events.size());
  const auto pages = (events.size() + static_cast<std::size_t>(asked.pagesize) - 1) /
                     static_cast<std::size_t>(asked.pagesize);
  FUZZ_EXPECT(static_cast<std::size_t>(page.pagecount) == pages);
  return events;
}

// By another way: whole lines of the newest file, all of the others.
std::size_t countOf(const std::vector<std::string>& files, const std::string& keyword) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string& text = files[i];
    const std::size_t whole = i > 0 ? text.size() : text.rfind('\n') + 1;
    const std::vector<std::string> lines = linesOf(text.substr(0, whole));
    count += static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const std::string& line) { return line.find(keyword) != std::string::npos; }));
  }
  return count;
}

// By a reader that has not seen the first.
void expectSecondPage(const std::string& path, agent::LogPage asked,
                      const std::vector<std::string>& events) {
  agent::MailLog log(path);
  asked.pagenumber = 2;
  FUZZ_EXPECT(log.get(asked));
  const auto size = static_cast<std::size_t>(asked.pagesize);
  const auto at = static_cast<std::ptrdiff_t>(std::min(size, events.size()));
  const auto end = static_cast<std::ptrdiff_t>(std::min(2 * size, events.size()));
  FUZZ_EXPECT(linesOf(asked.events) ==
              std::vector<std::string>(events.begin() + at, events.begin() + end));
  asked.mode = 2;
  FUZZ_EXPECT(!log.get(asked));
}

void expectPages(const std::string& path, const std::vector<std::string>& files,
                 agent::LogPage asked) {
  agent::MailLog log(path);
  asked.mode = 0;
  std::vector<std::string> newest = eventsOf(log, asked);
  asked.mode = 1;
  const std::vector<std::string> oldest = eventsOf(log, asked);
  expectSecondPage(path, asked, oldest);
  std::reverse(newest.begin(), newest.end());
  FUZZ_EXPECT(newest == oldest);
  const std::size_t count = countOf(files, asked.keyword);
  FUZZ_EXPECT(oldest.size() <= count);
  if (asked.starttime == 0 && asked.endtime == 0) FUZZ_EXPECT(oldest.size() == count);
}

void expectDate(std::string_view line) {
  const auto date = agent::dateOf(line);
  if (!date) return;
  const agent::Years years(*date, 1795252500);
  const std::time_t seconds = years.seconds(*date);
  FUZZ_EXPECT(date->complete || seconds <= 1795252500 || seconds == 0);
  FUZZ_EXPECT(date->complete || years.year(*date) >= 2016);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string folder = [] {
    const std::string made = fuzz::scratchFolder() + "/maillog";
    fs::create_directory(made);
    ::setenv("TZ", "UTC", 1);
    ::setenv("TMPDIR", made.c_str(), 1);
    return made;
  }();
  fuzz::Input input(data, size);
  agent::LogPage asked;
  const std::uint8_t how = input.byte();
  // A few pages: each takes as long as a whole log of this size.
  asked.pagesize = static_cast<std::int32_t>(1 + input.byte() % 16U + size / 128);
  if ((how & 1) != 0) asked.starttime = static_cast<std::int32_t>(input.number());
  if ((how & 2) != 0) asked.endtime = static_cast<std::int32_t>(input.number());
  asked.keyword = input.text();
  const std::string path = folder + "/log";
  const auto next = [&] { return (how & 16) != 0 ? stretched(input.text()) : input.text(); };
  std::vector<std::string> files{next()};
  fuzz::writeFile(path, files[0]);
  fs::remove(path + ".1");
  fs::remove(path + ".2.gz");
  if ((how & 4) != 0) fuzz::writeFile(path + ".1", files.emplace_back(next()));
  if ((how & 8) != 0) writePacked(path + ".2.gz", files.emplace_back(next()));
  for (const std::string& line : linesOf(files[0])) expectDate(line);
  if (asked.keyword.size() <= 1024) expectPages(path, files, asked);
  return 0;
}
