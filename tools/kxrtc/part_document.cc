#include "tools/kxrtc/part_document.h"

#include "record/parts/kept_parts.h"

namespace kxrtc_tool {

Json::Value PartsDocument(const kxrtc_host::PartRequest& request) {
  Json::Value document;
  if (request.from_us > 0) document["from_us"] = Json::Int64{request.from_us};
  if (request.to_us < kxrtc_host::kNoPartEnd) document["to_us"] = Json::Int64{request.to_us};
  for (const kxrtc_host::TimeRange& cut : kxrtc_host::JoinedRanges(request.cuts)) {
    Json::Value range;
    range["from_us"] = Json::Int64{cut.from_us};
    range["to_us"] = Json::Int64{cut.to_us};
    document["cuts"].append(range);
  }
  return document;
}

}  // namespace kxrtc_tool
