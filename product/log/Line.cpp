#include "Line.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <string_view>

namespace VESK::logging {
namespace {

bool isControl(unsigned char byte) { return byte < 0x20 || byte == 0x7f; }

// U+0080 to U+009F, which some terminals obey as they do an escape sequence.
bool isLongControl(unsigned char first, unsigned char second) {
  return first == 0xc2 && second >= 0x80 && second <= 0x9f;
}

void appendEscaped(std::string& line, unsigned char byte) {
  static constexpr char digits[] = "0123456789abcdef";
  switch (byte) {
    case '\n':
      line += "\\n";
      break;
    case '\t':
      line += "\\t";
      break;
    case '\r':
      line += "\\r";
      break;
    default:
      line.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
  }
}

std::string_view levelMark(int level) {
  static constexpr std::string_view marks[] = {"L0", "L1", "L2", "L3", "L4"};
  return level >= 0 && level < 5 ? marks[level] : "L-";
}

spdlog::sinks::sink& stderrSink() {
  // Never destroyed: other libraries still log while the process ends.
  static spdlog::sinks::sink& sink = [&]() -> spdlog::sinks::sink& {
    auto made = std::make_unique<spdlog::sinks::stderr_sink_mt>();
    made->set_formatter(lineFormatter());
    return *made.release();
  }();
  return sink;
}

}  // namespace

std::string escapeControls(const char* text) {
  if (text == nullptr) return "(null)";
  std::string line;
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    const auto next = static_cast<unsigned char>(text[1]);
    if (isControl(byte)) {
      appendEscaped(line, byte);
    } else if (isLongControl(byte, next)) {
      appendEscaped(line, byte);
      appendEscaped(line, next);
      ++text;
    } else {
      line += *text;
    }
  }
  return line;
}

spdlog::details::log_msg stamped(int level, const std::string& text) {
  // The level travels as the name: spdlog's own scale of levels is another one.
  const std::string_view mark = levelMark(level);
  return {spdlog::string_view_t(mark.data(), mark.size()), spdlog::level::info,
          spdlog::string_view_t(text.data(), text.size())};
}

std::unique_ptr<spdlog::formatter> lineFormatter() {
  return std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%e %n %P/%t %v",
                                                     spdlog::pattern_time_type::local, "\n");
}

void writeToStderr(int level, const char* message) noexcept {
  try {
    const std::string text = escapeControls(message);
    stderrSink().log(stamped(level, text));
  } catch (...) {  // there is no other place left to complain to
  }
}

}  // namespace VESK::logging
