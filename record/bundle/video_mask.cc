#include "record/bundle/video_mask.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/bundle/sei_mask.h"
#include "record/stream/slice_header.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;

constexpr size_t kPieceSize = 256 * 1024;
constexpr size_t kHeadSize = 1 + kMaxSliceHeaderBytes;
constexpr size_t kMaxHeadSize = 64 * 1024;  // As much of a NAL unit as anybody reads at once.

bool IsParameterSet(uint8_t type) {
  return type == H264::kNaluTypeSps || type == H264::kNaluTypePps ||
         type == H264::kNaluTypeSpsExtension || type == H264::kNaluTypeSubsetSps ||
         type == H264::kNaluTypeDepthParameterSet;
}

// So many bytes of the NAL payload make `rbsp_bytes` of the RBSP.
size_t EscapedSize(const uint8_t* payload, size_t size, uint32_t rbsp_bytes) {
  uint32_t done = 0;
  int zeros = 0;
  size_t i = 0;
  for (; i < size && done < rbsp_bytes; ++i) {
    const bool is_escape = zeros >= 2 && payload[i] == 3;
    zeros = payload[i] == 0 ? zeros + 1 : 0;
    if (!is_escape) ++done;
  }
  return i;
}

}  // namespace

bool VideoMask::Next(MaskStretch* stretch) {
  while (found_.empty() && !is_at_end_) ReadPiece();
  if (found_.empty()) return false;
  *stretch = std::move(found_.front());
  found_.pop_front();
  return true;
}

void VideoMask::ReadPiece() {
  const uint64_t data = video_->NextData(position_);
  if (data != position_) {  // A hole of the file reads as zero bytes.
    KeepZeros(position_);
    found_.push_back({position_, {}, data - position_});
    position_ = zeros_from_ = data;
  }
  piece_begin_ = position_;
  piece_.resize(kPieceSize);
  piece_.resize(video_->Read(position_, piece_.data(), kPieceSize));
  if (piece_.size() <= H264::kStartCodeSize || (is_wanted_ && !is_wanted_())) return End();
  const auto length = static_cast<uint32_t>(piece_.size());
  for (uint32_t from = 0;;) {
    const uint32_t found = H264::FindStartCode(piece_.data(), length, from);
    if (found >= length) break;
    OnStartCode(piece_begin_ + found);
    from = found + H264::kStartCodeSize;
    position_ = piece_begin_ + from;
  }
  // A start code may begin in this piece and end in the next one.
  position_ = std::max(position_, piece_begin_ + length - H264::kStartCodeSize);
  zeros_from_ = ZerosBefore(position_);
}

void VideoMask::End() {
  constexpr std::array<uint8_t, H264::kStartCodeSize> kStartCode = {0, 0, 1};
  is_at_end_ = true;
  // One without a NAL header begins no unit, but a frame may be looked for there.
  if (piece_.size() == kStartCode.size() &&
      std::equal(kStartCode.begin(), kStartCode.end(), piece_.begin())) {
    return OnStartCode(piece_begin_);
  }
  KeepZeros(piece_begin_ + piece_.size());
}

// Where the zero bytes directly before `end` begin, which is in the piece or right before it.
uint64_t VideoMask::ZerosBefore(uint64_t end) const {
  uint64_t begin = end;
  while (begin > std::max(piece_begin_, zeros_from_) && piece_[begin - 1 - piece_begin_] == 0) {
    --begin;
  }
  return begin > piece_begin_ ? begin : std::min(begin, zeros_from_);
}

void VideoMask::KeepZeros(uint64_t end) {
  const uint64_t begin = ZerosBefore(end);
  if (begin < end) found_.push_back({begin, {}, end - begin});
}

void VideoMask::OnStartCode(uint64_t position) {
  KeepZeros(position);
  const uint64_t header = position + H264::kStartCodeSize;
  std::vector<uint8_t> unit = ReadUnit(header);
  zeros_from_ = header + std::min<uint64_t>(unit.size(), 1);
  if (!unit.empty()) MaskUnit(&unit);
  unit.insert(unit.begin(), {0, 0, 1});
  found_.push_back({position, std::move(unit), 0});
}

// The NAL unit from its header on, as much of it as matters.
std::vector<uint8_t> VideoMask::ReadUnit(uint64_t position) {
  std::vector<uint8_t> unit;
  for (const size_t size : {kHeadSize, kMaxHeadSize}) {
    unit.resize(size);
    unit.resize(video_->Read(position, unit.data(), size));
    const auto length = static_cast<uint32_t>(unit.size());
    const uint32_t next = H264::FindStartCode(unit.data(), length, 0);
    unit.resize(next);
    const bool is_read_whole =
        !unit.empty() && (IsParameterSet(H264::ParseNaluType(unit[0])) ||
                          H264::ParseNaluType(unit[0]) == H264::kNaluTypeSei);
    if (next < length || length < size || !is_read_whole) break;
  }
  return unit;
}

// Cuts the unit behind what stays.
void VideoMask::MaskUnit(std::vector<uint8_t>* unit) {
  const NalUnit whole = {unit->data(), static_cast<uint32_t>(unit->size())};
  const uint8_t type = whole.type();
  sets_.Add(whole);
  size_t kept = 1;
  if (IsParameterSet(type) && is_video_) {
    kept = std::min<size_t>(unit->size(), kMaxKeptSetBytes);
  } else if (H264::HasSliceHeader(type)) {
    const SliceHeader header = ReadSliceHeader(whole, sets_);
    kept += EscapedSize(unit->data() + 1, unit->size() - 1, header.rbsp_bytes);
  } else if (type == H264::kNaluTypeSei && is_video_) {
    std::vector<uint8_t> payload(unit->begin() + 1, unit->end());
    MaskSei(&payload);
    std::copy(payload.begin(), payload.end(), unit->begin() + 1);
    kept = unit->size();
  }
  unit->resize(kept);
}

}  // namespace kxrtc_host
