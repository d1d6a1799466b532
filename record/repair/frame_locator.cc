#include "record/repair/frame_locator.h"

#include <algorithm>
#include <array>

#include "record/index/index_state.h"

namespace kxrtc_host {
namespace {

using kxrtc::MediaDataRecord;

constexpr uint64_t kSearchDistance = 64 * 1024;  // Before and behind the place in the index.
constexpr size_t kFramesOfShift = 4;  // So many in a row at their new place are no chance.
constexpr uint32_t kMaxWait = 4096;

std::optional<uint64_t> Moved(uint64_t position, int64_t shift) {
  const uint64_t moved = position + static_cast<uint64_t>(shift);
  const bool is_outside = shift < 0 ? moved > position : moved < position;
  return is_outside ? std::nullopt : std::optional(moved);
}

}  // namespace

// Zero bytes may stand before a start code (ITU-T H.264, B.1.1).
bool FrameLocator::HasStartCode(uint64_t position) const {
  std::array<uint8_t, 8> bytes{};
  const size_t size = file_->Read(position, bytes.data(), bytes.size());
  const auto* end = bytes.data() + size;
  const auto* first = std::find_if(static_cast<const uint8_t*>(bytes.data()), end,
                                   [](uint8_t byte) { return byte != 0; });
  return first - bytes.data() >= 2 && first != end && *first == 1;
}

// A zero byte there belongs to the start code that follows.
bool FrameLocator::EndsInZero(uint64_t position) const {
  uint8_t before = 1;
  return position > 0 && file_->Read(position - 1, &before, 1) == 1 && before == 0;
}

bool FrameLocator::Fits(const MediaDataRecord& frame, int64_t shift) {
  const auto position = Moved(frame.start_position, shift);
  if (!position || frame.size == 0 || !LiesInside({*position, frame.size}, file_->size())) {
    return false;
  }
  if (adts_ != nullptr) return adts_->Fits({*position, frame.size});
  const uint64_t behind = *position + frame.size;
  return HasStartCode(*position) && (shift == 0 || !EndsInZero(*position)) &&
         (behind == file_->size() || (HasStartCode(behind) && !EndsInZero(behind)));
}

bool FrameLocator::IsKnown() const { return adts_ == nullptr || adts_->format().has_value(); }

uint64_t FrameLocator::CutAt(const MediaDataRecord& frame) const {
  const auto position = Moved(frame.start_position, shift_);
  const bool begins = position && *position < file_->size() && HasStartCode(*position);
  return begins ? *position : file_->size();
}

std::optional<uint64_t> FrameLocator::Expect(const MediaDataRecord& frame) {
  return Fits(frame, shift_) ? Moved(frame.start_position, shift_) : std::nullopt;
}

// The frame nearest to its place in the index whose followers are all in their places behind it.
bool FrameLocator::FindShift(const std::vector<MediaDataRecord>& frames, uint64_t end) {
  const size_t chain = std::min(frames.size(), kFramesOfShift);
  const auto fits_at = [&](int64_t shift) {
    return std::all_of(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(chain),
                       [&](const MediaDataRecord& frame) { return Fits(frame, shift); });
  };
  const uint64_t center = Moved(frames[0].start_position, shift_).value_or(0);
  for (const int64_t shift : {int64_t{0}, end_shift_}) {
    if (fits_at(shift) && Moved(frames[0].start_position, shift) >= end) {
      shift_ = shift;
      return true;
    }
  }
  if (chain < 2) return false;
  const uint64_t begin = std::max(end, center - std::min(center, kSearchDistance));
  const uint64_t last = std::min(center + kSearchDistance, file_->size());
  std::optional<int64_t> best;
  const uint8_t mark = adts_ != nullptr ? 0xFF : 0;
  for (uint64_t at = begin; at < last; ++at) {
    const uint8_t* byte = file_->View(at, 1);
    if (byte == nullptr) break;
    const auto shift = static_cast<int64_t>(at - frames[0].start_position);
    if (*byte != mark || !fits_at(shift)) continue;
    const auto distance = [this](int64_t value) {
      return value < shift_ ? shift_ - value : value - shift_;
    };
    if (!best || distance(shift) < distance(*best)) best = shift;
  }
  if (best) shift_ = *best;
  return best.has_value();
}

// Where a frame that does not fit is all the same: right between its neighbours. What else the
// index names is no frame. Of sound in an unknown format nothing fits, so it is enough to lie
// between them.
std::optional<uint64_t> FrameLocator::InPlace(const MediaDataRecord& frame,
                                              const std::vector<MediaDataRecord>& upcoming,
                                              Ends ends) const {
  const auto position = Moved(frame.start_position, shift_);
  if (!position || *position < ends.kept || !LiesInside({*position, frame.size}, file_->size())) {
    return std::nullopt;
  }
  const uint64_t behind = frame.start_position + frame.size;
  const bool touches_last = *position == ends.kept || frame.start_position == ends.named;
  const bool has_next = !upcoming.empty() && upcoming[0].start_position >= ends.named;
  const bool touches_next = !has_next || upcoming[0].start_position == behind;
  const bool overlaps_next = has_next && upcoming[0].start_position < behind;
  const bool is_right = IsKnown() ? touches_last && touches_next : touches_last || !overlaps_next;
  return is_right ? position : std::nullopt;
}

std::optional<uint64_t> FrameLocator::Locate(const MediaDataRecord& frame,
                                             const std::vector<MediaDataRecord>& upcoming,
                                             Ends ends) {
  const auto at_shift = [&]() -> std::optional<uint64_t> {
    const auto position = Fits(frame, shift_) ? Moved(frame.start_position, shift_) : std::nullopt;
    return position && *position >= ends.kept ? position : std::nullopt;
  };
  if (!IsKnown()) return InPlace(frame, upcoming, ends);
  if (const auto position = at_shift()) return position;
  const bool others_fit = std::any_of(upcoming.begin(), upcoming.end(),
                                      [this](const auto& next) { return Fits(next, shift_); });
  if (others_fit) return InPlace(frame, upcoming, ends);
  if (frames_to_wait_ > 0) {
    --frames_to_wait_;
    return InPlace(frame, upcoming, ends);
  }
  // The frame itself may be the damaged one.
  std::vector<MediaDataRecord> frames = {frame};
  frames.insert(frames.end(), upcoming.begin(), upcoming.end());
  for (size_t skipped = 0; skipped < kFramesOfShift && !frames.empty(); ++skipped) {
    if (FindShift(frames, ends.kept)) {
      searches_failed_ = 0;
      return at_shift();
    }
    frames.erase(frames.begin());
  }
  frames_to_wait_ = std::min(kMaxWait, uint32_t{8} << std::min<uint32_t>(searches_failed_++, 9));
  return InPlace(frame, upcoming, ends);
}

}  // namespace kxrtc_host
