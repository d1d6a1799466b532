#include "tools/kxrtc/json_line.h"

#include <cstdio>

#include "record/show/record_documents.h"

namespace kxrtc_tool {

void PrintJsonLine(const Json::Value& value) {
  std::printf("%s\n", kxrtc_host::JsonText(value).c_str());
  std::fflush(stdout);
}

}  // namespace kxrtc_tool
