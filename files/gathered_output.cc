#include "files/gathered_output.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace kxrtc_host {
namespace {

// Below the limit of the system for one call.
constexpr size_t kMaxPieces = 512;

}  // namespace

bool GatheredOutput::Arena::Contains(const uint8_t* data) const {
  const std::less<> is_before;  // Defined for any two pointers.
  return !is_before(data, bytes.data()) && is_before(data, bytes.data() + used);
}

GatheredOutput::GatheredOutput(OutputFile* file) : file_(file) {
  copies_.bytes.resize(kBlockBytes);
  pieces_.reserve(kMaxPieces);
  call_.reserve(kMaxPieces);
}

bool GatheredOutput::IsInRoom(const uint8_t* data) const {
  return arenas_[0].Contains(data) || arenas_[1].Contains(data);
}

uint8_t* GatheredOutput::Room(uint32_t size) {
  Arena* arena = &arenas_[current_];
  if (!arena->HasRoomFor(size)) {
    current_ = 1 - current_;
    arena = &arenas_[current_];
    // Its bytes are written or gathered by now.
    const bool is_gathered = std::any_of(pieces_.begin(), pieces_.end(), [&](const iovec& piece) {
      return arena->Contains(static_cast<const uint8_t*>(piece.iov_base));
    });
    if (is_gathered) (void)Flush();
    arena->used = 0;
    if (!arena->HasRoomFor(size)) {
      arena->bytes.clear();
      arena->bytes.resize(std::max<size_t>(size, kArenaBytes));
    }
  }
  uint8_t* const room = arena->bytes.data() + arena->used;
  arena->used += size;
  return room;
}

bool GatheredOutput::Write(uint64_t position, const uint8_t* data, uint64_t size) {
  if (failed_) return false;
  if (position != begin_ + gathered_ && !Flush()) return false;
  if (gathered_ == 0) begin_ = position;
  if (IsInRoom(data)) return Gather(data, size);
  if (!copies_.HasRoomFor(size)) {
    if (!Flush()) return false;
    if (size > kBlockBytes) {
      begin_ = position + size;
      failed_ = !file_->WriteAt(position, data, size);
      return !failed_;
    }
  }
  uint8_t* const copy = copies_.bytes.data() + copies_.used;
  std::memcpy(copy, data, size);
  copies_.used += size;
  return Gather(copy, size);
}

bool GatheredOutput::Gather(const uint8_t* data, uint64_t size) {
  if (size == 0) return true;
  const bool goes_on =
      !pieces_.empty() &&
      static_cast<const uint8_t*>(pieces_.back().iov_base) + pieces_.back().iov_len == data;
  if (goes_on) {
    pieces_.back().iov_len += size;
  } else {
    pieces_.push_back({const_cast<uint8_t*>(data), size});
  }
  gathered_ += size;
  if (pieces_.size() >= kMaxPieces) return Flush();
  const uint64_t block_end = (begin_ + gathered_) / kBlockBytes * kBlockBytes;
  return block_end <= begin_ || FlushUpTo(block_end - begin_);
}

// Writes the first `bytes` that are gathered.
bool GatheredOutput::FlushUpTo(uint64_t bytes) {
  call_.clear();
  uint64_t left = bytes;
  auto piece = pieces_.begin();
  for (; left > 0; ++piece) {
    call_.push_back({piece->iov_base, std::min<uint64_t>(piece->iov_len, left)});
    left -= call_.back().iov_len;
    if (call_.back().iov_len == piece->iov_len) continue;
    piece->iov_base = static_cast<uint8_t*>(piece->iov_base) + call_.back().iov_len;
    piece->iov_len -= call_.back().iov_len;
    break;
  }
  pieces_.erase(pieces_.begin(), piece);
  failed_ = failed_ || !file_->WriteGathered(begin_, call_.data(), call_.size());
  begin_ += bytes;
  gathered_ -= bytes;
  return !failed_;
}

bool GatheredOutput::Flush() {
  if (gathered_ > 0) (void)FlushUpTo(gathered_);
  copies_.used = 0;
  return !failed_;
}

}  // namespace kxrtc_host
