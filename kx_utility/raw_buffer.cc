#include "kx_utility/raw_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "kx_utility/failure_log.h"

namespace kx_utility {

RawBuffer::RawBuffer(RawBuffer&& other) noexcept { *this = std::move(other); }

RawBuffer& RawBuffer::operator=(RawBuffer&& other) noexcept {
  if (this == &other) return *this;
  if (!IsConsistent()) (void)Failed("it is not IsConsistent");  // The storage is replaced anyway.
  if (!other.IsConsistent()) (void)Failed("buf is not IsConsistent");
  size_ = std::exchange(other.size_, 0);
  capacity_ = std::exchange(other.capacity_, 0);
  data_ = std::move(other.data_);
  return *this;
}

void RawBuffer::EnsureCapacityWithHeadroom(uint32_t capacity, bool extra_headroom) {
  if (!IsConsistent()) (void)Failed("it is not IsConsistent");  // Growing may repair it.
  if (capacity_ >= capacity) return;
  Grow(capacity, extra_headroom, std::min(size_, capacity_));
  if (!IsConsistent()) (void)Failed("it is not IsConsistent");
}

bool RawBuffer::AppendData(const uint8_t* data, uint32_t length) {
  if (!IsConsistent()) return Failed("!IsConsistent");
  if (length == 0) return true;
  if (data == nullptr) return Failed("data is null");
  if (length > std::numeric_limits<uint32_t>::max() - size_) return Failed("data is too big");
  const uint32_t new_size = size_ + length;
  const std::unique_ptr<uint8_t[]> former = Grow(new_size, true, new_size);
  std::memmove(data_.get() + size_, data, length);
  size_ = new_size;
  if (!IsConsistent()) return Failed("!IsConsistent");
  return true;
}

bool RawBuffer::SetData(const uint8_t* data, uint32_t length) {
  if (!IsConsistent()) return Failed("!IsConsistent");
  size_ = 0;
  return AppendData(data, length);
}

std::unique_ptr<uint8_t[]> RawBuffer::Grow(uint32_t capacity, bool extra_headroom,
                                           uint32_t untouched) {
  if (capacity_ >= capacity) return nullptr;
  uint32_t new_capacity = capacity;
  if (extra_headroom) {
    const uint64_t with_headroom = uint64_t{capacity_} + capacity_ / 2;
    new_capacity = static_cast<uint32_t>(std::min<uint64_t>(
        std::max<uint64_t>(capacity, with_headroom), std::numeric_limits<uint32_t>::max()));
  }
  std::unique_ptr<uint8_t[]> grown(new uint8_t[new_capacity]);
  // An inconsistent buffer may claim more bytes than it has.
  const uint32_t kept = std::min(size_, capacity_);
  if (kept != 0) std::memcpy(grown.get(), data_.get(), kept);
  std::memset(grown.get() + untouched, 0, new_capacity - untouched);
  data_.swap(grown);
  capacity_ = new_capacity;
  return grown;
}

}  // namespace kx_utility
