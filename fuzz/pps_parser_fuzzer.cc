// A PPS parses whenever the bytes that the parser takes are there, and never without them; the
// short entries read what the long ones do.
#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/pps_parser.h"

namespace {

using kx_fuzz::Check;
using kx_utility::BitBuffer;
using kxrtc::PpsParser;

void CheckPps(const std::vector<uint8_t>& rbsp, const PpsParser::PpsState* pps) {
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  const std::unique_ptr<PpsParser::PpsState> again = PpsParser::ParseInternal(&buffer);
  Check((again != nullptr) == (pps != nullptr), "both entries agree");
  if (pps == nullptr) return;
  Check(pps->pic_init_qp_minus26 >= -26 && pps->pic_init_qp_minus26 <= 25, "the QP is in range");
  Check(pps->weighted_bipred_idc <= 3 && pps->redundant_pic_cnt_present_flag <= 1,
        "short fields have short values");
  const uint64_t taken = rbsp.size() * 8 - buffer.RemainingBitCount();
  BitBuffer exact(rbsp.data(), static_cast<uint32_t>((taken + 7) / 8));
  Check(PpsParser::ParseInternal(&exact) != nullptr, "further bytes are not read");
  BitBuffer shorter(rbsp.data(), static_cast<uint32_t>((taken + 7) / 8) - 1);
  Check(PpsParser::ParseInternal(&shorter) == nullptr, "a missing byte is a failure");
}

void CheckSlice(const std::vector<uint8_t>& rbsp, const uint32_t* pps_id) {
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  uint32_t value = 0;
  bool whole = true;
  for (int i = 0; i < 3; ++i) whole = whole && buffer.ReadExponentialGolomb(&value);
  Check(whole == (pps_id != nullptr), "a slice has an identifier when three codes are there");
  Check(!whole || *pps_id == value, "the third code is the identifier");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto length = static_cast<uint32_t>(size);
  const std::vector<uint8_t> rbsp = kxrtc::H264::ParseRbsp(data, length);
  const std::unique_ptr<PpsParser::PpsState> pps = PpsParser::ParsePps(data, length);
  CheckPps(rbsp, pps.get());
  uint32_t pps_id = 0;
  uint32_t sps_id = 0;
  const bool has_ids = PpsParser::ParsePpsIds(data, length, &pps_id, &sps_id);
  Check(pps == nullptr || (has_ids && pps_id == pps->id && sps_id == pps->sps_id),
        "a PPS has its identifiers");
  CheckSlice(rbsp, PpsParser::ParsePpsIdFromSlice(data, length).get());
  return 0;
}
