#include "tools/kxrtc/json_line.h"

#include <json/writer.h>

#include <cstdio>
#include <string>

namespace kxrtc_tool {

void PrintJsonLine(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  std::printf("%s\n", Json::writeString(builder, value).c_str());
  std::fflush(stdout);
}

}  // namespace kxrtc_tool
