// Real H.264 and AAC of a few bytes, made in the test program without help from outside.
#ifndef TESTS_TESTING_TINY_MEDIA_H_
#define TESTS_TESTING_TINY_MEDIA_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kx_testing {

// `frames` access units, Annex B, SPS and PPS before each key frame, no B-frames. The pictures are
// of one grey, `luma`, brighter by one in each; a white square of a quarter of the width stands in
// the upper left corner.
std::vector<std::string> TinyVideo(int width, int height, int frames, int key_frame_distance = 250,
                                   int luma = 60);

// The same in coded order, with two B pictures between every two others. The first picture has luma
// 40, each of up to 64 is brighter by 3.
std::vector<std::string> TinyReorderedVideo(int width, int height, int frames);

// The luma of one point, outside of the white square, in each picture of the MP4 file in the order
// in which ffmpeg shows them. What ffmpeg complains about fails the test.
std::vector<int> ShownLumas(const std::string& path);

// The access unit without its NAL units of type `nal_type`.
std::string WithoutNal(const std::string& access_unit, int nal_type);

// A raw frame of 1024 silent samples, 48000 a second.
std::string SilentAudio(int channels = 2);

}  // namespace kx_testing

#endif  // TESTS_TESTING_TINY_MEDIA_H_
