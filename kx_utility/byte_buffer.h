// Serialises integers, variable-length integers and raw bytes. All lengths are in bytes.
// Threads: an object belongs to one thread at a time.
#ifndef KX_UTILITY_BYTE_BUFFER_H_
#define KX_UTILITY_BYTE_BUFFER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "kx_utility/export.h"

namespace kx_utility {

struct ByteBuffer {
  enum ByteOrder : uint32_t {
    ORDER_NETWORK = 0,  // The most significant byte first.
    ORDER_HOST = 1,     // As the integer is in memory.
  };
};

// Appends to its own storage, which grows by half or by what is needed. A write that would make
// the length exceed 32 bits logs LS_ERROR "data is too big" and writes nothing. Running out of
// memory throws std::bad_alloc.
class KX_EXPORT ByteBufferWriter {
 public:
  // Empty, with a capacity of 4096; network order unless given.
  ByteBufferWriter();
  explicit ByteBufferWriter(ByteBuffer::ByteOrder order);
  // Starts with a copy of `bytes`, or empty when `bytes` is null; the capacity is `length`.
  ByteBufferWriter(const char* bytes, uint32_t length);
  ByteBufferWriter(const char* bytes, uint32_t length, ByteBuffer::ByteOrder order);
  ByteBufferWriter(const ByteBufferWriter&) = delete;
  ByteBufferWriter& operator=(const ByteBufferWriter&) = delete;
  ~ByteBufferWriter() = default;

  // Drops the content and starts again like the constructors; the byte order stays.
  void Construct(const char* bytes, uint32_t length);

  void WriteUInt8(uint8_t value);
  void WriteUInt16(uint16_t value);
  void WriteUInt24(uint32_t value);  // The low 3 bytes.
  void WriteUInt32(uint32_t value);
  void WriteUInt64(uint64_t value);
  // 7 bits a byte, the least significant first, all bytes but the last with the top bit set.
  void WriteUVarint(uint64_t value);
  // `bytes` must not be inside this writer; null writes nothing.
  void WriteBytes(const char* bytes, uint32_t length);
  // Only the bytes: no length before and no terminator after them.
  void WriteString(const std::string& text);

  // Counts `length` more bytes as written and returns the first of them for the caller to fill;
  // valid until the next write. Null when the length would exceed 32 bits.
  char* ReserveWriteBuffer(uint32_t length);

  // Makes the capacity at least `size` and cuts the content to `size`; never lengthens the content.
  void Resize(uint32_t size);

  // Zero-fills the whole capacity; the length becomes 0.
  void Clear();

  const char* data() const { return bytes_.get(); }
  uint32_t length() const { return length_; }
  uint32_t capacity() const { return capacity_; }
  ByteBuffer::ByteOrder byte_order() const { return byte_order_; }

 private:
  // Makes room for `needed` bytes in all and carries the first `kept` over.
  void Grow(uint32_t needed, uint32_t kept);
  template <typename T>
  void WriteInteger(T value);

  ByteBuffer::ByteOrder byte_order_;
  std::unique_ptr<char[]> bytes_;
  uint32_t capacity_ = 0;
  uint32_t length_ = 0;
};

// Reads memory that the caller keeps alive. A read into a null destination (ReadBytes does not test
// its own) or of more than remains is false and changes nothing; the exception is ReadUVarint.
class KX_EXPORT ByteBufferReader {
 public:
  // Network order unless given. Null `bytes` are no bytes.
  ByteBufferReader(const char* bytes, uint32_t length);
  ByteBufferReader(const char* bytes, uint32_t length, ByteBuffer::ByteOrder order);
  explicit ByteBufferReader(const char* text);  // Up to the terminator.
  // Views what was written so far, in the writer's order, until the writer changes.
  explicit ByteBufferReader(const ByteBufferWriter& writer);

  // Reads other memory from its start; the order stays.
  void Construct(const char* bytes, uint32_t length);

  [[nodiscard]] bool ReadUInt8(uint8_t* value);
  [[nodiscard]] bool ReadUInt16(uint16_t* value);
  [[nodiscard]] bool ReadUInt24(uint32_t* value);  // The top byte becomes 0.
  [[nodiscard]] bool ReadUInt32(uint32_t* value);
  [[nodiscard]] bool ReadUInt64(uint64_t* value);

  // At most ten bytes; the tenth has its top bit clear and gives bit 63 from its lowest bit, the
  // rest of it is ignored. On false `*value` is untouched.
  // Intended: the bytes looked at are consumed even when the number is cut off or too long.
  [[nodiscard]] bool ReadUVarint(uint64_t* value);

  [[nodiscard]] bool ReadBytes(char* destination, uint32_t length);
  // Appends to the string.
  [[nodiscard]] bool ReadString(std::string* destination, uint32_t length);
  [[nodiscard]] bool Consume(uint32_t length);

  // The next byte to read, of remaining() ones.
  const char* data() const { return bytes_ + start_; }
  uint32_t remaining() const { return size_ - start_; }
  // The length given at construction.
  uint32_t size() const { return size_; }
  ByteBuffer::ByteOrder byte_order() const { return byte_order_; }

 private:
  template <typename T>
  bool ReadInteger(T* value);

  ByteBuffer::ByteOrder byte_order_;
  const char* bytes_ = nullptr;
  uint32_t size_ = 0;
  uint32_t start_ = 0;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_BYTE_BUFFER_H_
