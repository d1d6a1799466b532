// Takes the files of a bundle one after another. This house knows no archive format: the host
// implements it.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_ARCHIVE_SINK_H_
#define RECORD_BUNDLE_ARCHIVE_SINK_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxrtc_host {

struct ArchiveEntry {
  struct Part {
    uint64_t begin = 0;
    uint64_t end = 0;
  };

  std::string name;
  uint64_t size = 0;
  bool is_writable = true;
  bool has_holes = false;
  std::vector<Part> data;  // Of a file with holes: what is none, in rising order.
};

class ArchiveSink {
 public:
  virtual ~ArchiveSink() = default;

  // Starts a file. False: error_text(); likewise below.
  [[nodiscard]] virtual bool Begin(const ArchiveEntry& entry) = 0;

  // The next bytes of the file. All of its size follow Begin().
  [[nodiscard]] virtual bool Write(const void* data, size_t size) = 0;

  // The next bytes are in a hole.
  [[nodiscard]] virtual bool Skip(uint64_t size) = 0;

  // Ends the archive.
  [[nodiscard]] virtual bool Finish() = 0;

  virtual const std::string& error_text() const = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_ARCHIVE_SINK_H_
