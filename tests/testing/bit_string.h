// Builds bitstreams from written-out bits and elements of ITU-T H.264, clause 7.2, independently of
// the library's own bit writer.
#ifndef TESTS_TESTING_BIT_STRING_H_
#define TESTS_TESTING_BIT_STRING_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kx_testing {

// Bits in stream order, one character '0' or '1' each.
class BitString {
 public:
  BitString() = default;
  explicit BitString(std::string bits) : bits_(std::move(bits)) {}

  // u(n), ue(v), se(v).
  BitString& U(int count, uint64_t value) {
    for (int i = count - 1; i >= 0; --i) bits_ += (value >> i & 1) != 0 ? '1' : '0';
    return *this;
  }
  BitString& Ue(uint64_t value) {
    int count = 1;
    while ((value + 1) >> count != 0) ++count;
    return U(count - 1, 0).U(count, value + 1);
  }
  BitString& Se(int64_t value) {
    return Ue(static_cast<uint64_t>(value > 0 ? 2 * value - 1 : -2 * value));
  }
  BitString& Append(const BitString& other) {
    bits_ += other.bits_;
    return *this;
  }
  // rbsp_trailing_bits().
  BitString& Trailing() {
    U(1, 1);
    while (bits_.size() % 8 != 0) U(1, 0);
    return *this;
  }

  const std::string& bits() const { return bits_; }
  size_t size() const { return bits_.size(); }

  // The bytes, the last one filled up with zeros.
  std::vector<uint8_t> Bytes() const {
    std::vector<uint8_t> bytes((bits_.size() + 7) / 8);
    for (size_t i = 0; i < bits_.size(); ++i) {
      if (bits_[i] == '1') bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | 0x80 >> i % 8);
    }
    return bytes;
  }

 private:
  std::string bits_;
};

inline std::string ToBits(const std::vector<uint8_t>& bytes) {
  BitString result;
  for (const uint8_t byte : bytes) result.U(8, byte);
  return result.bits();
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_BIT_STRING_H_
