// Upper bounds for the samples of an MP4 file.
#ifndef HOST_MP4_SAMPLE_BOUNDS_H_
#define HOST_MP4_SAMPLE_BOUNDS_H_

#include "host/mp4/writer_options.h"
#include "record/predict/record_outline.h"

namespace kxrtc_host {

// Upper bounds for what the replay of a record pushes, filler clips included, or what the encoder
// makes of it. Any thread.
SampleBounds BoundsOf(const RecordOutline& outline, VideoMode mode,
                      const PictureChoice& choice = {});

}  // namespace kxrtc_host

#endif  // HOST_MP4_SAMPLE_BOUNDS_H_
