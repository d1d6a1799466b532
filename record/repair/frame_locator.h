// Finds where the bytes of a frame really are, when bytes were inserted into a data file or are
// missing from it: then all later frames of the index stand off by the same number of bytes.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_FRAME_LOCATOR_H_
#define RECORD_REPAIR_FRAME_LOCATOR_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "files/read_only_file.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "record/repair/adts_scanner.h"

namespace kxrtc_host {

class FrameLocator {
 public:
  // For an audio file, with the scanner that knows its format, and for a video file with none. Both
  // are borrowed. `end_shift`: by how much the file is longer than the index says.
  FrameLocator(ReadOnlyFile* file, AdtsScanner* adts, int64_t end_shift)
      : file_(file), adts_(adts), end_shift_(end_shift) {}

  // Where the frames before end: those that stay, and the one that the index names last.
  struct Ends {
    uint64_t kept = 0;
    uint64_t named = 0;
  };

  // The place of the frame that the index has at `frame`, behind those that stay; none when it is
  // nowhere. `upcoming`: the next frames of the index. A damaged frame in its right place is found
  // there.
  std::optional<uint64_t> Locate(const kxrtc::MediaDataRecord& frame,
                                 const std::vector<kxrtc::MediaDataRecord>& upcoming, Ends ends);

  // The same for a frame further on, which must be whole; nothing is searched.
  std::optional<uint64_t> Expect(const kxrtc::MediaDataRecord& frame);

  // Where a frame begins that is not all in the file; the end of the file if none of it is there.
  uint64_t CutAt(const kxrtc::MediaDataRecord& frame) const;

  // By how much the latest located frame was off the index.
  int64_t shift() const { return shift_; }

 private:
  bool Fits(const kxrtc::MediaDataRecord& frame, int64_t shift);
  bool HasStartCode(uint64_t position) const;
  bool EndsInZero(uint64_t position) const;
  bool FindShift(const std::vector<kxrtc::MediaDataRecord>& frames, uint64_t end);
  bool IsKnown() const;
  std::optional<uint64_t> InPlace(const kxrtc::MediaDataRecord& frame,
                                  const std::vector<kxrtc::MediaDataRecord>& upcoming,
                                  Ends ends) const;

  ReadOnlyFile* file_;
  AdtsScanner* adts_;
  int64_t end_shift_;
  int64_t shift_ = 0;
  uint32_t searches_failed_ = 0;  // In a row.
  uint32_t frames_to_wait_ = 0;   // Until the next search.
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_FRAME_LOCATOR_H_
