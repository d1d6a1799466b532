// Only a rewriting appends; what it appends parses like the input and needs no second rewriting.
#include <cstring>

#include "fuzz/fuzz_input.h"
#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

namespace {

using kx_fuzz::Check;
using kx_utility::RawBuffer;
using kxrtc::SpsParser;
using kxrtc::SpsVuiRewriter;

constexpr uint32_t kMaxVuiGrowth = 64;

void CheckRewritten(const RawBuffer& payload, const SpsParser::SpsState& before) {
  for (uint32_t i = 0; i + 2 < payload.size(); ++i) {
    const uint8_t* bytes = payload.data() + i;
    Check(bytes[0] != 0 || bytes[1] != 0 || bytes[2] > 2, "no start code can appear");
  }
  SpsParser::SpsState after;
  bool parsed = false;
  RawBuffer nothing;
  Check(SpsVuiRewriter::ParseAndRewriteSps(payload.data(), payload.size(), &after, parsed,
                                           &nothing) == SpsVuiRewriter::kVuiOk,
        "a rewritten SPS is fine");
  SpsParser::SpsState expected = before;
  expected.vui_params_present = 1;
  Check(parsed && std::memcmp(&after, &expected, sizeof(after)) == 0,
        "everything before the VUI stays");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto length = static_cast<uint32_t>(size);
  SpsParser::SpsState sps;
  bool parsed = true;
  RawBuffer destination;
  const SpsVuiRewriter::ParseResult result =
      SpsVuiRewriter::ParseAndRewriteSps(data, length, &sps, parsed, &destination);
  SpsParser::SpsState alone;
  Check(SpsParser::ParseSps(data, length, alone) == parsed, "parsed means that the SPS parses");
  Check(!parsed || std::memcmp(&sps, &alone, sizeof(sps)) == 0, "a parsed SPS is told");
  if (result != SpsVuiRewriter::kVuiRewritten) {
    Check(destination.size() == 0, "only a rewriting appends");
    Check(parsed || result == SpsVuiRewriter::kFailure, "what does not parse is a failure");
    Check((result == SpsVuiRewriter::kPocTypeOk) == (parsed && sps.pic_order_cnt_type > 1),
          "two types of picture order count are rewritten");
    return 0;
  }
  Check(parsed, "a rewritten SPS has parsed");
  // Each byte of an escaped payload may need one more for an escape of every second one.
  Check(destination.size() <= (uint64_t{length} + kMaxVuiGrowth) * 3 / 2 + 1, "growth is bounded");
  CheckRewritten(destination, sps);
  return 0;
}
