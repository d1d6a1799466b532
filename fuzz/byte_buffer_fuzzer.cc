// Writer: what it holds is the concatenation of what was written, byte by byte by shifts.
// Reader: a failed read changes nothing, a successful one takes exactly its bytes, and what was
// written reads back.
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kx_utility/byte_buffer.h"

namespace {

using kx_fuzz::Check;
using kx_fuzz::FuzzInput;
using kx_utility::ByteBuffer;
using kx_utility::ByteBufferReader;
using kx_utility::ByteBufferWriter;

constexpr size_t kMaxReserved = 20000;

std::string Stored(uint64_t value, size_t width, ByteBuffer::ByteOrder order) {
  std::string bytes;
  for (size_t i = 0; i < width; ++i) {
    const size_t index = order == ByteBuffer::ORDER_NETWORK ? width - 1 - i : i;
    bytes += static_cast<char>(value >> (8 * index));
  }
  return bytes;
}

std::string Varint(uint64_t value) {
  std::string bytes;
  while (value >= 0x80) {
    bytes += static_cast<char>((value & 0x7F) | 0x80);
    value >>= 7;
  }
  return bytes + static_cast<char>(value);
}

void WriteNumber(ByteBufferWriter* writer, uint64_t value, size_t width) {
  if (width == 1) writer->WriteUInt8(static_cast<uint8_t>(value));
  if (width == 2) writer->WriteUInt16(static_cast<uint16_t>(value));
  if (width == 3) writer->WriteUInt24(static_cast<uint32_t>(value));
  if (width == 4) writer->WriteUInt32(static_cast<uint32_t>(value));
  if (width == 8) writer->WriteUInt64(value);
}

template <typename T>
bool ReadAs(ByteBufferReader* reader, bool (ByteBufferReader::*read)(T*), uint64_t* value) {
  T typed = static_cast<T>(*value);
  const bool result = (reader->*read)(&typed);
  *value = typed;
  return result;
}

bool ReadNumber(ByteBufferReader* reader, uint64_t* value, size_t width) {
  if (width == 1) return ReadAs(reader, &ByteBufferReader::ReadUInt8, value);
  if (width == 2) return ReadAs(reader, &ByteBufferReader::ReadUInt16, value);
  if (width == 3) return ReadAs(reader, &ByteBufferReader::ReadUInt24, value);
  if (width == 4) return ReadAs(reader, &ByteBufferReader::ReadUInt32, value);
  return ReadAs(reader, &ByteBufferReader::ReadUInt64, value);
}

constexpr size_t kWidths[] = {1, 2, 3, 4, 8};

// One write, mirrored in `*expected`.
void WriteOnce(FuzzInput* input, ByteBufferWriter* writer, std::string* expected) {
  const uint8_t choice = input->Byte() % 12;
  if (choice < 5) {
    const uint64_t value = input->Number(8);
    WriteNumber(writer, value, kWidths[choice]);
    *expected += Stored(value, kWidths[choice], writer->byte_order());
  } else if (choice == 5) {
    const uint64_t value = input->Number(input->Byte() % 9);
    writer->WriteUVarint(value);
    *expected += Varint(value);
  } else if (choice < 8) {
    const std::string bytes = input->Bytes(input->Byte());
    if (choice == 6) writer->WriteString(bytes);
    if (choice == 7) writer->WriteBytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
    *expected += bytes;
  } else if (choice == 8) {
    const size_t length = input->Number(2) % kMaxReserved;
    char* reserved = writer->ReserveWriteBuffer(static_cast<uint32_t>(length));
    std::fill_n(reserved, length, 'r');
    expected->append(length, 'r');
  } else if (choice == 9) {
    const size_t size = input->Number(2);
    writer->Resize(static_cast<uint32_t>(size));
    Check(writer->capacity() >= size, "Resize makes room");
    expected->resize(std::min(size, expected->size()));
  } else if (choice == 10) {
    writer->Clear();
    expected->clear();
  } else {
    Check(writer->length() == 0 || writer->ReserveWriteBuffer(UINT32_MAX) == nullptr,
          "a length beyond 32 bits is refused");
  }
}

void FuzzWriter(FuzzInput input, ByteBuffer::ByteOrder order) {
  const std::string start = input.Bytes(input.Byte());
  ByteBufferWriter writer(start.data(), static_cast<uint32_t>(start.size()), order);
  std::string expected = start;
  while (!input.empty()) {
    // An empty writer would grant a reservation of 4 GB.
    if (expected.size() > 1000000) break;
    WriteOnce(&input, &writer, &expected);
    Check(writer.length() <= writer.capacity(), "the length stays within the capacity");
    Check(expected == std::string(writer.data(), writer.length()), "the writer holds what it got");
  }
}

// The value of a varint at the front of `bytes`, with the bytes that it takes.
bool ParseVarint(const std::string& bytes, uint64_t* value, size_t* taken) {
  *value = 0;
  for (*taken = 0; *taken < bytes.size() && *taken < 10;) {
    const auto byte = static_cast<uint8_t>(bytes[*taken]);
    *value |= uint64_t{byte & 0x7Fu} << (7 * *taken);
    ++*taken;
    if ((byte & 0x80) == 0) return true;
  }
  return false;
}

void CheckVarint(ByteBufferReader* reader, const std::string& rest) {
  uint64_t expected = 0;
  uint64_t value = 0x55;
  size_t taken = 0;
  const bool valid = ParseVarint(rest, &expected, &taken);
  Check(reader->ReadUVarint(&value) == valid, "a varint reads when it is whole");
  Check(value == (valid ? expected : 0x55), "a varint has its value or leaves it");
  Check(reader->remaining() == rest.size() - taken, "the bytes of a varint are consumed");
}

void CheckNumber(ByteBufferReader* reader, const std::string& rest, size_t width) {
  uint64_t value = 0x55;
  const bool fits = rest.size() >= width;
  Check(ReadNumber(reader, &value, width) == fits, "a number reads when its bytes are there");
  Check(reader->remaining() == rest.size() - (fits ? width : 0),
        "a number takes its bytes or none");
  Check(fits ? Stored(value, width, reader->byte_order()) == rest.substr(0, width) : value == 0x55,
        "a number has its value or leaves it");
}

void CheckBytes(ByteBufferReader* reader, const std::string& rest, uint32_t length,
                uint8_t choice) {
  const bool fits = length <= rest.size();
  std::string text = "=";
  std::vector<char> bytes(fits ? length : 0);
  bool result = false;
  if (choice == 0) result = reader->Consume(length);
  if (choice == 1) result = reader->ReadString(&text, length);
  if (choice == 2) result = reader->ReadBytes(bytes.data(), length);
  Check(result == fits, "bytes are taken when they are there");
  Check(reader->remaining() == rest.size() - (fits ? length : 0), "all bytes are taken or none");
  if (choice == 1) Check(text == (fits ? "=" + rest.substr(0, length) : "="), "text is appended");
  if (choice == 2 && fits) {
    Check(std::string(bytes.data(), length) == rest.substr(0, length), "bytes are copied");
  }
}

// Half of the input chooses the reads, the other half is read.
void FuzzReader(FuzzInput input, ByteBuffer::ByteOrder order) {
  FuzzInput choices = input;
  const std::string skipped = input.Bytes(input.size() / 2);
  const std::string data = input.Bytes(input.size());
  const std::vector<char> exact(data.begin(), data.end());
  ByteBufferReader reader(exact.data(), static_cast<uint32_t>(exact.size()), order);
  for (size_t i = 0; i < skipped.size(); ++i) {
    const uint8_t choice = choices.Byte();
    const std::string rest = data.substr(data.size() - reader.remaining());
    if (choice % 9 < 5) {
      CheckNumber(&reader, rest, kWidths[choice % 9]);
    } else if (choice % 9 == 5) {
      CheckVarint(&reader, rest);
    } else {
      CheckBytes(&reader, rest, choice / 9, static_cast<uint8_t>(choice % 9 - 6));
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 4096));
  const uint8_t mode = input.Byte();
  const auto order = (mode & 1) != 0 ? ByteBuffer::ORDER_HOST : ByteBuffer::ORDER_NETWORK;
  if ((mode & 2) != 0) {
    FuzzWriter(input, order);
  } else {
    FuzzReader(input, order);
  }
  return 0;
}
