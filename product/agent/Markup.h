// What an answer is held against before a tree is made of it.
#ifndef VESK_AGENT_MARKUP_H
#define VESK_AGENT_MARKUP_H

#include <string_view>

namespace VESK::agent {

// Why the markup of this text is refused: a DOCTYPE (and with it all entities), elements nested too
// deep, or so much markup that the tree would outgrow the text by far. Null: not refused.
const char* refusedMarkup(std::string_view text);

}  // namespace VESK::agent

#endif
