#include "tools/kxrtc/json_line.h"

#include <cstdio>

#include "record/show/record_documents.h"

namespace kxrtc_tool {

std::string JsonLine(const Json::Value& value) { return kxrtc_host::JsonText(value) + "\n"; }

void PrintJsonLine(const Json::Value& value) {
  std::printf("%s", JsonLine(value).c_str());
  std::fflush(stdout);
}

Json::Value EventLine(const char* event) {
  Json::Value line;
  line["event"] = event;
  line["version"] = kxrtc_host::kDocumentVersion;
  return line;
}

void PrintErrorLine(int exit_status, const std::string& message) {
  Json::Value line = EventLine("error");
  line["message"] = message;
  line["exit_status"] = exit_status;
  PrintJsonLine(line);
}

}  // namespace kxrtc_tool
