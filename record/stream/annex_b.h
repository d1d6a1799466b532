// Converts access units (Annex B, start codes included) to MP4 samples, where each NAL unit starts
// with its length (ISO/IEC 14496-15).
// Threads: any.
#ifndef RECORD_STREAM_ANNEX_B_H_
#define RECORD_STREAM_ANNEX_B_H_

#include <cstdint>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {

// One NAL unit inside a borrowed access unit: header byte and payload, at least one byte.
struct NalUnit {
  const uint8_t* data;
  uint32_t size;

  uint8_t type() const { return kxrtc::H264::ParseNaluType(data[0]); }  // kxrtc::H264::NaluType.
};

// Replaces `*units` by the NAL units of `data`. Zero bytes between a NAL unit and the next start
// code belong to neither; bytes before the first start code are skipped, empty NAL units are left
// out.
void SplitAccessUnit(const uint8_t* data, uint32_t size, std::vector<NalUnit>* units);

// The size of the sample of these NAL units: each with its length in four bytes before it.
uint64_t SampleSize(const std::vector<NalUnit>& units);

// Writes the sample to `sample`, which has room for it.
void PutSample(const std::vector<NalUnit>& units, uint8_t* sample);

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ANNEX_B_H_
