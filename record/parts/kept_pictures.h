// Decides which copied pictures parts have, and when they are shown. A picture stays only with all
// that its decoding needs: behind a picture that is left out, all are up to the next key frame. The
// last picture before stays on the screen for so long.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PARTS_KEPT_PICTURES_H_
#define RECORD_PARTS_KEPT_PICTURES_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "record/parts/kept_parts.h"

namespace kxrtc_host {

class KeptPictures {
 public:
  // Microseconds, of the whole MP4 or of the file.
  struct Times {
    int64_t presentation_us = 0;
    int64_t decode_us = 0;
    int64_t duration_us = 0;
  };

  // Where the file shows no new picture, because there is none whose key frame is kept.
  struct Wait {
    int64_t file_us = 0;
    int64_t duration_us = 0;
  };

  // `parts` is borrowed.
  explicit KeptPictures(const KeptParts* parts);

  // The next picture in coded order, with its times in the whole MP4. Returns those in the file:
  // negative in the lead-in, whose pictures are not shown. The picture that is shown when a part
  // with a lead-in starts is at 0. Without a value the picture is left out.
  std::optional<Times> Next(const Times& whole, bool is_key);

  // No picture follows; the file ends at `end_us`.
  void Finish(int64_t end_us);

  bool has_picture() const { return has_picture_; }
  int64_t end_us() const { return end_us_; }  // Of the last picture, in the file.

  // How long before its start the file has pictures that are not shown.
  int64_t lead_in_us() const { return -first_us_; }

  // Those that people notice.
  uint64_t waits() const { return waits_; }
  const Wait& longest_wait() const { return longest_wait_; }

 private:
  static constexpr int64_t kNoticeableWaitUs = 100000;

  bool IsInFile(int64_t whole_us) const;
  int64_t FileTime(int64_t whole_us) const;
  void EndWait(int64_t file_us);

  const KeptParts* const parts_;
  int64_t from_us_ = 0;   // Whole time: the start of the first part,
  int64_t start_us_ = 0;  // and of its lead-in.
  bool waits_for_key_ = true;
  std::optional<int64_t> wait_us_;  // In the file: pictures are left out from here on.
  bool has_picture_ = false;
  int64_t first_us_ = 0;  // In the file; never positive.
  int64_t last_decode_us_ = 0;
  int64_t end_us_ = 0;
  uint64_t waits_ = 0;
  Wait longest_wait_;
};

}  // namespace kxrtc_host

#endif  // RECORD_PARTS_KEPT_PICTURES_H_
