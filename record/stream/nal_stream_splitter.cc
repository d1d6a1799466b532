#include "record/stream/nal_stream_splitter.h"

#include <algorithm>

namespace kxrtc_host {
namespace {

using kxrtc::H264::kStartCodeSize;

// A start code at the end of the window is found only together with the byte after it; its leading
// zero is one byte more.
constexpr size_t kCarried = kStartCodeSize + 1;

}  // namespace

void NalStreamSplitter::ExtendHead(uint64_t end) {
  const uint64_t have = unit_.header_offset + unit_.head.size();
  if (end <= have) return;
  const size_t room = StreamNalUnit::kMaxHead - unit_.head.size();
  const auto count = static_cast<size_t>(std::min<uint64_t>(end - have, room));
  const auto first = window_.begin() + static_cast<std::ptrdiff_t>(have - window_start_);
  if (count > 0) {
    unit_.head.insert(unit_.head.end(), first, first + static_cast<std::ptrdiff_t>(count));
  }
}

bool NalStreamSplitter::CloseAt(uint64_t end) {
  if (!is_open_) return true;
  is_open_ = false;
  ExtendHead(end);
  unit_.size = end - unit_.header_offset;
  // An earlier window may have added the first zero of the start code that ends the unit.
  if (unit_.head.size() > unit_.size) unit_.head.resize(static_cast<size_t>(unit_.size));
  return unit_.head.empty() || handler_(unit_);
}

bool NalStreamSplitter::Push(const uint8_t* data, size_t size) {
  const size_t kept = std::min(window_.size(), kCarried);
  window_start_ += window_.size() - kept;
  window_.erase(window_.begin(), window_.end() - static_cast<std::ptrdiff_t>(kept));
  window_.insert(window_.end(), data, data + size);
  for (const kxrtc::H264::NaluIndex& index :
       kxrtc::H264::FindNaluIndices(window_.data(), static_cast<uint32_t>(window_.size()))) {
    const uint64_t header_offset = window_start_ + index.payload_start_offset;
    if (header_offset - kStartCodeSize < searched_) continue;
    const uint64_t start_offset = window_start_ + index.start_offset;
    if (!CloseAt(start_offset)) return false;
    unit_.start_offset = start_offset;
    unit_.header_offset = header_offset;
    unit_.size = 0;
    unit_.head.clear();
    is_open_ = true;
  }
  if (window_.size() > kStartCodeSize) searched_ = end() - kStartCodeSize;
  if (is_open_) ExtendHead(end());
  return true;
}

bool NalStreamSplitter::Finish() { return CloseAt(end()); }

}  // namespace kxrtc_host
