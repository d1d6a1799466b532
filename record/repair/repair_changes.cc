#include "record/repair/repair_changes.h"

#include <cinttypes>
#include <utility>

#include "record/index/record_text.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

RepairChange::Kind KindOf(FrameFates::Fate fate) {
  switch (fate) {
    case FrameFates::Fate::kMoved:
      return RepairChange::Kind::kMoved;
    case FrameFates::Fate::kFound:
    case FrameFates::Fate::kFoundLast:
      return RepairChange::Kind::kAdded;
    default:
      return RepairChange::Kind::kLost;
  }
}

}  // namespace

const char* RepairChangeName(RepairChange::Kind kind) {
  switch (kind) {
    case RepairChange::Kind::kLost:
      return "lost";
    case RepairChange::Kind::kAdded:
      return "added";
    case RepairChange::Kind::kMoved:
      break;
  }
  return "moved";
}

void RepairChanges::Add(RepairChange change) {
  ++changes;
  uint64_t* sum = change.kind == RepairChange::Kind::kLost    ? &lost
                  : change.kind == RepairChange::Kind::kAdded ? &added
                                                              : &moved;
  *sum += change.count;
  if (kept.size() < kKept) kept.push_back(std::move(change));
}

void FrameFates::Add(Fate fate, const Frame& frame, int64_t shift, const char* remark) {
  if (fate != fate_ || shift != shift_ || remark != remark_) {
    Finish();
    fate_ = fate;
    shift_ = shift;
    remark_ = remark;
    first_ = frame;
  }
  last_us_ = frame.time_us;
  ++count_;
}

void FrameFates::Finish() {
  if (fate_ != Fate::kKept) {
    const auto kind = KindOf(fate_);
    if (kind == RepairChange::Kind::kLost) lost_ += count_;
    changes_->Add({kind, first_.offset, first_.time_us, Text(), count_});
  }
  fate_ = Fate::kKept;
  count_ = 0;
}

std::string FrameFates::Text() const {
  const std::string frames =
      count_ == 1 ? kxrtc_host::Text("%s frame of %s at %" PRIu64, name_,
                                     CountText(first_.size, "byte").c_str(), first_.position)
                  : kxrtc_host::Text("%" PRIu64 " %s frames up to %s, the first at %" PRIu64,
                                     count_, name_, SecondsText(last_us_).c_str(), first_.position);
  switch (fate_) {
    case Fate::kNotInFile:
      return frames + ": not in the file, which has only " + CountText(file_size_, "byte");
    case Fate::kNotFound:
      return frames + ": damaged, or taken by another frame";
    case Fate::kTooLarge:
      return frames + ": too large; no encoder makes such a frame";
    case Fate::kBeforeKey:
      return frames + ": in front of the channel's first key frame, so no MP4 can show it";
    case Fate::kScattered:
      return frames + ": too many holes between the frames";
    case Fate::kMoved:
      return frames + ": found " +
             CountText(static_cast<uint64_t>(shift_ < 0 ? -shift_ : shift_), "byte") +
             (shift_ < 0 ? " before" : " behind") + " the place in the index";
    case Fate::kFound:
      return frames + ": whole, but not in the index; " + remark_;
    case Fate::kFoundLast:
      return frames + ": not in the index, and perhaps cut off, since it is the last one; " +
             remark_;
    case Fate::kKept:
      break;
  }
  return frames;
}

}  // namespace kxrtc_host
