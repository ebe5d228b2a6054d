// How a message becomes a line.
#ifndef VESK_LOG_LINE_H
#define VESK_LOG_LINE_H

#include <spdlog/details/log_msg.h>
#include <spdlog/formatter.h>

#include <memory>
#include <string>

namespace VESK::logging {

// The level of a message that has none.
inline constexpr int unlevelled = -1;

// `text` ("(null)" for null) with every control character written as \n, \t, \r or \xHH. A
// backslash stays as it is, so that paths and regular expressions can be read.
std::string escapeControls(const char* text);

// Time stamp, level and `text`, which must outlive the result.
spdlog::details::log_msg stamped(int level, const std::string& text);

// Writes "2026-11-21T10:15:00.123 L3 pid/tid text" in local time, with a newline.
std::unique_ptr<spdlog::formatter> lineFormatter();

// Any thread, any time; nothing is said when it fails.
void writeToStderr(int level, const char* message) noexcept;

}  // namespace VESK::logging

#endif
