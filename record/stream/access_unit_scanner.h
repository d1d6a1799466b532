// Finds the access units in a part of a data file (ITU-T H.264, clauses 7.4.1.2.3 and 7.4.1.2.4).
// Reads piece by piece: memory does not depend on the file.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_ACCESS_UNIT_SCANNER_H_
#define RECORD_STREAM_ACCESS_UNIT_SCANNER_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "files/read_only_file.h"
#include "record/stream/access_unit_tracker.h"
#include "record/stream/nal_stream_splitter.h"
#include "record/stream/picture_timing.h"
#include "record/stream/stream_frame.h"

namespace kxrtc_host {

struct AccessUnit {
  StreamFrame frame;
  bool has_picture = false;
  bool is_key = false;  // It has a slice of an IDR picture.
  uint32_t width = 0;   // Pixels, of the SPS in it; 0: none that can be parsed.
  uint32_t height = 0;
  int64_t duration_us = 0;  // By the stream's own timing; 0: it has none.
};

class AccessUnitScanner {
 public:
  // Looks between `begin` and `end`. `file` is borrowed. `is_wanted`, if given, is asked from time
  // to time; false ends the search.
  AccessUnitScanner(const ReadOnlyFile* file, uint64_t begin, uint64_t end,
                    std::function<bool()> is_wanted = nullptr);

  // The next access unit that has a picture; false when there is none. Bytes before the first start
  // code, and parameter sets that no picture follows, belong to none.
  [[nodiscard]] bool Next(AccessUnit* unit);

 private:
  void StartPiece();
  void ReadPiece();
  void EndPiece();
  bool OnUnit(const StreamNalUnit& unit);
  void EndAccessUnit(uint64_t end);

  const ReadOnlyFile* file_;
  uint64_t position_;
  uint64_t end_;
  std::function<bool()> is_wanted_;
  uint64_t base_ = 0;  // Where the splitter's stream begins in the file.
  std::unique_ptr<NalStreamSplitter> splitter_;
  AccessUnitTracker tracker_;
  PictureTiming timing_;
  AccessUnit open_;
  bool is_open_ = false;
  std::deque<AccessUnit> found_;
  std::vector<uint8_t> buffer_;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_ACCESS_UNIT_SCANNER_H_
