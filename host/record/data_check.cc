#include "host/record/data_check.h"

#include <algorithm>

#include "host/record/text.h"

namespace kxrtc_host {
namespace {

unsigned long long Ull(uint64_t value) { return value; }

}  // namespace

bool LiesInside(const kxrtc::MediaDataRecord& record, uint64_t file_size) {
  return record.start_position <= file_size && record.size <= file_size - record.start_position;
}

bool DataCheck::OnRecord(const IndexRecord& record) {
  const kxrtc::MediaDataRecord& data = record.data;
  const int64_t time_us = record.header.record_timestamp_us;
  last_time_us_ = time_us;
  if (!LiesInside(data, file_size_)) {
    findings_->Add(
        FindingCode::kDataPastEnd, time_us,
        Text("the record at index offset %llu names %u bytes at %llu of %s, which has "
             "%llu",
             Ull(record.offset), data.size, Ull(data.start_position), name_, Ull(file_size_)));
    return false;
  }
  if (data.size == 0) {
    findings_->Add(FindingCode::kDataEmptyFrame, time_us,
                   Text("the record at index offset %llu names a frame of 0 bytes in %s",
                        Ull(record.offset), name_));
  }
  if (data.start_position > end_) {
    findings_->Add(FindingCode::kDataHole, time_us,
                   Text("%llu bytes at %llu of %s belong to no frame",
                        Ull(data.start_position - end_), Ull(end_), name_));
  } else if (data.start_position < end_ && data.size > 0) {
    findings_->Add(FindingCode::kDataOverlap, time_us,
                   Text("the record at index offset %llu begins at %llu of %s, inside or before "
                        "the frames up to %llu",
                        Ull(record.offset), Ull(data.start_position), name_, Ull(end_)));
  }
  end_ = std::max(end_, data.start_position + data.size);
  return true;
}

void DataCheck::Finish() {
  if (end_ >= file_size_) return;
  findings_->Add(
      FindingCode::kDataStaleTail, last_time_us_,
      Text("%llu bytes at the end of %s belong to no frame", Ull(file_size_ - end_), name_));
}

}  // namespace kxrtc_host
