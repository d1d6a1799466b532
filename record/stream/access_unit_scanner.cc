#include "record/stream/access_unit_scanner.h"

#include <algorithm>
#include <utility>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

constexpr size_t kPieceSize = 256 * 1024;

}  // namespace

AccessUnitScanner::AccessUnitScanner(const ReadOnlyFile* file, uint64_t begin, uint64_t end,
                                     std::function<bool()> is_wanted)
    : file_(file),
      position_(begin),
      end_(std::min(end, file->size())),
      is_wanted_(std::move(is_wanted)) {
  StartPiece();
}

void AccessUnitScanner::StartPiece() {
  base_ = position_;
  splitter_ = std::make_unique<NalStreamSplitter>(
      [this](const StreamNalUnit& unit) { return OnUnit(unit); });
}

bool AccessUnitScanner::Next(AccessUnit* unit) {
  while (found_.empty() && splitter_ != nullptr) ReadPiece();
  if (found_.empty()) return false;
  *unit = found_.front();
  found_.pop_front();
  return true;
}

void AccessUnitScanner::ReadPiece() {
  if (position_ >= end_ || (is_wanted_ && !is_wanted_())) {
    EndPiece();
    splitter_.reset();
    return;
  }
  // No picture goes on behind a hole of the file.
  const uint64_t data = file_->NextData(position_);
  if (data != position_) {
    EndPiece();
    position_ = data;
    return StartPiece();
  }
  buffer_.resize(static_cast<size_t>(std::min<uint64_t>(kPieceSize, end_ - position_)));
  const size_t size = file_->Read(position_, buffer_.data(), buffer_.size());
  if (size == 0) end_ = position_;
  position_ += size;
  (void)splitter_->Push(buffer_.data(), size);  // OnUnit() never stops it.
}

void AccessUnitScanner::EndPiece() {
  (void)splitter_->Finish();
  EndAccessUnit(position_);
}

bool AccessUnitScanner::OnUnit(const StreamNalUnit& unit) {
  const auto head_size = static_cast<uint32_t>(unit.head.size());
  if (tracker_.BeginsAccessUnit(unit.head.data(), head_size) || !is_open_) {
    EndAccessUnit(base_ + unit.start_offset);
    open_.frame.position = base_ + unit.start_offset;
    is_open_ = true;
  }
  const uint8_t* payload = unit.head.data() + 1;
  if (unit.type() == H264::kNaluTypeSps) {
    kxrtc::SpsParser::SpsState sps;
    if (timing_.AddSps(payload, head_size - 1, &sps)) {
      open_.width = sps.width;
      open_.height = sps.height;
    }
  } else if (unit.type() == H264::kNaluTypeSei) {
    timing_.AddSei(payload, head_size - 1);
  } else if (H264::IsPictureData(unit.type())) {
    open_.has_picture = true;
    open_.is_key = open_.is_key || unit.type() == H264::kNaluTypeIdr;
  }
  return true;
}

void AccessUnitScanner::EndAccessUnit(uint64_t end) {
  if (is_open_ && open_.has_picture) {
    open_.frame.size = end - open_.frame.position;
    open_.duration_us = timing_.TakePicture();
    found_.push_back(open_);
  }
  open_ = AccessUnit();
  is_open_ = false;
}

}  // namespace kxrtc_host
