// The built-in filler clip: eight H.264 access units that show a neutral "camera off" icon,
// 640x360. tools/icon_clip/make_icon_frames.py makes icon_frames.cc.
#ifndef KXRTC_RECORDING_ICON_FRAMES_H_
#define KXRTC_RECORDING_ICON_FRAMES_H_

#include <cstdint>

#include "kx_utility/export.h"
#include "kxrtc/recording/replay_rules.h"

namespace kxrtc {

// Frame 0: access unit delimiter, SPS, PPS, SEI, IDR slice. The others: access unit delimiter, PPS,
// SEI, non-IDR slice (ITU-T H.264 table 7-1). Annex B with four-byte start codes.
extern const uint8_t kIconFrame0[];
extern const uint8_t kIconFrame1[];
extern const uint8_t kIconFrame2[];
extern const uint8_t kIconFrame3[];
extern const uint8_t kIconFrame4[];
extern const uint8_t kIconFrame5[];
extern const uint8_t kIconFrame6[];
extern const uint8_t kIconFrame7[];

// One access unit of the clip, by which a writer can tell it from a recorded picture; the bytes
// live as long as the program.
struct IconFrame {
  const uint8_t* data;
  uint32_t size;
};

KX_EXPORT extern const IconFrame kIconFrames[kIconFrameCount];

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_ICON_FRAMES_H_
