// Loads the part of the host that needs FFmpeg, from a file beside the program's libraries.
// Threads: one at a time.
#ifndef TOOLS_KXRTC_MEDIA_LOADER_H_
#define TOOLS_KXRTC_MEDIA_LOADER_H_

#include <string>

#include "host/media/media.h"

namespace kxrtc_tool {

// Stays until the program ends. On null `*error` says which file is missing and what to do.
const kxrtc_host::Media* LoadMedia(std::string* error);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_MEDIA_LOADER_H_
