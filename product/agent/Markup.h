// What a text is held against before a tree is made of it.
#ifndef VESK_AGENT_MARKUP_H
#define VESK_AGENT_MARKUP_H

#include <string_view>

namespace VESK::agent {

// Why the markup of this text is refused: a DOCTYPE (and with it all entities), elements nested too
// deep, so much markup that the tree would outgrow the text by far, or what is not well-formed and
// the parser would let pass. Null: not refused; the rest is the parser's to find.
const char* refusedMarkup(std::string_view text);

}  // namespace VESK::agent

#endif
