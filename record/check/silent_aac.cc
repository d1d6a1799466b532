#include "record/check/silent_aac.h"

#include <utility>

namespace kxrtc_host {
namespace {

// ISO/IEC 14496-3, table 4.85.
enum Element : uint32_t { kSingleChannel = 0, kChannelPair = 1, kLowFrequency = 3, kEnd = 7 };
constexpr uint32_t kElementKinds = 4;

class BitWriter {
 public:
  void Put(uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) {
      if (count_++ % 8 == 0) bytes_.push_back(0);
      bytes_.back() =
          static_cast<uint8_t>(bytes_.back() | (value >> i & 1u) << (8 - count_ % 8) % 8);
    }
  }

  std::vector<uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<uint8_t> bytes_;
  uint32_t count_ = 0;
};

// By channel count, in the order of ISO/IEC 14496-3, table 1.19.
std::vector<Element> ElementsOf(uint32_t channel_count) {
  switch (channel_count) {
    case 1:
      return {kSingleChannel};
    case 2:
      return {kChannelPair};
    case 3:
      return {kSingleChannel, kChannelPair};
    case 4:
      return {kSingleChannel, kChannelPair, kSingleChannel};
    case 5:
      return {kSingleChannel, kChannelPair, kChannelPair};
    case 6:
      return {kSingleChannel, kChannelPair, kChannelPair, kLowFrequency};
    case 8:
      return {kSingleChannel, kChannelPair, kChannelPair, kChannelPair, kLowFrequency};
    default:
      return {};
  }
}

// A long window without any band (table 4.6, ics_info).
void PutWindow(BitWriter* out) { out->Put(0, 11); }

// The gain, no section, no pulse, no temporal noise shaping, no gain control (table 4.50).
void PutChannel(bool has_own_window, BitWriter* out) {
  out->Put(0, 8);
  if (has_own_window) PutWindow(out);
  out->Put(0, 3);
}

}  // namespace

std::vector<uint8_t> SilentAacFrame(uint32_t channel_count) {
  const std::vector<Element> elements = ElementsOf(channel_count);
  if (elements.empty()) return {};
  BitWriter out;
  uint32_t tags[kElementKinds] = {};
  for (const Element element : elements) {
    out.Put(element, 3);
    out.Put(tags[element]++, 4);
    if (element == kChannelPair) {
      out.Put(1, 1);  // One window for both.
      PutWindow(&out);
      out.Put(0, 2);  // Not as middle and side.
      PutChannel(false, &out);
    }
    PutChannel(element != kChannelPair, &out);
  }
  out.Put(kEnd, 3);
  return out.Take();
}

}  // namespace kxrtc_host
