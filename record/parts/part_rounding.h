// Moves the ends of parts to where a file can be cut. Threads: any.
#ifndef RECORD_PARTS_PART_ROUNDING_H_
#define RECORD_PARTS_PART_ROUNDING_H_

#include <cstdint>

#include "record/parts/part_request.h"

namespace kxrtc_host {

// For encoded video: start and end at the nearest tick of `frame_rate` a second, so that parts that
// follow each other have each frame once. Cuts become larger, never smaller.
PartRequest AtTicks(const PartRequest& request, int64_t frame_rate);

// For media that are copied: each cut between two parts becomes as long as a number of audio
// frames, so that sound and pictures stay in step behind it. Cuts become longer by less than one
// audio frame.
PartRequest AtWholeAudioFrames(const PartRequest& request);

}  // namespace kxrtc_host

#endif  // RECORD_PARTS_PART_ROUNDING_H_
