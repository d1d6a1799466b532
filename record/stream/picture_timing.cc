#include "record/stream/picture_timing.h"

#include <iterator>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

using kx_utility::BitBuffer;

constexpr uint32_t kFrameTicks = 2;
constexpr uint32_t kStructureTicks[] = {2, 1, 1, 2, 2, 3, 3, 4, 6};  // By pic_struct, table E-6.

// Rates beyond these are mistakes.
constexpr int64_t kMinTickUs = 1000;
constexpr int64_t kMaxTickUs = 5000000;

// Reads the bits that follow a flag of 1.
bool SkipIf(BitBuffer* buffer, uint32_t bits) {
  uint32_t flag = 0;
  return buffer->ReadBits(&flag, 1) && (flag == 0 || buffer->ConsumeBits(bits));
}

bool SkipAspectRatio(BitBuffer* buffer) {
  constexpr uint32_t kExtendedSar = 255;
  uint32_t flag = 0;
  uint32_t aspect_ratio_idc = 0;
  return buffer->ReadBits(&flag, 1) &&
         (flag == 0 || (buffer->ReadBits(&aspect_ratio_idc, 8) &&
                        (aspect_ratio_idc != kExtendedSar || buffer->ConsumeBits(32))));
}

bool SkipSignalType(BitBuffer* buffer) {
  uint32_t flag = 0;
  return buffer->ReadBits(&flag, 1) &&
         (flag == 0 || (buffer->ConsumeBits(4) && SkipIf(buffer, 24)));
}

bool SkipChromaLocation(BitBuffer* buffer) {
  uint32_t flag = 0;
  uint32_t location = 0;
  return buffer->ReadBits(&flag, 1) && (flag == 0 || (buffer->ReadExponentialGolomb(&location) &&
                                                      buffer->ReadExponentialGolomb(&location)));
}

}  // namespace

bool PictureTiming::AddSps(const uint8_t* payload, uint32_t size, kxrtc::SpsParser::SpsState* sps) {
  tick_us_ = 0;
  has_structure_ = has_delays_ = false;
  const std::vector<uint8_t> rbsp = kxrtc::H264::ParseRbsp(payload, size);
  BitBuffer buffer(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  if (!kxrtc::SpsParser::ParseSpsUpToVui(&buffer, *sps)) return false;
  if (sps->vui_params_present != 0) ReadVui(&buffer);
  return true;
}

// A VUI that is cut keeps what it says before that place.
void PictureTiming::ReadVui(BitBuffer* buffer) {
  uint32_t has_timing = 0;
  uint32_t units_in_tick = 0;
  uint32_t time_scale = 0;
  uint32_t is_fixed = 0;
  if (!(SkipAspectRatio(buffer) && SkipIf(buffer, 1) && SkipSignalType(buffer) &&
        SkipChromaLocation(buffer) && buffer->ReadBits(&has_timing, 1))) {
    return;
  }
  if (has_timing != 0 && !(buffer->ReadBits(&units_in_tick, 32) &&
                           buffer->ReadBits(&time_scale, 32) && buffer->ReadBits(&is_fixed, 1))) {
    return;
  }
  if (is_fixed != 0 && time_scale != 0) {
    const int64_t tick_us = int64_t{units_in_tick} * 1000000 / time_scale;
    if (tick_us >= kMinTickUs && tick_us <= kMaxTickUs) tick_us_ = tick_us;
  }
  for (int i = 0; i < 2; ++i) {  // NAL and VCL.
    uint32_t has_hrd = 0;
    if (!buffer->ReadBits(&has_hrd, 1) || (has_hrd != 0 && !ReadHrd(buffer))) return;
  }
  uint32_t has_structure = 0;
  if ((has_delays_ && !buffer->ConsumeBits(1)) || !buffer->ReadBits(&has_structure, 1)) return;
  has_structure_ = has_structure != 0;
}

bool PictureTiming::ReadHrd(BitBuffer* buffer) {
  constexpr uint32_t kMaxCpbCount = 32;
  uint32_t last_cpb = 0;
  uint32_t ignored = 0;
  if (!buffer->ReadExponentialGolomb(&last_cpb) || last_cpb >= kMaxCpbCount ||
      !buffer->ConsumeBits(8)) {
    return false;
  }
  for (uint32_t i = 0; i <= last_cpb; ++i) {
    if (!(buffer->ReadExponentialGolomb(&ignored) && buffer->ReadExponentialGolomb(&ignored) &&
          buffer->ConsumeBits(1))) {
      return false;
    }
  }
  uint32_t removal_bits = 0;
  uint32_t output_bits = 0;
  has_delays_ = buffer->ConsumeBits(5) && buffer->ReadBits(&removal_bits, 5) &&
                buffer->ReadBits(&output_bits, 5) && buffer->ConsumeBits(5);
  delay_bits_ = removal_bits + output_bits + 2;
  return has_delays_;
}

void PictureTiming::AddSei(const uint8_t* payload, uint32_t size) {
  if (!has_structure_) return;
  const std::vector<uint8_t> rbsp = kxrtc::H264::ParseRbsp(payload, size);
  size_t at = 0;
  const auto read_number = [&rbsp, &at] {
    uint32_t number = 0;
    for (; at < rbsp.size() && rbsp[at] == 0xFF; ++at) number += 0xFF;
    return at < rbsp.size() ? number + rbsp[at++] : number;
  };
  while (rbsp.size() - at > 2) {  // More than the stop bit.
    const uint32_t type = read_number();
    const uint32_t length = read_number();
    if (length > rbsp.size() - at) return;
    if (type == kPictureTimingMessage) ReadPictureTiming(rbsp.data() + at, length);
    at += length;
  }
}

void PictureTiming::ReadPictureTiming(const uint8_t* message, uint32_t size) {
  BitBuffer buffer(message, size);
  uint32_t structure = 0;
  if ((!has_delays_ || buffer.ConsumeBits(delay_bits_)) && buffer.ReadBits(&structure, 4) &&
      structure < std::size(kStructureTicks)) {
    ticks_ = kStructureTicks[structure];
  }
}

int64_t PictureTiming::TakePicture() {
  const int64_t duration_us = tick_us_ * ticks_;
  ticks_ = kFrameTicks;
  return duration_us;
}

}  // namespace kxrtc_host
