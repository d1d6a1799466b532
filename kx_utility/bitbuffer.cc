#include "kx_utility/bitbuffer.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "kx_utility/failure_log.h"

namespace kx_utility {
namespace {

constexpr uint32_t kMaxGolombSuffix = 32;  // The 1 of a code and the bits after it.

}  // namespace

uint8_t LowestBits(uint8_t byte, uint32_t bit_count) {
  if (bit_count > 8) {
    LogFormatted(LS_ERROR, Here(), "bit_count = %d is not valid", static_cast<int>(bit_count));
  }
  return static_cast<uint8_t>(byte & ((1u << std::min(bit_count, 8u)) - 1));
}

uint8_t HighestBits(uint8_t byte, uint32_t bit_count) {
  if (bit_count > 8) {
    LogFormatted(LS_ERROR, Here(), "bit_count = %d is not valid", static_cast<int>(bit_count));
  }
  return static_cast<uint8_t>(byte >> (8 - std::min(bit_count, 8u)));
}

uint8_t HighestByte(uint64_t value) { return static_cast<uint8_t>(value >> 56); }

uint8_t WritePartialByte(uint8_t source, uint32_t source_bit_count, uint8_t target,
                         uint32_t target_bit_offset) {
  const int offset = static_cast<int>(target_bit_offset);
  const int count = static_cast<int>(source_bit_count);
  if (target_bit_offset >= 8) {
    LogFormatted(LS_ERROR, Here(), "target_bit_offset = %d is not valid", offset);
  }
  if (source_bit_count >= 9) {
    LogFormatted(LS_ERROR, Here(), "source_bit_count = %d is not valid", count);
  }
  if (8 - static_cast<int64_t>(target_bit_offset) < static_cast<int64_t>(source_bit_count)) {
    LogFormatted(LS_ERROR, Here(), "target_bit_offset = %d & source_bit_count = %d are not valid",
                 offset, count);
  }
  const uint32_t down = std::min(target_bit_offset, 8u);
  const uint32_t mask = ((0xFFu << (8 - std::min(source_bit_count, 8u))) & 0xFF) >> down;
  // Intended: the source is shifted and not masked.
  return static_cast<uint8_t>((target & ~mask) | (source >> down));
}

uint32_t CountBits(uint64_t value) {
  return value == 0 ? 0 : 64 - static_cast<uint32_t>(__builtin_clzll(value));
}

BitBuffer::BitBuffer(const uint8_t* bytes, uint32_t byte_count)
    : bytes_(bytes), byte_count_(byte_count) {}

uint64_t BitBuffer::WindowAtTheEnd() const {
  uint64_t window = 0;
  for (uint32_t i = byte_offset_, shift = 64; i < byte_count_; ++i) {
    shift -= 8;
    window |= static_cast<uint64_t>(bytes_[i]) << shift;
  }
  return window << bit_offset_;
}

bool BitBuffer::ReadUInt8(uint8_t* val) {
  uint32_t bit_val = 0;
  if (val == nullptr || !ReadBits(&bit_val, 8)) return false;
  if (bit_val > std::numeric_limits<uint8_t>::max()) {
    LogFormatted(LS_ERROR, Here(), "bit_val = %d is too big", static_cast<int>(bit_val));
  }
  *val = static_cast<uint8_t>(bit_val);
  return true;
}

bool BitBuffer::ReadUInt16(uint16_t* val) {
  uint32_t bit_val = 0;
  if (val == nullptr || !ReadBits(&bit_val, 16)) return false;
  // Intended: the limit is the one of ReadUInt8().
  if (bit_val > std::numeric_limits<uint8_t>::max()) {
    LogFormatted(LS_ERROR, Here(), "bit_val = %d is too big", static_cast<int>(bit_val));
  }
  *val = static_cast<uint16_t>(bit_val);
  return true;
}

bool BitBuffer::ReadUInt32(uint32_t* val) { return ReadBits(val, 32); }

bool BitBuffer::ConsumeBytes(uint32_t byte_count) {
  if (static_cast<uint64_t>(byte_count) * 8 > RemainingBitCount()) return false;
  byte_offset_ += byte_count;
  return true;
}

bool BitBuffer::ReadLongExponentialGolomb(uint32_t* val) {
  const CallSite site = Here(__builtin_FILE(), "ReadExponentialGolomb");
  const uint32_t start_byte = byte_offset_;
  const uint32_t start_bit = bit_offset_;
  uint32_t bit_count = 1;  // The leading zeros and one more.
  uint32_t bit = 0;
  // One zero too many decides, so the time does not depend on the length of the data.
  while (bit_count <= kMaxGolombSuffix && PeekBits(&bit, 1) && bit == 0) {
    Advance(1);
    ++bit_count;
  }
  if (bit_count <= kMaxGolombSuffix) {
    if (PeekBits(&bit, 1) && bit != 1) {
      (void)Failed("should either be at the end of the stream, or the next bit should be 1.", site);
    }
    if (ReadBits(&bit, bit_count)) {
      *val = bit - 1;
      return true;
    }
  }
  if (!Seek(start_byte, start_bit)) return Failed("seek failed", site);
  return false;
}

bool BitBuffer::ReadSignedExponentialGolomb(int32_t* val) {
  uint32_t code = 0;
  if (val == nullptr || !ReadExponentialGolomb(&code)) return false;
  const int64_t magnitude = (static_cast<int64_t>(code) + 1) / 2;
  *val = static_cast<int32_t>(code % 2 != 0 ? magnitude : -magnitude);
  return true;
}

bool BitBuffer::Seek(uint32_t byte_offset, uint32_t bit_offset) {
  if (bit_offset > 7 || byte_offset > byte_count_ ||
      (byte_offset == byte_count_ && bit_offset != 0)) {
    return false;
  }
  byte_offset_ = byte_offset;
  bit_offset_ = bit_offset;
  return true;
}

void BitBuffer::GetCurrentOffset(uint32_t* out_byte_offset, uint32_t* out_bit_offset) {
  if (out_byte_offset == nullptr || out_bit_offset == nullptr) (void)Failed("invalid input");
  if (out_byte_offset != nullptr) *out_byte_offset = byte_offset_;
  if (out_bit_offset != nullptr) *out_bit_offset = bit_offset_;
}

BitBufferWriter::BitBufferWriter(uint8_t* bytes, uint32_t byte_count)
    : BitBuffer(bytes, byte_count), writable_bytes_(bytes) {}

bool BitBufferWriter::WriteBits(uint64_t val, uint32_t bit_count) {
  if (bit_count > 64 || bit_count > RemainingBitCount()) return false;
  if (bit_count == 0) return true;
  uint64_t left = val << (64 - bit_count);
  uint8_t* byte = writable_bytes_ + byte_offset_;
  const uint32_t first = std::min(8 - bit_offset_, bit_count);
  // The top bits of `left` beyond the first ones belong to later bytes.
  const auto top = static_cast<uint8_t>(HighestByte(left) & (0xFFu << (8 - first)));
  *byte = WritePartialByte(top, first, *byte, bit_offset_);
  left <<= first;
  uint32_t rest = bit_count - first;
  for (; rest >= 32; rest -= 32, left <<= 32) {
    for (uint32_t shift = 56; shift >= 32; shift -= 8)
      *++byte = static_cast<uint8_t>(left >> shift);
  }
  for (; rest >= 8; rest -= 8, left <<= 8) *++byte = HighestByte(left);
  if (rest > 0) {
    ++byte;
    *byte = WritePartialByte(HighestByte(left), rest, *byte, 0);
  }
  Advance(bit_count);
  return true;
}

bool BitBufferWriter::WriteUInt8(uint8_t val) { return WriteBits(val, 8); }
bool BitBufferWriter::WriteUInt16(uint16_t val) { return WriteBits(val, 16); }
bool BitBufferWriter::WriteUInt32(uint32_t val) { return WriteBits(val, 32); }

bool BitBufferWriter::WriteExponentialGolomb(uint32_t val) {
  if (val == std::numeric_limits<uint32_t>::max()) return false;
  const uint64_t code = static_cast<uint64_t>(val) + 1;
  return WriteBits(code, 2 * CountBits(code) - 1);
}

bool BitBufferWriter::WriteSignedExponentialGolomb(int32_t val) {
  if (val == std::numeric_limits<int32_t>::min()) return false;
  const int64_t doubled = 2 * static_cast<int64_t>(val);
  return WriteExponentialGolomb(static_cast<uint32_t>(val > 0 ? doubled - 1 : -doubled));
}

}  // namespace kx_utility
