#include "tools/kxrtc/json_line.h"

#include <cstdio>

#include "record/show/record_documents.h"

namespace kxrtc_tool {

std::string JsonLine(const Json::Value& value) { return kxrtc_host::JsonText(value) + "\n"; }

void PrintJsonLine(const Json::Value& value) {
  std::printf("%s", JsonLine(value).c_str());
  std::fflush(stdout);
}

}  // namespace kxrtc_tool
