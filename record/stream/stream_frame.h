// A frame that was found in a data file.
#ifndef RECORD_STREAM_STREAM_FRAME_H_
#define RECORD_STREAM_STREAM_FRAME_H_

#include <cstdint>

namespace kxrtc_host {

struct StreamFrame {
  uint64_t position = 0;  // Bytes, in the file.
  uint64_t size = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_STREAM_FRAME_H_
