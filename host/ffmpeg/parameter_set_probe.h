// The parameter sets of an encoder that writes them only into its stream.
#ifndef HOST_FFMPEG_PARAMETER_SET_PROBE_H_
#define HOST_FFMPEG_PARAMETER_SET_PROBE_H_

#include <cstdint>
#include <vector>

#include "host/ffmpeg/h264_encoder.h"

namespace kxrtc_host {

// Has `encoder`, which is used up by it, encode gray pictures of `settings` until its first access
// unit comes. The parameter sets in that, Annex B; empty: there are none.
std::vector<uint8_t> ProbeParameterSets(H264Encoder* encoder, const EncoderSettings& settings);

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_PARAMETER_SET_PROBE_H_
