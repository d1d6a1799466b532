// Finds boxes in an MP4 file (ISO/IEC 14496-12, 4.2).
// Threads: any.
#ifndef HOST_MP4_MP4_BOX_H_
#define HOST_MP4_MP4_BOX_H_

#include <cstdint>

#include "files/output_file.h"

namespace kxrtc_host {

// The content of a box: positions in the file.
struct Mp4Box {
  uint64_t begin = 0;
  uint64_t end = 0;
};

// Replaces `*box` by the first box of `type` in it. False: there is none, or reading failed.
[[nodiscard]] bool FindMp4Box(OutputFile* file, const char* type, Mp4Box* box);

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_BOX_H_
