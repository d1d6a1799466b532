// Observes the media that the conference gives to the recorder, for tests and measurements.
#ifndef HOST_CONFERENCE_MEDIA_TAP_H_
#define HOST_CONFERENCE_MEDIA_TAP_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc_host {

// Called on the sending threads, several at a time, just before the recorder gets the same bytes.
class MediaTap {
 public:
  virtual ~MediaTap() = default;

  // One access unit of the channel `ssrc`.
  virtual void OnVideoSent(uint32_t ssrc, bool key_frame, const uint8_t* data, size_t size) = 0;

  // One encoded frame of the mix.
  virtual void OnAudioSent(const uint8_t* data, size_t size) = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_MEDIA_TAP_H_
