// Reads a file from front to back with few system calls.
// Threads: an object belongs to one thread at a time.
#ifndef KX_UTILITY_SEQUENTIAL_READER_H_
#define KX_UTILITY_SEQUENTIAL_READER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "kx_utility/file.h"

namespace kx_utility {

// A File with a block of bytes read ahead. The position is kept here, so neither asking for it nor
// setting it to where it is costs a system call. Bytes appended to the file are seen when the block
// is used up; bytes of the block that another program changes or cuts off are delivered as they
// were read. Running out of memory for the block throws std::bad_alloc.
class SequentialReader {
 public:
  static constexpr size_t kBlockSize = 256 * 1024;

  SequentialReader() = default;

  // Reads on at the position of `file`.
  explicit SequentialReader(File file);
  SequentialReader(SequentialReader&& other) = default;
  SequentialReader& operator=(SequentialReader&& other) = default;

  // As those of File.
  bool IsOpen() const { return file_.IsOpen(); }
  bool Close();
  [[nodiscard]] bool GetSize(size_t* size) const { return file_.GetSize(size); }

  // Of the next byte that is delivered. False for a file that has no positions, e.g. a pipe.
  [[nodiscard]] bool CurrentPosition(size_t* position) const;

  // False from 2^63 on, or when the system refuses; the position stays then.
  [[nodiscard]] bool Seek(size_t offset);

  // The next `size` bytes, 1 to kBlockSize, without copying them: valid until the next call. Null
  // when fewer are left or the system reports a failure; the position stays then.
  [[nodiscard]] const uint8_t* Take(size_t size);

  // Copies the next `length` bytes. The result is the number of bytes done, as of File::Read().
  [[nodiscard]] size_t Read(uint8_t* data, size_t length);

 private:
  size_t Left() const { return end_ - begin_; }
  void ReadAhead(size_t size);

  File file_;
  bool has_position_ = false;
  size_t file_position_ = 0;  // Of the descriptor: where the block ends.
  std::unique_ptr<uint8_t[]> block_;
  size_t begin_ = 0;  // What is left of the block lies from here...
  size_t end_ = 0;    // ...to here.
  size_t read_ahead_ = 0;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_SEQUENTIAL_READER_H_
