// What a user wants of encoded pictures.
#ifndef RECORD_PREDICT_PICTURE_CHOICE_H_
#define RECORD_PREDICT_PICTURE_CHOICE_H_

#include <cstdint>

namespace kxrtc_host {

// 0: as the replay asks for it (VideoConfig). Where a size or a frame rate is chosen, but neither a
// bit rate nor a quality, the bit rate grows with the pixels.
struct PictureChoice {
  uint32_t width = 0;  // Pixels, even; both or none.
  uint32_t height = 0;
  uint32_t frame_rate = 0;     // Frames a second.
  uint32_t bit_rate_kbps = 0;  // kbit/s.
  uint32_t quality = 0;        // Instead of a bit rate: 1, the best, to 51.
};

inline constexpr uint32_t kMinPictureSide = 16;
inline constexpr uint32_t kMaxPictureFrameRate = 60;
inline constexpr uint32_t kMinPictureBitRateKbps = 16;
inline constexpr uint32_t kMaxPictureBitRateKbps = 240000;  // Of level 5.2 (ITU-T H.264, A.3.1).
inline constexpr uint32_t kWorstPictureQuality = 51;

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_PICTURE_CHOICE_H_
