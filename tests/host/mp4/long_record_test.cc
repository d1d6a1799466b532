// A day of conference through the writer, checked in the sample tables of the file.
#include <gmock/gmock.h>

#include "host/mp4/mp4_sink_writer_imp.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

constexpr int64_t kFrameUs = 21333;
constexpr int64_t kDayFrames = 24 * 3600 * int64_t{48000} / 1024;
constexpr int64_t kFramesToPicture = 47;  // About a second.

TEST(LongRecordTest, AudioAndVideoStayTogetherForADay) {
  kx_testing::TempDir dir;
  const std::string path = dir.File("day.mp4");
  Mp4SinkWriterOptions options;
  options.video_mode = VideoMode::kCopy;
  options.sync = false;
  Mp4SinkWriterImp writer(options);
  const kxrtc::VideoConfig video = {4, 64, 32, 24, 100, 0};
  const kxrtc::AudioConfig audio = {2, 32, 2};
  ASSERT_TRUE(writer.StartStreaming(path.c_str(), &video, &audio, nullptr));
  const std::string unit = kx_testing::TinyVideo(32, 32, 1)[0];
  const std::string frame = kx_testing::SilentAudio();
  ASSERT_TRUE(writer.SetNewInputVideoAttributes(32, 32, 0));
  for (int64_t i = 1; i <= kDayFrames; ++i) {
    ASSERT_TRUE(writer.PushAudioSample(i * kFrameUs, reinterpret_cast<const uint8_t*>(frame.data()),
                                       static_cast<uint32_t>(frame.size())));
    if (i % kFramesToPicture != 1) continue;
    ASSERT_TRUE(writer.PushVideoSample(i * kFrameUs, reinterpret_cast<const uint8_t*>(unit.data()),
                                       static_cast<uint32_t>(unit.size())));
  }
  writer.StopStreaming();
  ASSERT_TRUE(writer.status().file_written) << writer.status().failure_text;

  const kx_testing::Mp4File file = kx_testing::ReadMp4(path);
  EXPECT_EQ(file.boxes[1], "moov");
  const kx_testing::Mp4Track& sound = file.Track("soun");
  EXPECT_EQ(sound.durations, std::vector<uint32_t>(kDayFrames, 1024));
  const kx_testing::Mp4Track& pictures = file.Track("vide");
  ASSERT_EQ(pictures.durations.size(),
            static_cast<size_t>((kDayFrames + kFramesToPicture - 1) / kFramesToPicture));
  EXPECT_EQ(pictures.start_us, sound.start_us);
  int64_t picture_us = pictures.start_us;
  for (size_t i = 0; i < pictures.durations.size(); ++i) {
    // Picture i was pushed together with this frame of the audio.
    const int64_t sound_us =
        sound.start_us + static_cast<int64_t>(i) * kFramesToPicture * 64000 / 3;
    ASSERT_NEAR(static_cast<double>(picture_us), static_cast<double>(sound_us), 2) << i;
    picture_us += pictures.durations[i];
  }
  EXPECT_NEAR(static_cast<double>(picture_us), static_cast<double>(sound.EndUs()), 2);
  EXPECT_EQ(writer.status().duration_us, 86400021333);
}

}  // namespace
}  // namespace kxrtc_host
