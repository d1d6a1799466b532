// The NAL unit functions find exactly what a plain search, one step at a time, finds; and
// unescaping undoes escaping.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"

namespace {

using kx_fuzz::Check;
namespace H264 = kxrtc::H264;
using Bytes = std::vector<uint8_t>;

// Positions of the start codes that have a byte behind them.
std::vector<size_t> StartCodes(const uint8_t* data, size_t size) {
  std::vector<size_t> result;
  for (size_t i = 0; i + 3 < size; ++i) {
    if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) result.push_back(i);
  }
  return result;
}

Bytes Unescaped(const uint8_t* data, size_t size) {
  Bytes result;
  int zeros = 0;  // In a row, none before the last escape counted.
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 3 && zeros >= 2) {
      zeros = 0;
      continue;
    }
    result.push_back(data[i]);
    zeros = data[i] == 0 ? zeros + 1 : 0;
  }
  return result;
}

void CheckScanners(const uint8_t* data, uint32_t size) {
  const std::vector<size_t> codes = StartCodes(data, size);
  const std::vector<H264::NaluIndex> found = H264::FindNaluIndices(data, size);
  Check(found.size() == codes.size(), "each start code gives a NAL unit");
  bool is_key = false;
  bool is_valid = true;
  for (size_t n = 0; n < codes.size(); ++n) {
    const size_t at = codes[n];
    const size_t start = at > 0 && data[at - 1] == 0 ? at - 1 : at;
    const size_t end = n + 1 < found.size() ? found[n + 1].start_offset : size;
    Check(found[n].start_offset == start, "a leading zero belongs to the start code");
    Check(found[n].payload_start_offset == at + 3, "the header byte follows the start code");
    Check(found[n].payload_size == end - (at + 3), "a NAL unit ends with the next start code");
    const int type = data[at + 3] & 31;
    is_key |= type == kxrtc::H264::kNaluTypeIdr;
    is_valid &= (type >= 1 && type <= 15) || (type >= 19 && type <= 21);
  }
  Check(H264::IsKeyFrame(data, size) == is_key, "an IDR slice makes a key frame");
  Check(H264::IsValidFrame(data, size) == is_valid, "certain types make a frame invalid");
}

void CheckEscapes(const uint8_t* data, uint32_t size) {
  Check(H264::ParseRbsp(data, size) == Unescaped(data, size), "00 00 03 loses its last byte");
  kx_utility::RawBuffer escaped;
  H264::WriteRbsp(data, size, &escaped);
  for (uint32_t i = 0; i + 2 < escaped.size(); ++i) {
    const uint8_t* bytes = escaped.data() + i;
    Check(bytes[0] != 0 || bytes[1] != 0 || bytes[2] > 2, "no start code can appear");
  }
  Check(H264::ParseRbsp(escaped.data(), escaped.size()) == Bytes(data, data + size),
        "unescaping undoes escaping");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A copy at each of a few alignments, without slack behind it.
  for (size_t cut = 0; cut < std::min<size_t>(size + 1, 3); ++cut) {
    const Bytes exact(data + cut, data + size);
    CheckScanners(exact.data(), static_cast<uint32_t>(exact.size()));
    CheckEscapes(exact.data(), static_cast<uint32_t>(exact.size()));
  }
  return 0;
}
