// Decides which pictures of the filler clip an MP4 shows, so that none flashes up where a recorded
// picture follows at once. The writer follows it, and so does the prediction.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_TIMING_ICON_HOLD_H_
#define RECORD_TIMING_ICON_HOLD_H_

#include <cstdint>

namespace kxrtc_host {

// How much later than their own time media are sent while a conference is recorded: room for
// reading ahead, decoding and the jitter of live streams.
inline constexpr int64_t kPlayoutDelayUs = 200000;

// An icon is not shown for less than the jitter of a sender and that of the recorder together.
inline constexpr int64_t kShortestIconUs = 2 * kPlayoutDelayUs;

// Which pictures of a filler clip an MP4 contains. All look like the first, the key picture.
enum class ClipPictures {
  kAll,    // Encoded video is made of them.
  kFirst,  // Copied video. None is close to a recorded picture either, since programs that count in
           // frames complain about two pictures in one.
};

// The time of one frame at 24 a second.
inline constexpr int64_t kShortestPictureUs = 41667;

class IconHold {
 public:
  explicit IconHold(ClipPictures pictures) : pictures_(pictures) {}

  // A picture of the filler clip is left out whatever follows.
  bool LeavesOut(bool is_first) const { return pictures_ == ClipPictures::kFirst && !is_first; }

  // A picture of the filler clip comes for `time_us`. True: it waits. False: it is shown now.
  [[nodiscard]] bool HoldsIcon(int64_t time_us);

  // No recorded picture came in time before `time_us`: call ShowIcon() and show what waits.
  bool IsDue(int64_t time_us) const { return is_waiting_ && time_us - start_us_ > kShortestIconUs; }
  void ShowIcon();

  // The time from which an icon that came for `time_us` is shown.
  int64_t ShownFrom(int64_t time_us) const;

  // A recorded picture comes for `time_us`, and no icon is due. Those that wait are left out.
  // Returns the time from which the recorded picture is shown: as the first picture of all, that of
  // the icon.
  int64_t ShowRecorded(int64_t time_us);

  // The file ends at `end_us`. True: the icon that waits is shown.
  bool ShowsAtEnd(int64_t end_us) const;

  bool is_waiting() const { return is_waiting_; }
  int64_t start_us() const { return start_us_; }  // Of the icon that waits.

 private:
  const ClipPictures pictures_;
  bool is_waiting_ = false;
  bool shows_icon_ = false;
  bool has_shown_ = false;  // Anything.
  int64_t start_us_ = 0;
  int64_t recorded_us_ = -kShortestPictureUs;  // Of the latest recorded picture.
};

}  // namespace kxrtc_host

#endif  // RECORD_TIMING_ICON_HOLD_H_
