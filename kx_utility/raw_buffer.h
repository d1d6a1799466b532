// The growable byte array that carries whole media frames and rewritten parameter sets.
// Threads: an object belongs to one thread at a time.
#ifndef KX_UTILITY_RAW_BUFFER_H_
#define KX_UTILITY_RAW_BUFFER_H_

#include <cstdint>
#include <memory>

#include "kx_utility/export.h"

namespace kx_utility {

// Owns its bytes; moves and is never copied. All sizes are in bytes. A breach of the invariant is
// logged where it is met and never leads outside the storage. Running out of memory throws
// std::bad_alloc and leaves the content as it was.
class KX_EXPORT RawBuffer {
 public:
  RawBuffer() = default;
  // Takes over the other buffer's storage as the move assignment does.
  RawBuffer(RawBuffer&& other) noexcept;
  RawBuffer(const RawBuffer&) = delete;
  RawBuffer& operator=(const RawBuffer&) = delete;
  ~RawBuffer() = default;

  // Takes over the other buffer's storage, frees the former one and leaves `other` empty. An
  // inconsistent side is logged at LS_ERROR and the move done all the same.
  RawBuffer& operator=(RawBuffer&& other) noexcept;

  // Makes room for at least `capacity` bytes and keeps the content; pointers into a buffer that
  // grows become invalid. With `extra_headroom` it grows to at least one and a half times the
  // present capacity, or to UINT32_MAX where that would not fit into 32 bits. Bytes of the new
  // storage behind the content are zero. A capacity that suffices changes nothing.
  void EnsureCapacityWithHeadroom(uint32_t capacity, bool extra_headroom);

  // Appends `length` bytes, growing with headroom; `data` may be in this buffer. False, and the
  // buffer unchanged, when it is inconsistent, when `data` is null with a length, or when the new
  // size does not fit into 32 bits.
  bool AppendData(const uint8_t* data, uint32_t length);

  // Replaces the content, growing with headroom; `data` may be in this buffer. False as above,
  // but the size is 0 when a consistent buffer refuses the data.
  bool SetData(const uint8_t* data, uint32_t length);

  // Null while nothing was allocated.
  uint8_t* data() { return data_.get(); }
  const uint8_t* data() const { return data_.get(); }
  uint32_t size() const { return size_; }
  uint32_t capacity() const { return capacity_; }

  // Declares the first `size` bytes used, after they were written into reserved capacity. The
  // caller keeps `size` at most capacity().
  void set_size(uint32_t size) { size_ = size; }

  // The invariant: without storage size and capacity are 0, else the size is at most the capacity.
  bool IsConsistent() const { return data_ ? size_ <= capacity_ : size_ == 0 && capacity_ == 0; }

 private:
  // Makes room for `capacity` bytes. Returns the former storage, null if it still serves, so that a
  // source of bytes inside it can be read. The caller fills the bytes from the size up to
  // `untouched`; those behind are zeroed here.
  std::unique_ptr<uint8_t[]> Grow(uint32_t capacity, bool extra_headroom, uint32_t untouched);

  uint32_t size_ = 0;
  uint32_t capacity_ = 0;
  std::unique_ptr<uint8_t[]> data_;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_RAW_BUFFER_H_
