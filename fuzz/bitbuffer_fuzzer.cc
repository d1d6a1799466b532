// Reader and writer do what the same operations on a string of '0' and '1' do, and a failed one
// leaves everything as it was.
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kx_utility/bitbuffer.h"

namespace {

using kx_fuzz::Check;
using kx_fuzz::FuzzInput;
using kx_utility::BitBuffer;
using kx_utility::BitBufferWriter;

std::string ToBits(uint64_t value, uint32_t count) {
  std::string bits;
  for (uint32_t i = count; i > 0; --i) bits += (value >> (i - 1) & 1) != 0 ? '1' : '0';
  return bits;
}

std::string ToBits(const std::vector<uint8_t>& bytes) {
  std::string bits;
  for (const uint8_t byte : bytes) bits += ToBits(byte, 8);
  return bits;
}

uint64_t ToNumber(const std::string& bits) {
  uint64_t value = 0;
  for (const char bit : bits) value = value << 1 | (bit == '1' ? 1 : 0);
  return value;
}

size_t PositionOf(BitBuffer* buffer) {
  uint32_t byte_offset = 0;
  uint32_t bit_offset = 0;
  buffer->GetCurrentOffset(&byte_offset, &bit_offset);
  return size_t{byte_offset} * 8 + bit_offset;
}

// The length of the Exp-Golomb code at the front of `rest`, 0 without one.
size_t GolombLength(const std::string& rest) {
  const size_t zeros = rest.find('1');
  if (zeros == std::string::npos || zeros > 31 || 2 * zeros + 1 > rest.size()) return 0;
  return 2 * zeros + 1;
}

std::string GolombCode(uint64_t value) {
  uint32_t count = 1;
  while ((value + 1) >> count != 0) ++count;
  return std::string(count - 1, '0') + ToBits(value + 1, count);
}

void ReadOnce(FuzzInput* input, BitBuffer* buffer, const std::string& bits) {
  const size_t before = PositionOf(buffer);
  const std::string rest = bits.substr(before);
  Check(buffer->RemainingBitCount() == rest.size(), "the rest is what was not read");
  size_t taken = 0;
  bool result = false;
  bool expected = false;
  const uint8_t choice = input->Byte() % 6;
  if (choice <= 1) {
    const uint32_t count = input->Byte() % 40;
    uint32_t value = 0xABCD;
    result = choice == 0 ? buffer->ReadBits(&value, count) : buffer->PeekBits(&value, count);
    expected = count <= 32 && count <= rest.size();
    taken = expected && choice == 0 ? count : 0;
    Check(value == (expected ? ToNumber(rest.substr(0, count)) : 0xABCD), "a field has its value");
  } else if (choice == 2) {
    const auto count = static_cast<uint32_t>(input->Number(input->Byte() % 5));
    result = buffer->ConsumeBits(count);
    expected = count <= rest.size();
    taken = expected ? count : 0;
  } else if (choice == 3) {
    const auto count = static_cast<uint32_t>(input->Number(input->Byte() % 5));
    result = buffer->ConsumeBytes(count);
    expected = uint64_t{count} * 8 <= rest.size();
    taken = expected ? size_t{count} * 8 : 0;
  } else {
    uint32_t value = 0xABCD;
    int32_t number = 0;
    result = choice == 4 ? buffer->ReadExponentialGolomb(&value)
                         : buffer->ReadSignedExponentialGolomb(&number);
    taken = GolombLength(rest);
    expected = taken > 0;
    const int64_t code = static_cast<int64_t>(ToNumber(rest.substr(0, taken))) - 1;
    if (choice == 4) Check(value == (expected ? code : 0xABCD), "a code has its value");
    const int64_t signed_code = code % 2 != 0 ? (code + 1) / 2 : -(code / 2);
    if (choice == 5 && expected) Check(number == signed_code, "a signed code has its value");
  }
  Check(result == expected, "a read succeeds when its bits are there");
  Check(PositionOf(buffer) == before + taken, "a read moves behind its bits or not at all");
}

void WriteOnce(FuzzInput* input, BitBufferWriter* writer, std::string* bits) {
  const size_t before = PositionOf(writer);
  const uint8_t choice = input->Byte() % 4;
  std::string written;
  bool result = false;
  bool representable = true;
  if (choice == 0) {
    const uint32_t count = input->Byte() % 70;
    const uint64_t value = input->Number(8);
    representable = count <= 64;
    if (representable) written = ToBits(value, count);
    result = writer->WriteBits(value, count);
  } else if (choice == 1) {
    const auto value = static_cast<uint32_t>(input->Number(input->Byte() % 5));
    representable = value != UINT32_MAX;
    if (representable) written = GolombCode(value);
    result = writer->WriteExponentialGolomb(value);
  } else if (choice == 2) {
    const auto value = static_cast<int32_t>(input->Number(input->Byte() % 5));
    representable = value != INT32_MIN;
    const int64_t code = value > 0 ? 2 * int64_t{value} - 1 : -2 * int64_t{value};
    if (representable) written = GolombCode(static_cast<uint64_t>(code));
    result = writer->WriteSignedExponentialGolomb(value);
  } else {
    const uint32_t byte_offset = input->Byte();
    const uint32_t bit_offset = input->Byte() % 10;
    const size_t position = size_t{byte_offset} * 8 + bit_offset;
    const bool inside = bit_offset <= 7 && position <= bits->size();
    Check(writer->Seek(byte_offset, bit_offset) == inside, "each position inside can be sought");
    Check(PositionOf(writer) == (inside ? position : before), "a refused seek changes nothing");
    return;
  }
  const bool fits = representable && before + written.size() <= bits->size();
  Check(result == fits, "a write succeeds when there is room");
  if (fits) bits->replace(before, written.size(), written);
  Check(PositionOf(writer) == before + (fits ? written.size() : 0),
        "a write moves behind its bits or not at all");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 2048));
  const bool writes = (input.Byte() & 1) != 0;
  const std::string start = input.Bytes(input.Byte());
  std::vector<uint8_t> bytes(start.begin(), start.end());
  std::string bits = ToBits(bytes);
  BitBufferWriter buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  while (!input.empty()) {
    if (writes) {
      WriteOnce(&input, &buffer, &bits);
      Check(ToBits(bytes) == bits, "bits beside the written ones stay");
    } else {
      ReadOnce(&input, &buffer, bits);
    }
  }
  return 0;
}
