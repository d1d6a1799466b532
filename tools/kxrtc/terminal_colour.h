// Colour, where somebody sees it.
// Threads: any.
#ifndef TOOLS_KXRTC_TERMINAL_COLOUR_H_
#define TOOLS_KXRTC_TERMINAL_COLOUR_H_

#include <string>

namespace kxrtc_tool {

enum class Colour { kNone, kRed, kYellow, kGreen };

// `text` for standard output, in that colour if it is a terminal that has colours and the user has
// not set NO_COLOR (https://no-color.org).
std::string Coloured(Colour colour, const std::string& text);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TERMINAL_COLOUR_H_
