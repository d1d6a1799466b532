// Texts from outside, such as names, paths and values of options, as a terminal may show them.
// Threads: any.
#ifndef TOOLS_KXRTC_TERMINAL_TEXT_H_
#define TOOLS_KXRTC_TERMINAL_TEXT_H_

#include <string>

namespace kxrtc_tool {

// `text` without anything that controls a terminal or changes the order of what it shows. Control
// characters, new lines among them, become "\n", "\t" or "\x1B"; so do bytes that are not UTF-8.
// Controls of the reading direction and separators of lines become "\u202E".
std::string TerminalText(const std::string& text);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TERMINAL_TEXT_H_
