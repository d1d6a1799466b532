// Key frames of H.264 as pictures, and pictures as JPEG files.
// Threads: any.
#ifndef HOST_FFMPEG_JPEG_PICTURE_H_
#define HOST_FFMPEG_JPEG_PICTURE_H_

#include <cstdint>
#include <string>

#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

// Whether edges of blocks are smoothed, which nobody sees on a small picture.
enum class Deblocking { kOff, kOn };

// `size` bytes of an access unit with its parameter sets. Null: it cannot be decoded, or not
// without damage, or it has more pixels than a 5K screen.
FrameHandle DecodeKeyFrame(const uint8_t* data, uint32_t size, Deblocking deblocking);

// Width by height, when it is upright after a turn by `rotation` (0, 90, 180, 270).
double UprightRatio(const AVFrame& picture, int32_t rotation);

// The upper left part of a YUV 4:2:0 picture as a JPEG file that does not name the program that
// made it. Empty: out of memory.
std::string EncodeJpeg(const AVFrame& picture, uint32_t width, uint32_t height);

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_JPEG_PICTURE_H_
