// Real H.264 and AAC made by ffmpeg, kept in the build tree from run to run.
#ifndef TESTS_TESTING_REAL_MEDIA_H_
#define TESTS_TESTING_REAL_MEDIA_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kx_testing {

// A participant's camera or desktop share: a test picture with a running clock and the name of the
// participant.
struct VideoSpec {
  std::string name;
  uint32_t width = 640;
  uint32_t height = 360;
  std::string profile = "high";  // baseline, main, high.
  int frames = 48;               // 24 a second.
  int key_frame_distance = 48;
  int slices = 1;
  bool access_unit_delimiters = false;
  std::string colour = "gray";  // Of the ground.
  int b_frames = 0;             // Between two others; in a conference there are none.
};

// The access units of that stream, Annex B, in order; SPS and PPS before each key frame. Empty when
// ffmpeg cannot make it: the test fails.
std::vector<std::string> MakeVideo(const VideoSpec& spec);

// The access units of 24 pictures a second with the x264 options `x264_options`, e.g.
// "bframes=3:b-adapt=0".
std::vector<std::string> MakeVideoWith(const std::string& name, int frames,
                                       const std::string& x264_options);

// `frames` AAC frames of a tone with 48000 samples a second, ADTS header included or stripped.
std::vector<std::string> MakeAudio(int frames, int channels, bool with_adts);

}  // namespace kx_testing

#endif  // TESTS_TESTING_REAL_MEDIA_H_
