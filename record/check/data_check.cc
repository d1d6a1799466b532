#include "record/check/data_check.h"

#include <algorithm>
#include <cinttypes>

#include "record/index/record_text.h"

namespace kxrtc_host {

void DataCheck::OnRecord(const IndexRecord& record, FramePlace place) {
  const kxrtc::MediaDataRecord& data = record.data;
  const int64_t time_us = record.header.record_timestamp_us;
  last_time_us_ = time_us;
  if (place == FramePlace::kMissing) {
    findings_->Add(FindingCode::kDataPastEnd, time_us,
                   Text("the record at index offset %" PRIu64 " refers to %s at %" PRIu64
                        " of %s, which has only %" PRIu64,
                        record.offset, CountText(data.size, "byte").c_str(), data.start_position,
                        name_, file_size_));
    return;
  }
  if (data.size == 0) {
    findings_->Add(FindingCode::kDataEmptyFrame, time_us,
                   Text("the record at index offset %" PRIu64 " refers to a frame of 0 bytes in %s",
                        record.offset, name_));
  }
  if (place == FramePlace::kEmptyBehindEnd) return;
  if (data.start_position > end_) {
    const uint64_t hole = data.start_position - end_;
    findings_->Add(FindingCode::kDataHole, time_us,
                   CountText(hole, "byte") + Text(" at %" PRIu64 " of %s ", end_, name_) +
                       ByCount(hole, "does", "do") + " not belong to a frame");
  } else if (data.start_position < end_ && data.size > 0) {
    findings_->Add(
        FindingCode::kDataOverlap, time_us,
        Text("the record at index offset %" PRIu64 " starts at %" PRIu64 " of %s, but the frames "
             "before it end at %" PRIu64,
             record.offset, data.start_position, name_, end_));
  }
  end_ = std::max(end_, data.start_position + data.size);
}

void DataCheck::Finish() {
  if (end_ >= file_size_) return;
  const uint64_t tail = file_size_ - end_;
  findings_->Add(FindingCode::kDataStaleTail, last_time_us_,
                 CountText(tail, "byte") + " at the end of " + name_ +
                     ByCount(tail, " does", " do") + " not belong to a frame");
}

}  // namespace kxrtc_host
