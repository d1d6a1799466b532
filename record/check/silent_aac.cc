#include "record/check/silent_aac.h"

#include <algorithm>
#include <utility>

namespace kxrtc_host {
namespace {

// ISO/IEC 14496-3, table 4.85.
enum Element : uint32_t {
  kSingleChannel = 0,
  kChannelPair = 1,
  kLowFrequency = 3,
  kFill = 6,
  kEnd = 7
};
constexpr uint32_t kElementKinds = 4;

class BitWriter {
 public:
  void Put(uint32_t value, int bits) {
    while (bits > 0) {
      if (count_ % 8 == 0) bytes_.push_back(0);
      const int room = 8 - static_cast<int>(count_ % 8);
      const int part = std::min(room, bits);
      bits -= part;
      count_ += static_cast<uint32_t>(part);
      const uint32_t next = value >> bits & ((1u << part) - 1);
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | next << (room - part));
    }
  }

  uint32_t bits() const { return count_; }

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

// All elements but the last one.
void PutChannels(const std::vector<Element>& elements, BitWriter* writer) {
  BitWriter& out = *writer;
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
}

// Fills up to 7 bits less than `bits` (table 4.57).
void PutFill(size_t bits, BitWriter* out) {
  constexpr uint32_t kHeadBits = 7;
  constexpr uint32_t kLongCount = 15;  // A byte that goes on with the count follows.
  // Up to 255 would be possible; then the head could look like that of an ADTS frame.
  constexpr uint32_t kMaxMore = 127;
  constexpr size_t kMaxBytes = kLongCount + kMaxMore;
  while (bits >= kHeadBits) {
    size_t bytes = std::min((bits - kHeadBits) / 8, kMaxBytes);
    bits -= kHeadBits + 8 * bytes;
    out->Put(kFill, 3);
    out->Put(static_cast<uint32_t>(std::min<size_t>(bytes, kLongCount)), 4);
    if (bytes >= kLongCount) {
      --bytes;  // The place of the byte that goes on.
      out->Put(static_cast<uint32_t>(bytes + 1 - kLongCount), 8);
    }
    for (size_t i = 0; i < bytes; ++i) out->Put(i == 0 ? 0x10 : 0xA5, 8);  // Table 4.104.
  }
}

}  // namespace

std::vector<uint8_t> SilentAacFrame(uint32_t channel_count) {
  const std::vector<Element> elements = ElementsOf(channel_count);
  if (elements.empty()) return {};
  BitWriter out;
  PutChannels(elements, &out);
  out.Put(kEnd, 3);
  return out.Take();
}

std::vector<uint8_t> SilentAacFrame(uint32_t channel_count, size_t size) {
  const size_t shortest = SilentAacFrame(channel_count).size();
  if (shortest == 0 || size < shortest) return {};
  BitWriter out;
  PutChannels(ElementsOf(channel_count), &out);
  PutFill(8 * size - out.bits() - 3, &out);
  out.Put(kEnd, 3);
  return out.Take();
}

}  // namespace kxrtc_host
