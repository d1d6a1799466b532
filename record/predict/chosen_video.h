// The video track that a choice of the user gives, and its limits.
// Threads: any.
#ifndef RECORD_PREDICT_CHOSEN_VIDEO_H_
#define RECORD_PREDICT_CHOSEN_VIDEO_H_

#include <string>

#include "kxrtc/recording/replay_rules.h"
#include "record/predict/picture_choice.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {

// `asked`: what the replay asks for; its bit rates are points of the curve by which a bit rate that
// is not chosen grows.
kxrtc::VideoSettings ChosenVideo(const kxrtc::VideoSettings& asked, const PictureChoice& choice);

// Why no H.264 file has such pictures that players take, or empty: odd or small sides, more than
// level 5.2 allows.
std::string VideoObstacle(const kxrtc::VideoSettings& video);

// The size next to `size` that an encoder takes at `frame_rate`: even, and scaled down to level 5.2
// where it is larger.
PictureSize EncodableSize(const PictureSize& size, uint32_t frame_rate);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_CHOSEN_VIDEO_H_
