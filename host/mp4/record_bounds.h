// How many samples the MP4 file of a record on the disk will have at most.
#ifndef HOST_MP4_RECORD_BOUNDS_H_
#define HOST_MP4_RECORD_BOUNDS_H_

#include <string>

#include "host/mp4/writer_options.h"
#include "kx_utility/export.h"

namespace kxrtc_host {

// What Mp4SinkWriterOptions::bounds should be for the record in `folder`, so that the samples need
// not be moved in the end. Reads the index once. Of a record that cannot be read or breaks off only
// what stands before that is counted; the transcoder says what is wrong with it. Any thread.
KX_EXPORT SampleBounds BoundsOfRecord(const std::string& folder, VideoMode mode);

}  // namespace kxrtc_host

#endif  // HOST_MP4_RECORD_BOUNDS_H_
