#include "kx_utility/byte_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "kx_utility/failure_log.h"

namespace kx_utility {
namespace {

constexpr uint32_t kDefaultCapacity = 4096;
constexpr uint32_t kLastVarintShift = 63;

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

uint8_t Reverse(uint8_t value) { return value; }
uint16_t Reverse(uint16_t value) { return __builtin_bswap16(value); }
uint32_t Reverse(uint32_t value) { return __builtin_bswap32(value); }
uint64_t Reverse(uint64_t value) { return __builtin_bswap64(value); }

// Between the machine's order and `order`, both ways.
template <typename T>
T Convert(T value, ByteBuffer::ByteOrder order) {
  return kLittleEndian && order == ByteBuffer::ORDER_NETWORK ? Reverse(value) : value;
}

}  // namespace

ByteBufferWriter::ByteBufferWriter() : ByteBufferWriter(ByteBuffer::ORDER_NETWORK) {}

ByteBufferWriter::ByteBufferWriter(ByteBuffer::ByteOrder order)
    : ByteBufferWriter(nullptr, kDefaultCapacity, order) {}

ByteBufferWriter::ByteBufferWriter(const char* bytes, uint32_t length)
    : ByteBufferWriter(bytes, length, ByteBuffer::ORDER_NETWORK) {}

ByteBufferWriter::ByteBufferWriter(const char* bytes, uint32_t length, ByteBuffer::ByteOrder order)
    : byte_order_(order) {
  Construct(bytes, length);
}

void ByteBufferWriter::Construct(const char* bytes, uint32_t length) {
  std::unique_ptr<char[]> fresh(new char[length]);
  if (bytes != nullptr) std::memcpy(fresh.get(), bytes, length);
  bytes_ = std::move(fresh);
  capacity_ = length;
  length_ = bytes != nullptr ? length : 0;
}

template <typename T>
void ByteBufferWriter::WriteInteger(T value) {
  const T ordered = Convert(value, byte_order_);
  char* destination = ReserveWriteBuffer(sizeof(T));
  if (destination != nullptr) std::memcpy(destination, &ordered, sizeof(T));
}

void ByteBufferWriter::WriteUInt8(uint8_t value) { WriteInteger(value); }
void ByteBufferWriter::WriteUInt16(uint16_t value) { WriteInteger(value); }
void ByteBufferWriter::WriteUInt32(uint32_t value) { WriteInteger(value); }
void ByteBufferWriter::WriteUInt64(uint64_t value) { WriteInteger(value); }

void ByteBufferWriter::WriteUInt24(uint32_t value) {
  char bytes[3] = {static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                   static_cast<char>(value)};
  if (byte_order_ == ByteBuffer::ORDER_HOST) std::swap(bytes[0], bytes[2]);
  WriteBytes(bytes, sizeof(bytes));
}

void ByteBufferWriter::WriteUVarint(uint64_t value) {
  char bytes[10];
  uint32_t count = 0;
  for (; value >= 0x80; value >>= 7) bytes[count++] = static_cast<char>((value & 0x7F) | 0x80);
  bytes[count++] = static_cast<char>(value);
  WriteBytes(bytes, count);
}

void ByteBufferWriter::WriteBytes(const char* bytes, uint32_t length) {
  if (bytes == nullptr || length == 0) return;
  char* destination = ReserveWriteBuffer(length);
  if (destination != nullptr) std::memcpy(destination, bytes, length);
}

void ByteBufferWriter::WriteString(const std::string& text) {
  if (text.size() > std::numeric_limits<uint32_t>::max()) {
    (void)Failed("data is too big");  // Nothing is written.
    return;
  }
  WriteBytes(text.data(), static_cast<uint32_t>(text.size()));
}

char* ByteBufferWriter::ReserveWriteBuffer(uint32_t length) {
  if (length > std::numeric_limits<uint32_t>::max() - length_) {
    (void)Failed("data is too big");  // Nothing is written.
    return nullptr;
  }
  const uint32_t needed = length_ + length;
  if (needed > capacity_) Grow(needed, length_);
  char* reserved = bytes_.get() + length_;
  length_ = needed;
  return reserved;
}

void ByteBufferWriter::Resize(uint32_t size) {
  const uint32_t kept = std::min(length_, size);
  if (size > capacity_) Grow(size, kept);
  length_ = kept;
}

void ByteBufferWriter::Clear() {
  std::memset(bytes_.get(), 0, capacity_);
  length_ = 0;
}

void ByteBufferWriter::Grow(uint32_t needed, uint32_t kept) {
  // Intended: the product wraps at 32 bits; what is needed then decides alone.
  const uint32_t new_capacity = std::max(capacity_ * 3 / 2, needed);
  std::unique_ptr<char[]> grown(new char[new_capacity]);
  std::memcpy(grown.get(), bytes_.get(), kept);
  bytes_ = std::move(grown);
  capacity_ = new_capacity;
}

ByteBufferReader::ByteBufferReader(const char* bytes, uint32_t length)
    : ByteBufferReader(bytes, length, ByteBuffer::ORDER_NETWORK) {}

ByteBufferReader::ByteBufferReader(const char* bytes, uint32_t length, ByteBuffer::ByteOrder order)
    : byte_order_(order) {
  Construct(bytes, length);
}

ByteBufferReader::ByteBufferReader(const char* text)
    : ByteBufferReader(text, text == nullptr
                                 ? 0
                                 : static_cast<uint32_t>(std::min<size_t>(
                                       std::strlen(text), std::numeric_limits<uint32_t>::max()))) {}

ByteBufferReader::ByteBufferReader(const ByteBufferWriter& writer)
    : ByteBufferReader(writer.data(), writer.length(), writer.byte_order()) {}

void ByteBufferReader::Construct(const char* bytes, uint32_t length) {
  bytes_ = bytes;
  size_ = bytes == nullptr ? 0 : length;
  start_ = 0;
}

template <typename T>
bool ByteBufferReader::ReadInteger(T* value) {
  if (value == nullptr || remaining() < sizeof(T)) return false;
  T ordered;
  std::memcpy(&ordered, data(), sizeof(T));  // Without the call that a variable length takes.
  start_ += static_cast<uint32_t>(sizeof(T));
  *value = Convert(ordered, byte_order_);
  return true;
}

bool ByteBufferReader::ReadUInt8(uint8_t* value) { return ReadInteger(value); }
bool ByteBufferReader::ReadUInt16(uint16_t* value) { return ReadInteger(value); }
bool ByteBufferReader::ReadUInt32(uint32_t* value) { return ReadInteger(value); }
bool ByteBufferReader::ReadUInt64(uint64_t* value) { return ReadInteger(value); }

bool ByteBufferReader::ReadUInt24(uint32_t* value) {
  if (value == nullptr) return false;
  uint8_t bytes[3];
  if (!ReadBytes(reinterpret_cast<char*>(bytes), sizeof(bytes))) return false;
  if (byte_order_ == ByteBuffer::ORDER_HOST) std::swap(bytes[0], bytes[2]);
  *value = uint32_t{bytes[0]} << 16 | uint32_t{bytes[1]} << 8 | bytes[2];
  return true;
}

bool ByteBufferReader::ReadUVarint(uint64_t* value) {
  if (value == nullptr) return false;
  uint64_t result = 0;
  for (uint32_t shift = 0; shift <= kLastVarintShift; shift += 7) {
    uint8_t byte = 0;
    if (!ReadUInt8(&byte)) return false;
    result |= uint64_t{byte & 0x7Fu} << shift;
    if (byte < 0x80) {
      *value = result;
      return true;
    }
  }
  return false;
}

bool ByteBufferReader::ReadBytes(char* destination, uint32_t length) {
  if (length > remaining()) return false;
  if (length != 0) std::memcpy(destination, data(), length);
  start_ += length;
  return true;
}

bool ByteBufferReader::ReadString(std::string* destination, uint32_t length) {
  if (destination == nullptr || length > remaining()) return false;
  if (length != 0) destination->append(data(), length);
  start_ += length;
  return true;
}

bool ByteBufferReader::Consume(uint32_t length) {
  if (length > remaining()) return false;
  start_ += length;
  return true;
}

}  // namespace kx_utility
