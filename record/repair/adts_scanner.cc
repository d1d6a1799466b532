#include "record/repair/adts_scanner.h"

#include <algorithm>
#include <cstring>

namespace kxrtc_host {
namespace {

constexpr uint8_t kSyncByte = 0xFF;
constexpr int kFramesOfFormat = 3;  // So many in a row are no chance.

bool IsSameFormat(const AdtsHeader& a, const AdtsHeader& b) {
  return a.header_size == b.header_size && a.object_type == b.object_type &&
         a.sample_rate == b.sample_rate && a.channel_configuration == b.channel_configuration;
}

}  // namespace

std::optional<AdtsHeader> AdtsScanner::HeaderAt(uint64_t position) {
  AdtsHeader header;
  const uint8_t* bytes = file_->View(position, kAdtsHeaderSize);
  if (bytes == nullptr || !ReadAdtsHeader(bytes, &header)) return std::nullopt;
  if (format_ && !IsSameFormat(header, *format_)) return std::nullopt;
  return header;
}

bool AdtsScanner::IsFollowed(uint64_t end) { return end == file_->size() || HeaderAt(end); }

bool AdtsScanner::Fits(const StreamFrame& frame) {
  if (!format_ || frame.size < kAdtsHeaderSize || frame.position > file_->size() ||
      frame.size > file_->size() - frame.position) {
    return false;
  }
  const auto header = HeaderAt(frame.position);
  return header && header->frame_size == frame.size && IsFollowed(frame.position + frame.size);
}

bool AdtsScanner::IsStopped() {
  constexpr uint32_t kStepsPerQuestion = 4096;
  return is_wanted_ && ++steps_ % kStepsPerQuestion == 0 && !is_wanted_();
}

// The next byte that may begin a header; holes of the file are passed over.
std::optional<uint64_t> AdtsScanner::FindSync(uint64_t position, uint64_t end) {
  constexpr uint64_t kPiece = ReadOnlyFile::kWindowSize / 4;
  end = std::min(end, file_->size());
  while (position < end) {
    if (IsStopped()) return std::nullopt;
    const auto piece = static_cast<size_t>(std::min(kPiece, end - position));
    const uint8_t* bytes = file_->View(position, piece);
    if (bytes == nullptr) return std::nullopt;
    const auto* sync = static_cast<const uint8_t*>(std::memchr(bytes, kSyncByte, piece));
    if (sync != nullptr) return position + static_cast<uint64_t>(sync - bytes);
    position = file_->NextData(position + piece);
  }
  return std::nullopt;
}

bool AdtsScanner::FindFormat() {
  for (auto start = FindSync(0, file_->size()); start;
       start = FindSync(*start + 1, file_->size())) {
    const auto first = HeaderAt(*start);
    uint64_t next = *start;
    int frames = 0;
    for (auto header = first; header && frames < kFramesOfFormat; header = HeaderAt(next)) {
      if (!IsSameFormat(*header, *first)) break;
      next += header->frame_size;
      ++frames;
    }
    if (frames == kFramesOfFormat || (frames > 0 && next == file_->size())) {
      format_ = first;
      return true;
    }
  }
  return false;
}

std::optional<StreamFrame> AdtsScanner::Find(uint64_t position, uint64_t end) {
  if (!format_) return std::nullopt;
  end = std::min(end, file_->size());
  for (auto start = FindSync(position, end); start; start = FindSync(*start + 1, end)) {
    const auto header = HeaderAt(*start);
    if (!header || header->frame_size > end - *start) continue;
    const uint64_t behind = *start + header->frame_size;
    if (behind == end || IsFollowed(behind)) return StreamFrame{*start, header->frame_size};
  }
  return std::nullopt;
}

std::optional<StreamFrame> AdtsScanner::FindHeader(uint64_t position) {
  if (!format_) return std::nullopt;
  const uint64_t end = file_->size();
  for (auto start = FindSync(position, end); start; start = FindSync(*start + 1, end)) {
    if (const auto header = HeaderAt(*start)) return StreamFrame{*start, header->frame_size};
  }
  return std::nullopt;
}

}  // namespace kxrtc_host
