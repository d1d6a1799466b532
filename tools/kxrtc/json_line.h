// One JSON document on one line of standard output, for programs.
#ifndef TOOLS_KXRTC_JSON_LINE_H_
#define TOOLS_KXRTC_JSON_LINE_H_

#include <json/value.h>

namespace kxrtc_tool {

// Prints `value` and a newline and flushes, so that a reader sees it at once.
void PrintJsonLine(const Json::Value& value);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_JSON_LINE_H_
