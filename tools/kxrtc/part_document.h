// Parts of an MP4 as JSON.
#ifndef TOOLS_KXRTC_PART_DOCUMENT_H_
#define TOOLS_KXRTC_PART_DOCUMENT_H_

#include <json/value.h>

#include "record/parts/part_request.h"

namespace kxrtc_tool {

// Start, end and cuts, those that there are, in microseconds; null for everything.
Json::Value PartsDocument(const kxrtc_host::PartRequest& request);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PART_DOCUMENT_H_
