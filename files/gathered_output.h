// Gathers what is written to an OutputFile, so that the system takes many pieces with one call.
// Threads: an object belongs to one thread at a time.
#ifndef FILES_GATHERED_OUTPUT_H_
#define FILES_GATHERED_OUTPUT_H_

#include <sys/uio.h>

#include <array>
#include <cstdint>
#include <vector>

#include "files/output_file.h"

namespace kxrtc_host {

class GatheredOutput {
 public:
  // Calls of the system end at multiples of this place in the file if they can: a file system keeps
  // such blocks in one piece.
  static constexpr uint64_t kBlockBytes = 256 * 1024;

  // `file` is borrowed. Flush() before it is read, written or committed directly. Throws
  // std::bad_alloc.
  explicit GatheredOutput(OutputFile* file);
  GatheredOutput(const GatheredOutput&) = delete;
  GatheredOutput& operator=(const GatheredOutput&) = delete;

  // Room for bytes that Write() does not copy. They must be written, or given up, before the call
  // after the next. Throws std::bad_alloc.
  [[nodiscard]] uint8_t* Room(uint32_t size);

  // Writes at `position` of the file, now or later. Bytes outside of a room are copied, or written
  // now. False, as for Flush(): the file has the error; nothing is written from then on. Both need
  // no memory.
  [[nodiscard]] bool Write(uint64_t position, const uint8_t* data, uint64_t size);

  // Writes everything that was gathered.
  [[nodiscard]] bool Flush();

  OutputFile* file() const { return file_; }

 private:
  // A larger room makes its arena grow.
  static constexpr size_t kArenaBytes = 2 * kBlockBytes;

  struct Arena {
    std::vector<uint8_t> bytes;
    size_t used = 0;

    bool HasRoomFor(uint64_t size) const { return size <= bytes.size() - used; }
    bool Contains(const uint8_t* data) const;
  };

  bool IsInRoom(const uint8_t* data) const;
  bool Gather(const uint8_t* data, uint64_t size);
  bool FlushUpTo(uint64_t bytes);

  OutputFile* const file_;
  std::array<Arena, 2> arenas_;  // Of rooms, filled in turns.
  size_t current_ = 0;
  Arena copies_;               // Of bytes outside of rooms.
  std::vector<iovec> pieces_;  // Gathered, for the file from `begin_` on.
  std::vector<iovec> call_;    // The pieces of one call of the system.
  uint64_t begin_ = 0;
  uint64_t gathered_ = 0;  // Bytes.
  bool failed_ = false;
};

}  // namespace kxrtc_host

#endif  // FILES_GATHERED_OUTPUT_H_
