// Stands before a video track and leaves out pictures of the filler clip that nobody should see.
#ifndef HOST_MP4_ICON_FILTER_H_
#define HOST_MP4_ICON_FILTER_H_

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/mp4/video_track.h"
#include "kxrtc/recording/icon_frames.h"
#include "record/index/channel_follower.h"
#include "record/timing/icon_hold.h"

namespace kxrtc_host {

// The picture of the filler clip that these bytes are; null: they are a recorded picture.
const kxrtc::IconFrame* FindIconFrame(const uint8_t* data, uint32_t size);

// The icon is left out where a recorded picture follows within kShortestIconUs: the picture before
// it stays, and where there is none, the recorded picture is shown from then on. With `shares`, it
// is left out as well where a desktop share stands still.
class IconFilter final : public VideoTrack {
 public:
  // `shares` may be null.
  IconFilter(std::unique_ptr<VideoTrack> track, ClipPictures clip_pictures,
             std::unique_ptr<ChannelFollower> shares)
      : track_(std::move(track)), shares_(std::move(shares)), hold_(clip_pictures) {}

  // The replay pushed an audio frame.
  void OnAudio();

  void SetAttributes(int32_t rotation) override;
  [[nodiscard]] bool Push(int64_t time_us, const uint8_t* data, uint32_t size) override;
  [[nodiscard]] bool AdvanceTo(int64_t time_us) override;
  [[nodiscard]] bool Finish(int64_t end_us) override;
  int64_t end_us() const override { return track_->end_us(); }

 private:
  struct HeldIcon {
    int64_t time_us;
    const kxrtc::IconFrame* frame;
  };

  bool PushIcon(int64_t time_us, const kxrtc::IconFrame* frame);
  bool ShowHeldIcons();
  bool ShareStandsStill() const;
  void PassAttributes();

  const std::unique_ptr<VideoTrack> track_;
  const std::unique_ptr<ChannelFollower> shares_;
  uint64_t shown_channel_ = 0;  // Of the latest recorded picture.
  IconHold hold_;
  std::vector<HeldIcon> held_;
  bool has_new_attributes_ = false;  // Not yet passed on.
  int32_t rotation_ = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_ICON_FILTER_H_
