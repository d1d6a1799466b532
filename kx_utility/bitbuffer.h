// Reads and writes fixed-width fields and Exp-Golomb codes (ITU-T H.264, clause 9.1) bit by bit in
// bytes that the caller owns. The first bit is the most significant one of byte 0, and each field
// has its most significant bit first.
// Threads: an object belongs to one thread at a time; the free functions may be called on any.
// Errors: running out of bits is a false result without a log line; the position then stays.
#ifndef KX_UTILITY_BITBUFFER_H_
#define KX_UTILITY_BITBUFFER_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kx_utility {

// The low `bit_count` bits of `byte`. A count above 8 is logged and acts as 8.
[[nodiscard]] KX_EXPORT uint8_t LowestBits(uint8_t byte, uint32_t bit_count);

// The top `bit_count` bits of `byte`, shifted down. A count above 8 is logged and acts as 8.
[[nodiscard]] KX_EXPORT uint8_t HighestBits(uint8_t byte, uint32_t bit_count);

// The most significant byte of `value`.
[[nodiscard]] KX_EXPORT uint8_t HighestByte(uint64_t value);

// `target` with the `source_bit_count` bits that begin `target_bit_offset` bits below its top
// replaced by the top bits of `source`, whose bits below those must be zero: they are shifted and
// not masked. Arguments that do not fit into the byte are logged; the bits within it are still
// replaced. A count above 8 acts as 8.
[[nodiscard]] KX_EXPORT uint8_t WritePartialByte(uint8_t source, uint32_t source_bit_count,
                                                 uint8_t target, uint32_t target_bit_offset);

// The number of significant bits: 0 for 0, 64 with the top bit set.
[[nodiscard]] KX_EXPORT uint32_t CountBits(uint64_t value);

// Reads. Every operation that returns false, also because of a null pointer, leaves the position
// and the result unchanged.
class KX_EXPORT BitBuffer {
 public:
  // Starts at the first bit. `bytes` is borrowed and must outlive the object.
  BitBuffer(const uint8_t* bytes, uint32_t byte_count);

  [[nodiscard]] uint64_t RemainingBitCount() const {
    return static_cast<uint64_t>(byte_count_ - byte_offset_) * 8 - bit_offset_;
  }

  // The next `bit_count` bits, 0 to 32, as a number; the position stays.
  [[nodiscard]] bool PeekBits(uint32_t* val, uint32_t bit_count);

  // The same, and moves past them.
  [[nodiscard]] bool ReadBits(uint32_t* val, uint32_t bit_count);

  // Reads 8, 16 or 32 bits at any bit position.
  [[nodiscard]] bool ReadUInt8(uint8_t* val);
  // Intended: a value above 255 is read and logged as too big.
  [[nodiscard]] bool ReadUInt16(uint16_t* val);
  [[nodiscard]] bool ReadUInt32(uint32_t* val);

  // Skips bits, or whole bytes from any bit position.
  [[nodiscard]] bool ConsumeBits(uint32_t bit_count);
  [[nodiscard]] bool ConsumeBytes(uint32_t byte_count);

  // ue(v): codes of up to 31 leading zeros, so 0 to 2^32 - 2.
  [[nodiscard]] bool ReadExponentialGolomb(uint32_t* val);
  // se(v): -(2^31 - 1) to 2^31 - 1.
  [[nodiscard]] bool ReadSignedExponentialGolomb(int32_t* val);

  // Moves to bit `bit_offset`, 0 to 7, of byte `byte_offset`; the very end is allowed.
  [[nodiscard]] bool Seek(uint32_t byte_offset, uint32_t bit_offset);

  // Stores the position. A null pointer is the caller's fault: it is logged and left out.
  void GetCurrentOffset(uint32_t* out_byte_offset, uint32_t* out_bit_offset);

 protected:
  // Moves forward; the caller has checked that so many bits remain.
  void Advance(uint32_t bit_count) {
    const uint64_t bits = static_cast<uint64_t>(bit_offset_) + bit_count;
    byte_offset_ += static_cast<uint32_t>(bits / 8);
    bit_offset_ = static_cast<uint32_t>(bits % 8);
  }

  const uint8_t* const bytes_;
  const uint32_t byte_count_;
  uint32_t byte_offset_ = 0;
  uint32_t bit_offset_ = 0;  // Bits of the current byte before the position, 0 to 7.

 private:
  // The next bits left-aligned: at least 57 of them, or all that remain, followed by zeros.
  uint64_t Window() const {
    if (byte_count_ - byte_offset_ < 8) return WindowAtTheEnd();
    const uint8_t* next = bytes_ + byte_offset_;
    // Not a loop: compilers make one instruction of this.
    const uint64_t window = uint64_t{next[0]} << 56 | uint64_t{next[1]} << 48 |
                            uint64_t{next[2]} << 40 | uint64_t{next[3]} << 32 |
                            uint64_t{next[4]} << 24 | uint64_t{next[5]} << 16 |
                            uint64_t{next[6]} << 8 | next[7];
    return window << bit_offset_;
  }
  uint64_t WindowAtTheEnd() const;

  // Any code, slowly.
  bool ReadLongExponentialGolomb(uint32_t* val);
};

inline bool BitBuffer::PeekBits(uint32_t* val, uint32_t bit_count) {
  if (val == nullptr || bit_count > 32 || bit_count > RemainingBitCount()) return false;
  *val = bit_count == 0 ? 0 : static_cast<uint32_t>(Window() >> (64 - bit_count));
  return true;
}

inline bool BitBuffer::ReadBits(uint32_t* val, uint32_t bit_count) {
  if (!PeekBits(val, bit_count)) return false;
  Advance(bit_count);
  return true;
}

inline bool BitBuffer::ConsumeBits(uint32_t bit_count) {
  if (bit_count > RemainingBitCount()) return false;
  Advance(bit_count);
  return true;
}

inline bool BitBuffer::ReadExponentialGolomb(uint32_t* val) {
  if (val == nullptr) return false;
  // The code fits in one window unless it is very long, or the data ends.
  const uint64_t window = Window();
  if (window != 0) {
    const uint32_t length = 2 * static_cast<uint32_t>(__builtin_clzll(window)) + 1;
    if (length <= 57 && length <= RemainingBitCount()) {
      *val = static_cast<uint32_t>((window >> (64 - length)) - 1);
      Advance(length);
      return true;
    }
  }
  return ReadLongExponentialGolomb(val);
}

// Writes. Other bits keep their values. Every operation that returns false writes nothing and
// leaves the position.
class KX_EXPORT BitBufferWriter : public BitBuffer {
 public:
  // Starts at the first bit. `bytes` is borrowed and must outlive the object.
  BitBufferWriter(uint8_t* bytes, uint32_t byte_count);

  // The low `bit_count` bits of `val`, 0 to 64 of them.
  [[nodiscard]] bool WriteBits(uint64_t val, uint32_t bit_count);
  [[nodiscard]] bool WriteUInt8(uint8_t val);
  [[nodiscard]] bool WriteUInt16(uint16_t val);
  [[nodiscard]] bool WriteUInt32(uint32_t val);

  // ue(v). Refuses 2^32 - 1, whose code has 65 bits.
  [[nodiscard]] bool WriteExponentialGolomb(uint32_t val);
  // se(v). Refuses the most negative number.
  [[nodiscard]] bool WriteSignedExponentialGolomb(int32_t val);

 private:
  uint8_t* const writable_bytes_;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_BITBUFFER_H_
