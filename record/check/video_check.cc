#include "record/check/video_check.h"

#include <algorithm>
#include <cinttypes>
#include <iterator>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/sps_parser.h"
#include "record/check/read_failure.h"
#include "record/index/record_text.h"

namespace kxrtc_host {

namespace H264 = kxrtc::H264;

namespace {

constexpr uint32_t kMaxPicOrderCntType = 2;  // ITU-T H.264, 7.4.2.1.1.
constexpr uint32_t kMinSpsBytes = 4;         // Header, profile, constraints, level.

// Larger frames are read one by one, since a new view reads again what it shares with the last one.
constexpr uint32_t kMaxViewedBytes = ReadOnlyFile::kWindowSize / 4;

// ITU-T H.264, annexes A, F, G and H.
bool IsKnownProfile(uint32_t profile_idc) {
  constexpr uint32_t kProfiles[] = {44,  66,  77,  83,  86,  88,  100, 110,
                                    118, 122, 128, 134, 135, 138, 139, 244};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile_idc) != std::end(kProfiles);
}

// True when a NAL unit has a type that a frame cannot have.
bool HasInvalidType(const uint8_t* frame, const std::vector<H264::NaluIndex>& nal_units) {
  return std::any_of(nal_units.begin(), nal_units.end(), [&](const H264::NaluIndex& unit) {
    return !H264::IsValidInFrame(H264::ParseNaluType(frame[unit.payload_start_offset]));
  });
}

}  // namespace

void VideoCheck::OnNewChannel() {
  expects_key_frame_ = true;
  has_attributes_ = false;
  is_shown_ = false;
}

void VideoCheck::OnAttributes(const IndexRecord& record) {
  attributes_ = record.attributes;
  has_attributes_ = true;
  has_sps_ = has_pps_ = false;
  const bool is_plausible =
      attributes_.width > 0 && attributes_.height > 0 && attributes_.width <= kMaxPictureSide &&
      attributes_.height <= kMaxPictureSide && attributes_.rotation_angle % 90 == 0;
  if (is_plausible) return;
  summary_->findings.Add(FindingCode::kVideoAttributes, record.header.record_timestamp_us,
                         Text("attributes %ux%u rotation %d are not valid for a picture",
                              attributes_.width, attributes_.height, attributes_.rotation_angle));
}

bool VideoCheck::ReadFrame(const IndexRecord& record) {
  const uint32_t wanted = std::min(record.data.size, kMaxFrameBytesRead);
  if (wanted < record.data.size) {
    summary_->findings.Add(
        FindingCode::kVideoFrameTooLarge, record.header.record_timestamp_us,
        Text("the frame at %" PRIu64 " of .264 has %s; only the first %u were checked",
             record.data.start_position, CountText(record.data.size, "byte").c_str(), wanted));
  }
  frame_size_ = wanted;
  if (wanted <= kMaxViewedBytes) {
    frame_ = file_->View(record.data.start_position, wanted);
    if (frame_ != nullptr) return true;
  } else {
    large_frame_.resize(wanted);
    frame_ = large_frame_.data();
    if (file_->Read(record.data.start_position, large_frame_.data(), wanted) == wanted) return true;
  }
  ReportReadFailure(*file_, "the file .264", record.header.record_timestamp_us,
                    &summary_->findings);
  return false;
}

bool VideoCheck::OnFrame(const IndexRecord& record) {
  contents_ = {};
  if (!ReadFrame(record)) return false;
  // The bytes are searched once: that takes most of the time for a record.
  const auto nal_units = H264::FindNaluIndices(frame_, frame_size_);
  contents_ = ContentsOf(frame_, nal_units);
  const int64_t time_us = record.header.record_timestamp_us;
  const bool is_key = contents_.idr;
  if (expects_key_frame_ && !is_key) {
    summary_->findings.Add(FindingCode::kVideoNoKeyAfterSwitch, time_us,
                           "the first frame of the channel is not a key frame");
  }
  if (expects_key_frame_ && !has_attributes_) {
    summary_->findings.Add(FindingCode::kVideoNoAttributes, time_us,
                           "the first frame of the channel has no attributes record before it");
  }
  expects_key_frame_ = false;
  CheckNalUnits(nal_units, time_us, record.data.start_position, is_key);
  return is_key;
}

void VideoCheck::CheckNalUnits(const std::vector<H264::NaluIndex>& nal_units, int64_t time_us,
                               uint64_t position, bool is_key) {
  if (frame_size_ == 0) return;
  if (nal_units.empty()) {
    summary_->findings.Add(FindingCode::kVideoNoStartCode, time_us,
                           Text("the frame at %" PRIu64 " of .264 contains no NAL unit", position));
    return;
  }
  if (HasInvalidType(frame_, nal_units)) {
    summary_->findings.Add(FindingCode::kVideoInvalidNal, time_us,
                           Text("the frame at %" PRIu64
                                " of .264 contains a NAL unit of a type that a frame cannot have",
                                position));
  }
  units_.clear();
  for (const auto& nal_unit : nal_units) {
    const uint8_t* bytes = frame_ + nal_unit.payload_start_offset;
    if (nal_unit.payload_size == 0) continue;
    units_.push_back({bytes, nal_unit.payload_size});
    if (units_.back().type() != H264::kNaluTypeSps) continue;
    CheckParameterSet(bytes, nal_unit.payload_size, time_us);
  }
  has_sps_ |= contents_.usable_sps;
  has_pps_ |= contents_.usable_pps;
  const bool has_sets = has_sps_ && has_pps_;
  if (is_key) is_shown_ = has_sets;
  const std::optional<PictureOrder> order = order_reader_.Read(units_);
  if (contents_.slice && is_shown_) order_.Push(order);
  for (uint64_t picture = 0; order_.Pop(&picture);) continue;
  if (is_key && !has_sets) {
    summary_->findings.Add(FindingCode::kVideoNoParameterSets, time_us,
                           Text("the key frame at %" PRIu64
                                " of .264 has no parameter sets, and there are none since the "
                                "attributes record or the icon",
                                position));
  }
}

// The library's parser takes no scaling lists, for example, which are valid.
void VideoCheck::ReadFormat(const uint8_t* nal_unit, uint32_t size, int64_t time_us) {
  kxrtc::SpsParser::SpsState state{};
  last_format_valid_ = size >= kMinSpsBytes && IsKnownProfile(nal_unit[1]) &&
                       kxrtc::SpsParser::ParseSps(nal_unit + 1, size - 1, state) &&
                       state.pic_order_cnt_type <= kMaxPicOrderCntType;
  if (last_format_valid_) last_format_ = {nal_unit[1], nal_unit[3], state.width, state.height};
  if (last_format_valid_ || examiner_ == nullptr) return;
  const auto format = examiner_->Examine(frame_, frame_size_);
  if (!format) return;
  last_format_valid_ = true;
  last_format_ = *format;
  if (told_unparsed_) return;
  told_unparsed_ = true;
  summary_->findings.Add(
      FindingCode::kVideoSpsNotExamined, time_us,
      "a sequence parameter set is not examined, because the library does not parse all that it "
      "contains; only its size, profile and level are known");
}

void VideoCheck::Finish() {
  if (order_.misplaced() == 0) return;
  summary_->findings.Add(
      FindingCode::kVideoPictureOrder, std::nullopt,
      Text("the display order of %" PRIu64 " of %s cannot be derived; an MP4 of copied video shows "
           "them as they were recorded",
           order_.misplaced(), CountText(order_.pushed(), "picture").c_str()));
}

void VideoCheck::CheckParameterSet(const uint8_t* nal_unit, uint32_t size, int64_t time_us) {
  const bool is_new = last_parameter_set_.size() != size ||
                      !std::equal(last_parameter_set_.begin(), last_parameter_set_.end(), nal_unit);
  if (is_new && size <= kMaxParameterSetSize) {
    last_parameter_set_.assign(nal_unit, nal_unit + size);
    ReadFormat(nal_unit, size, time_us);
  }
  if (size > kMaxParameterSetSize || !last_format_valid_) {
    summary_->findings.Add(
        FindingCode::kVideoBadSps, time_us,
        "a sequence parameter set cannot be parsed, or has a value that H.264 does not allow");
    return;
  }
  auto& formats = summary_->video_formats;
  if (formats.size() < kMaxVideoFormats || formats.count(last_format_) > 0) {
    ++formats[last_format_];
  }
  if (has_attributes_ &&
      (attributes_.width != last_format_.width || attributes_.height != last_format_.height)) {
    summary_->findings.Add(
        FindingCode::kVideoSizeMismatch, time_us,
        Text("the attributes record says %ux%u, the parameter set %ux%u", attributes_.width,
             attributes_.height, last_format_.width, last_format_.height));
  }
}

}  // namespace kxrtc_host
