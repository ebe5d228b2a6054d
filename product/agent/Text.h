// Texts on their way between callers, XML and fixed buffers.
#ifndef VESK_AGENT_TEXT_H
#define VESK_AGENT_TEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace VESK::agent {

// Real UTF-8 of a text that may hold supplementary characters as two three-byte surrogates. None
// when the text is no UTF-8 or holds a character that XML 1.0 has no form for.
std::optional<std::string> textForXml(std::string_view text);

// The same with U+FFFD for whatever is no character in UTF-8.
std::string validUtf8(std::string_view text);

// Valid UTF-8 into `size` bytes and a terminator behind them, cut at the end of a character.
void copyCut(const std::string& text, char* buffer, std::size_t size);

// In one line, without control characters and not long: for logs and replies.
std::string oneLine(std::string_view text);

}  // namespace VESK::agent

#endif
