// What an MP4 tells about its content, beside the media.
#ifndef HOST_MP4_MP4_TAGS_H_
#define HOST_MP4_MP4_TAGS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "record/speakers/chapter.h"

namespace kxrtc_host {

struct Mp4Tags {
  std::string title;                  // UTF-8; empty: none.
  std::optional<int64_t> created_us;  // Since 1970-01-01 UTC. The file keeps whole seconds.
  std::vector<Chapter> chapters;      // In output time, by their start. Those after the end of the
                                      // file are left out.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_TAGS_H_
