#include "host/mp4/copy_video_track.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "host/mp4/icon_filter.h"
#include "record/index/record_text.h"
#include "record/timing/media_time.h"
#include "record/timing/rotation.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

constexpr size_t kMaxRangesTold = 8;

}  // namespace

void CopyVideoTrack::SetAttributes(int32_t rotation) {
  rotation_ = NormalRotation(rotation);
  // Parameter sets of another stream are not valid for this one.
  sets_.Clear();
  selection_.OnAttributes();
}

AccessUnitContents CopyVideoTrack::LookInto() {
  AccessUnitContents contents;
  for (const NalUnit& unit : units_) {
    contents.Add(unit.data, unit.size);
    sets_.Add(unit);
  }
  return contents;
}

void CopyVideoTrack::AddParameterSets() {
  const std::vector<NalUnit> sets = sets_.Units();
  const auto is_delimiter = [](const NalUnit& unit) {
    return unit.type() == H264::kNaluTypeAccessUnitDelimiter;
  };
  units_.insert(std::find_if_not(units_.begin(), units_.end(), is_delimiter), sets.begin(),
                sets.end());
}

void CopyVideoTrack::NoteRotation(int64_t file_us) {
  if (rotations_.empty() || rotations_.back().rotation != held_rotation_) {
    rotations_.push_back({file_us, held_rotation_});
  }
}

bool CopyVideoTrack::Push(int64_t time_us, const uint8_t* data, uint32_t size) {
  SplitAccessUnit(data, size, &units_);
  const AccessUnitContents contents = LookInto();
  const std::optional<PictureOrder> order = order_reader_.Read(units_);
  const CopySelection::Choice choice = selection_.Choose(contents);
  if (choice == CopySelection::Choice::kKeepSets) {
    sets_came_alone_ = true;
    return true;
  }
  if (choice == CopySelection::Choice::kDrop) {
    ++report_->status.video_samples_dropped;
    return true;
  }
  const bool lacks_sets = contents.idr && !(contents.sps && contents.pps);
  if (lacks_sets || sets_came_alone_) AddParameterSets();
  const uint64_t sample_size = SampleSize(units_);
  if (sample_size > Mp4Muxer::kMaxSampleBytes) {
    return report_->Fail(WriterFailure::kVideo, "a picture is too large");
  }
  sets_came_alone_ = false;
  uint8_t* const sample = muxer_->Room(static_cast<uint32_t>(sample_size));
  PutSample(units_, sample);
  if (!described_) {
    described_ = true;
    VideoTrackInfo info;
    info.decoder_configuration = sets_.DecoderConfiguration();
    info.width = width_;
    info.height = height_;
    info.ticks_per_second = kMicrosecondsPerSecond;
    muxer_->DescribeVideo(info);
  }
  if (has_held_) {
    time_us = report_->Raised(time_us, held_time_us_);
    last_duration_us_ = time_us - held_time_us_;
  }
  if (time_us - times_.first_open_us() > kLongestHeldUs) order_.Flush();
  order_.Push(order);
  times_.Add(time_us);
  if (has_held_) {
    NoteShown(time_us);
    if (!PassOn()) return false;
  }
  held_is_icon_ = FindIconFrame(data, size) != nullptr;
  held_size_ = order_reader_.size();
  held_rotation_ = rotation_;
  has_held_ = true;
  held_.is_key = contents.idr;
  held_.data = sample;
  held_.size = static_cast<uint32_t>(sample_size);
  held_time_us_ = time_us;
  return true;
}

// The last sample was shown up to here.
void CopyVideoTrack::NoteShown(int64_t until_us) {
  const int64_t file_us = parts_->FileTime(held_time_us_);
  const int64_t duration_us = parts_->FileTime(until_us) - file_us;
  if (held_is_icon_ || duration_us == 0) return;
  NoteRotation(file_us);
  if (held_size_.width != 0 && (size_us_.size() < kMaxSizes || size_us_.count(held_size_) > 0)) {
    size_us_[held_size_] += duration_us;
  }
  rotation_us_[rotations_.back().rotation] += duration_us;
}

// Gives the last sample to the muxer.
bool CopyVideoTrack::PassOn() {
  uint64_t picture = 0;
  while (order_.Pop(&picture)) times_.Show(picture);
  has_held_ = false;
  if (unplaced_.empty() && times_.Next(&held_)) {
    return !IsKept(held_.is_key, &held_) || muxer_->WriteVideo(held_);
  }
  muxer_->HoldVideo(held_);
  unplaced_.push_back(held_.is_key);
  if (unplaced_.size() > kMaxHeldPictures || muxer_->waiting_bytes() > kMaxHeldBytes)
    order_.Flush();
  return Place();
}

// Gives all waiting samples their times whose place is known.
bool CopyVideoTrack::Place() {
  uint64_t picture = 0;
  while (order_.Pop(&picture)) times_.Show(picture);
  for (Mp4SampleTimes times; !unplaced_.empty() && times_.Next(&times); unplaced_.pop_front()) {
    if (!(IsKept(unplaced_.front(), &times) ? muxer_->SetTimes(times) : muxer_->LeaveOut())) {
      return false;
    }
  }
  return true;
}

// Moves the times of the next picture from the whole record's file to this one.
bool CopyVideoTrack::IsKept(bool is_key, Mp4SampleTimes* times) {
  const std::optional<KeptPictures::Times> kept =
      kept_.Next({times->presentation_time, times->decode_time, times->duration}, is_key);
  if (!kept) return false;
  *times = {kept->presentation_us, kept->decode_us, kept->duration_us};
  return true;
}

// An MP4 track has one size and one rotation.
void CopyVideoTrack::TellLook() {
  const auto is_shorter = [](const auto& a, const auto& b) { return a.second < b.second; };
  const auto size = std::max_element(size_us_.begin(), size_us_.end(), is_shorter);
  if (size != size_us_.end()) muxer_->SetSize(size->first.width, size->first.height);
  const auto rotation = std::max_element(rotation_us_.begin(), rotation_us_.end(), is_shorter);
  if (rotation == rotation_us_.end()) return;
  muxer_->SetRotation(rotation->first);
  if (rotations_.size() > 1) TellRotation(rotation->first);
}

void CopyVideoTrack::TellRotation(int32_t main_rotation) {
  std::string ranges;
  size_t count = 0;
  for (size_t i = 0; i < rotations_.size(); ++i) {
    if (rotations_[i].rotation == main_rotation || ++count > kMaxRangesTold) continue;
    const int64_t until_us = i + 1 < rotations_.size() ? rotations_[i + 1].time_us : end_us();
    ranges += (ranges.empty() ? "" : ", ") + ClockText(rotations_[i].time_us, 3) + " to " +
              ClockText(until_us, 3) + " by " + std::to_string(rotations_[i].rotation);
  }
  if (count > kMaxRangesTold) {
    ranges += " and " + CountText(count - kMaxRangesTold, "more time");
  }
  report_->Warn("the pictures should be rotated clockwise from " + ranges +
                " degrees, which copied video cannot do" +
                (main_rotation == 0
                     ? ""
                     : ": it rotates all by " + std::to_string(main_rotation) + " degrees") +
                "; use encode mode");
}

void CopyVideoTrack::TellOrder() {
  if (order_.misplaced() == 0) return;
  report_->Warn("the display order of some pictures cannot be derived (" +
                std::to_string(order_.misplaced()) + " of " + std::to_string(order_.pushed()) +
                "); copied video shows them as they were recorded; use encode mode");
}

void CopyVideoTrack::TellParts() {
  if (kept_.lead_in_us() > 0) {
    report_->Warn("copied video starts at the key frame " + ClockText(kept_.lead_in_us(), 3) +
                  " before the part; the file contains these pictures, but players do not show "
                  "them; a cut removes what must not be in the file");
  }
  if (kept_.waits() == 0) return;
  const KeptPictures::Wait& longest = kept_.longest_wait();
  report_->Warn("copied video has no new picture until the next key frame in " +
                CountText(kept_.waits(), "place") + ", the longest for " +
                ClockText(longest.duration_us, 3) + " at " + ClockText(longest.file_us, 3) +
                "; use encode mode");
}

bool CopyVideoTrack::Finish(int64_t end_us) {
  if (has_held_) {
    const int64_t last_us =
        held_time_us_ + LastCopiedDurationUs(held_time_us_, last_duration_us_, end_us);
    order_.Flush();
    times_.Add(last_us);
    NoteShown(last_us);
    if (!PassOn()) return false;
    kept_.Finish(parts_->FileTime(std::max(last_us, end_us)));
    TellParts();
    TellLook();
    TellOrder();
  }
  const Mp4WriterStatus& status = report_->status;
  if (status.video_samples_dropped != 0) {
    const std::string them = ByCount(status.video_samples_dropped, "it", "them");
    report_->Warn(CountText(status.video_samples_dropped, "video sample") +
                  ByCount(status.video_samples_dropped, " has", " have") +
                  " no key frame with parameter sets before " + them +
                  "; the MP4 does not contain " + them);
  }
  return true;
}

}  // namespace kxrtc_host
