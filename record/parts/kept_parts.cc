#include "record/parts/kept_parts.h"

#include <algorithm>

namespace kxrtc_host {

std::vector<TimeRange> JoinedRanges(std::vector<TimeRange> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const TimeRange& a, const TimeRange& b) { return a.from_us < b.from_us; });
  std::vector<TimeRange> joined;
  for (const TimeRange& range : ranges) {
    if (range.from_us >= range.to_us) continue;
    if (!joined.empty() && range.from_us <= joined.back().to_us) {
      joined.back().to_us = std::max(joined.back().to_us, range.to_us);
    } else {
      joined.push_back(range);
    }
  }
  return joined;
}

KeptParts::KeptParts(const PartRequest& request)
    : is_whole_(request.IsWhole()),
      from_us_(request.from_us),
      lead_in_us_(request.lead_in_us),
      cuts_(JoinedRanges(request.cuts)) {
  KeptPart part;
  part.whole.from_us = request.from_us;
  const auto end_part = [&](int64_t to_us) {
    part.whole.to_us = to_us;
    if (part.whole.from_us >= part.whole.to_us) return;
    parts_.push_back(part);
    part.file_us += part.whole.to_us - part.whole.from_us;
  };
  for (const TimeRange& cut : cuts_) {
    if (cut.to_us < request.from_us) continue;
    if (cut.from_us > request.to_us) break;
    part.precedes_cut = true;
    end_part(cut.from_us);
    part.whole.from_us = std::max(cut.to_us, request.from_us);
    part.follows_cut = true;
    part.precedes_cut = false;
  }
  end_part(request.to_us);
}

bool KeptParts::Keeps(int64_t whole_us) const {
  if (is_whole_) return true;
  return std::any_of(parts_.begin(), parts_.end(), [=](const KeptPart& part) {
    return whole_us >= part.whole.from_us && whole_us < part.whole.to_us;
  });
}

int64_t KeptParts::FileTime(int64_t whole_us) const {
  if (is_whole_) return whole_us;
  int64_t file_us = 0;
  for (const KeptPart& part : parts_) {
    if (whole_us < part.whole.from_us) break;
    file_us = part.file_us + std::min(whole_us, part.whole.to_us) - part.whole.from_us;
  }
  return file_us;
}

std::optional<int64_t> KeptParts::lead_in_us() const {
  const bool is_usable = lead_in_us_ && !parts_.empty() && !parts_.front().follows_cut &&
                         *lead_in_us_ < from_us_ && !IsCut({*lead_in_us_, from_us_});
  return is_usable ? lead_in_us_ : std::nullopt;
}

bool KeptParts::IsCut(const TimeRange& range) const {
  return std::any_of(cuts_.begin(), cuts_.end(), [&](const TimeRange& cut) {
    return cut.from_us < range.to_us && cut.to_us > range.from_us;
  });
}

}  // namespace kxrtc_host
