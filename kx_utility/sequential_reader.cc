#include "kx_utility/sequential_reader.h"

#include <algorithm>
#include <cstring>

namespace kx_utility {
namespace {

// A reader that seeks all the time reads little ahead; one that does not soon reads whole blocks.
constexpr size_t kFirstReadAhead = 4096;

}  // namespace

SequentialReader::SequentialReader(File file)
    : file_(std::move(file)), read_ahead_(kFirstReadAhead) {
  has_position_ = file_.CurrentPosition(&file_position_);
}

bool SequentialReader::Close() {
  block_.reset();
  begin_ = end_ = 0;
  has_position_ = false;
  return file_.Close();
}

bool SequentialReader::CurrentPosition(size_t* position) const {
  if (!has_position_) return false;
  *position = file_position_ - Left();
  return true;
}

bool SequentialReader::Seek(size_t offset) {
  if (has_position_ && offset <= file_position_ && file_position_ - offset <= end_) {
    begin_ = end_ - (file_position_ - offset);
    return true;
  }
  if (!file_.Seek(offset)) return false;
  file_position_ = offset;
  begin_ = end_ = 0;
  read_ahead_ = kFirstReadAhead;
  return true;
}

// Makes at least `size` bytes of the block available, where the file has them.
void SequentialReader::ReadAhead(size_t size) {
  if (block_ == nullptr) block_.reset(new uint8_t[kBlockSize]);
  if (Left() != 0) std::memmove(block_.get(), block_.get() + begin_, Left());
  end_ = Left();
  begin_ = 0;
  const size_t wanted = std::min(std::max(size - end_, read_ahead_), kBlockSize - end_);
  const size_t done = file_.Read(block_.get() + end_, wanted);
  end_ += done;
  file_position_ += done;
  read_ahead_ = std::min(read_ahead_ * 2, kBlockSize);
}

const uint8_t* SequentialReader::Take(size_t size) {
  if (Left() < size) ReadAhead(size);
  if (Left() < size) return nullptr;
  begin_ += size;
  return block_.get() + begin_ - size;
}

size_t SequentialReader::Read(uint8_t* data, size_t length) {
  const size_t from_block = std::min(length, Left());
  if (from_block != 0) std::memcpy(data, block_.get() + begin_, from_block);
  begin_ += from_block;
  if (from_block == length) return length;
  begin_ = end_ = 0;  // The block no longer ends at the descriptor's position.
  const size_t from_file = file_.Read(data + from_block, length - from_block);
  file_position_ += from_file;
  return from_block + from_file;
}

}  // namespace kx_utility
