// How long each picture of an H.264 stream is shown, where the stream itself says so: with a fixed
// frame rate in its VUI and the structure of the picture in the picture timing SEI message (ITU-T
// H.264, clauses D.1.3, E.1.1 and E.2.1).
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_PICTURE_TIMING_H_
#define RECORD_STREAM_PICTURE_TIMING_H_

#include <cstdint>

#include "kx_utility/bitbuffer.h"
#include "kxrtc/media/video/h264/sps_parser.h"

namespace kxrtc_host {

// Of the picture timing message: its payload type (clause D.1.1), and so many bytes of it, delays
// and structure, give a picture its duration.
inline constexpr uint32_t kPictureTimingMessage = 1;
inline constexpr uint32_t kPictureTimingBytes = 9;

class PictureTiming {
 public:
  // Parses `size` bytes of NAL payload of an SPS up to its VUI. The pictures that follow have its
  // timing; none when the SPS cannot be parsed. False then.
  [[nodiscard]] bool AddSps(const uint8_t* payload, uint32_t size, kxrtc::SpsParser::SpsState* sps);

  // Takes the NAL payload of an SEI NAL unit: of the next picture.
  void AddSei(const uint8_t* payload, uint32_t size);

  // Microseconds that the picture is shown, 0 where the stream does not say it; then goes on to the
  // next picture.
  [[nodiscard]] int64_t TakePicture();

 private:
  void ReadVui(kx_utility::BitBuffer* buffer);
  bool ReadHrd(kx_utility::BitBuffer* buffer);
  void ReadPictureTiming(const uint8_t* message, uint32_t size);

  // Of the current SPS.
  int64_t tick_us_ = 0;  // One field; 0: no fixed rate.
  bool has_delays_ = false;
  uint32_t delay_bits_ = 0;  // Of both delays in the message.
  bool has_structure_ = false;
  uint32_t ticks_ = 2;  // Of the next picture.
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_PICTURE_TIMING_H_
