// The reference agent's mail log as a console turns its pages.
#ifndef VESK_TESTS_AGENT_MAILLOG_H
#define VESK_TESTS_AGENT_MAILLOG_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "product/agent.h"
#include "support/Agent.h"
#include "support/Home.h"
#include "support/TempDir.h"

using Numbers = std::vector<int>;

constexpr int base = 1760000000;  // of event 0; the others follow minute by minute

// Not UTC: dates without a zone are the machine's.
inline const struct Zone {
  Zone() {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    Home::instance();
  }
} zone;

inline std::string syslogDate(time_t seconds) {
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%b %e %H:%M:%S", &local)};
}

inline std::string event(int number) {
  return syslogDate(base + 60 * number) + " gate postfix/qmgr[" + std::to_string(100 + number) +
         "]: " + (number % 2 ? "odd" : "even") + " #" + std::to_string(number) + "\n";
}

inline std::string eventsFrom(int first, int last) {
  std::string text;
  for (int number = first; number <= last; ++number) text += event(number);
  return text;
}

inline Numbers span(int first, int last, int step) {
  Numbers numbers;
  for (int number = first; step > 0 ? number <= last : number >= last; number += step) {
    numbers.push_back(number);
  }
  return numbers;
}

// A console: what it asks, and what it keeps from page to page.
struct Console {
  std::string keyword{};
  int mode = 0;
  int start = 0;
  int end = 0;
  int size = 4;
  int block[9] = {};
  char file[AgentSOAPClient::fileNameSize] = "";
  std::string events{};

  bool turn(const Agent& agent, int page = 0) {
    if (block[3] == 0) {
      const int first[9] = {size, 0, 0, 0, start, end, 0, 0, 0};
      std::copy(first, first + 9, block);
    }
    block[3] = page ? page : block[3] + 1;
    std::string text(static_cast<std::size_t>(std::max(size, 0)) * 524 + 1, '\0');
    int answer[9] = {};
    const int* b = block;
    const bool got = AgentSOAPClient::getMTALog(agent.endpoint().c_str(), keyword.data(), file,
                                                text.data(), mode, answer, b[0], b[1], b[2], b[3],
                                                b[4], b[5], b[6], b[7], b[8]);
    std::copy(answer, answer + 9, block);
    events = text.c_str();
    return got;
  }

  Numbers numbers() const {
    Numbers found;
    for (auto at = events.find('#'); at != std::string::npos; at = events.find('#', at + 1)) {
      found.push_back(std::stoi(events.substr(at + 1)));
    }
    return found;
  }

  // All pages from the next one on.
  Numbers rest(const Agent& agent) {
    Numbers all;
    while (turn(agent) && !events.empty()) {
      const Numbers page = numbers();
      EXPECT_LE(page.size(), static_cast<std::size_t>(size));
      all.insert(all.end(), page.begin(), page.end());
    }
    return all;
  }
};

class MailLogTest : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& text, time_t changed = base + 86400) {
    setTime(dir.write(name, text), changed);
  }
  void append(const std::string& text) {
    std::ofstream(dir.path("maillog"), std::ios::app | std::ios::binary) << text;
  }
  void writePacked(const std::string& name, const std::string& text, time_t changed) {
    const gzFile file = gzopen(dir.path(name).c_str(), "wb");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    setTime(dir.path(name), changed);
  }
  void pack(const std::string& from, const std::string& to) {
    writePacked(to, dir.read(from), base + 86400);
    std::filesystem::remove(dir.path(from));
  }
  void rename(const std::string& from, const std::string& to) {
    std::filesystem::rename(dir.path(from), dir.path(to));
  }
  // 25 events in three files, the oldest ones compressed.
  void threeFiles() {
    writePacked("maillog.2.gz", eventsFrom(1, 10), base + 86400);
    write("maillog.1", eventsFrom(11, 18));
    write("maillog", eventsFrom(19, 25));
  }
  void start() { agent.emplace(Server::Words{"--maillog", dir.path("maillog")}); }

  TempDir dir;
  std::optional<Agent> agent;

 private:
  static void setTime(const std::string& path, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
  }
};

#endif
