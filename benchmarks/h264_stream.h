// The stream that the H.264 benchmarks read.
#ifndef BENCHMARKS_H264_STREAM_H_
#define BENCHMARKS_H264_STREAM_H_

#include <cstdint>
#include <vector>

namespace kx_benchmark {

using Bytes = std::vector<uint8_t>;

// Ten seconds of 1280x720 by x264 at 4 Mbit/s, made by ffmpeg on first use; or the file that the
// environment variable KXRTC_BENCHMARK_STREAM names. Ends the program if there is neither.
const Bytes& Stream720p();

// The payload, without header byte, of the stream's first NAL unit of `type`.
Bytes FirstPayload(uint8_t type);

// Payloads of a 720p parameter set with VUI, timing and reordering, and of a PPS.
const Bytes& SpsPayload();
const Bytes& PpsPayload();

}  // namespace kx_benchmark

#endif  // BENCHMARKS_H264_STREAM_H_
