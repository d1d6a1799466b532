// The sequence and picture parameter sets of a stream.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_H264_PARAMETER_SETS_H_
#define HOST_H264_PARAMETER_SETS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "record/stream/annex_b.h"

namespace kxrtc_host {

// Keeps the newest set of each kind and id (ITU-T H.264, 7.3.2.1 and 7.3.2.2).
class ParameterSets {
 public:
  void Clear();

  // Stores `unit` if it is a parameter set. Ignores sets that are too long (more than 64 KB) or
  // have an id out of range.
  void Add(const NalUnit& unit);

  // True if there is at least one set of each kind, as a decoder needs.
  bool IsComplete() const { return !sps_.empty() && !pps_.empty(); }

  // The sets as NAL units, sequence parameter sets first. Valid until the next change.
  std::vector<NalUnit> Units() const;

  // An AVCDecoderConfigurationRecord (ISO/IEC 14496-15) of the complete sets: four-byte lengths.
  std::vector<uint8_t> DecoderConfiguration() const;

 private:
  struct ParameterSet {
    uint32_t id;
    std::string bytes;
  };

  std::vector<ParameterSet> sps_;
  std::vector<ParameterSet> pps_;
};

}  // namespace kxrtc_host

#endif  // HOST_H264_PARAMETER_SETS_H_
