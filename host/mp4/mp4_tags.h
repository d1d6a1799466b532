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
  std::optional<int64_t> created_us;  // Since 1970-01-01 UTC. The file keeps whole seconds. A time
                                      // that is no IsMp4Time() is left out.
  std::vector<Chapter> chapters;      // In output time, by their start. Those after the end of the
                                      // file are left out.
};

// True for a time that an MP4 can hold, which counts seconds in 32 bits: from 1970 to February
// 2040.
constexpr bool IsMp4Time(int64_t utc_us) {
  constexpr int64_t kEndUs = ((int64_t{1} << 32) - 2082844800) * 1000000;  // It counts from 1904.
  return utc_us >= 0 && utc_us < kEndUs;
}

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_TAGS_H_
