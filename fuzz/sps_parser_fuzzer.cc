// An SPS parses whenever the bytes that the parser takes are there, and never without them.
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/sps_parser.h"

namespace {

using kx_fuzz::Check;
using kx_utility::BitBuffer;
using kxrtc::SpsParser;

bool Equal(const SpsParser::SpsState& a, const SpsParser::SpsState& b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SpsParser::SpsState sps;
  const bool parsed = SpsParser::ParseSps(data, static_cast<uint32_t>(size), sps);

  const std::vector<uint8_t> rbsp = kxrtc::H264::ParseRbsp(data, static_cast<uint32_t>(size));
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  SpsParser::SpsState again;
  Check(SpsParser::ParseSpsUpToVui(&buffer, again) == parsed, "both entries agree");
  Check(Equal(sps, again), "both entries read the same");
  if (!parsed) {
    Check(sps.width == 0 && sps.height == 0, "a failure gives no size");
    return 0;
  }
  Check(sps.frame_mbs_only_flag <= 1 && sps.vui_params_present <= 1, "flags are one bit");

  const uint64_t taken = rbsp.size() * 8 - buffer.RemainingBitCount();
  const auto enough = static_cast<uint32_t>((taken + 7) / 8);
  SpsParser::SpsState cut;
  BitBuffer exact(rbsp.data(), enough);
  Check(SpsParser::ParseSpsUpToVui(&exact, cut) && Equal(sps, cut), "further bytes are not read");
  BitBuffer shorter(rbsp.data(), enough - 1);
  Check(!SpsParser::ParseSpsUpToVui(&shorter, cut), "a missing byte is a failure");
  return 0;
}
