// One JSON document on one line, for programs.
#ifndef TOOLS_KXRTC_JSON_LINE_H_
#define TOOLS_KXRTC_JSON_LINE_H_

#include <json/value.h>

#include <string>

namespace kxrtc_tool {

// The document and a newline.
std::string JsonLine(const Json::Value& value);

// Prints that on standard output and flushes, so that a reader sees it at once.
void PrintJsonLine(const Json::Value& value);

// A line that tells of an event, with the members that each has: its name and the version.
Json::Value EventLine(const char* event);

// Prints a line with the event "error": why the program ends with `exit_status`.
void PrintErrorLine(int exit_status, const std::string& message);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_JSON_LINE_H_
