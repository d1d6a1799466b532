// Turns the H.264 packets of any container into the access units (Annex B, start codes included)
// that a conference client sends: parameter sets before every key frame, and for each picture its
// kind, size and rotation.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_VIDEO_NORMALIZER_H_
#define HOST_CONFERENCE_VIDEO_NORMALIZER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/ffmpeg/ffmpeg_input_handles.h"
#include "host/h264/parameter_sets.h"

namespace kxrtc_host {

// One access unit for the recorder.
struct VideoFrame {
  std::vector<uint8_t> data;
  int64_t time_us = 0;
  bool key_frame = false;  // Has an IDR picture and its parameter sets.
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t rotation = 0;  // Degrees clockwise.
};

class VideoNormalizer {
 public:
  // Takes the format, size and display matrix from `stream`. On false `*error` says why.
  [[nodiscard]] bool Open(const AVStream& stream, std::string* error);

  // Moves the content of `packet`, whose times are microseconds, to an access unit at the end of
  // `*frames`. False: the packet is damaged and left out.
  [[nodiscard]] bool Process(AVPacket* packet, std::vector<VideoFrame>* frames);

 private:
  bool AppendFrame(const AVPacket& packet, std::vector<VideoFrame>* frames);
  void LearnParameterSets(const uint8_t* data, uint32_t size);
  void LearnSize(const NalUnit& sps);

  BitstreamFilterHandle to_annex_b_;  // None if the packets are already access units.
  ParameterSets parameter_sets_;
  std::vector<NalUnit> units_;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  uint32_t rotation_ = 0;
};

// Degrees clockwise, 0 to 359, by which a display matrix turns a picture; `matrix` may be null.
uint32_t RotationOfDisplayMatrix(const int32_t* matrix);

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_VIDEO_NORMALIZER_H_
