// What the fuzz targets share: their entry, their assertion and a way to draw values from an input.
// Threads: one.
#ifndef FUZZ_FUZZ_INPUT_H_
#define FUZZ_FUZZ_INPUT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// The entry of a fuzz target. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace kx_fuzz {

// Ends the process when a promise is broken, so that the engine keeps the input.
inline void Check(bool kept, const char* promise, const char* file = __builtin_FILE(),
                  int line = __builtin_LINE()) {
  if (kept) return;
  std::fprintf(stderr, "%s:%d: broken promise: %s\n", file, line, promise);
  std::abort();
}

// Draws values from the front of an input. An exhausted input gives zeros and short strings.
class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }

  // A number of `bytes` bytes, at most 8.
  uint64_t Number(size_t bytes) {
    uint64_t value = 0;
    for (size_t i = 0; i < bytes; ++i) value = value << 8 | Byte();
    return value;
  }

  uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }

  std::string Bytes(size_t length) {
    const size_t taken = std::min(length, size_);
    const auto* start = reinterpret_cast<const char*>(data_);
    data_ += taken;
    size_ -= taken;
    return taken == 0 ? std::string() : std::string(start, taken);
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace kx_fuzz

#endif  // FUZZ_FUZZ_INPUT_H_
