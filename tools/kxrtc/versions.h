// The versions of kxrtc and of what it uses.
// Threads: any.
#ifndef TOOLS_KXRTC_VERSIONS_H_
#define TOOLS_KXRTC_VERSIONS_H_

#include <json/value.h>

#include "host/media/media.h"

namespace kxrtc_tool {

// The document kxrtc.versions. Without `media`, which may be null, those of FFmpeg and libarchive
// are missing.
Json::Value VersionsDocument(const kxrtc_host::Media* media);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_VERSIONS_H_
