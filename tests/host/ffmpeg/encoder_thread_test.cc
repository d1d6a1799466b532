#include "host/ffmpeg/encoder_thread.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "host/ffmpeg/ffmpeg_encoder.h"

namespace kxrtc_host {
namespace {

class EncoderThreadTest : public ::testing::Test {
 protected:
  EncoderThreadTest() {
    thread_ = MakeThread();
    picture_.reset(av_frame_alloc());
    picture_->width = 64;
    picture_->height = 32;
    picture_->format = AV_PIX_FMT_YUV420P;
    EXPECT_GE(av_frame_get_buffer(picture_.get(), 0), 0);
    for (int plane = 0; plane < 3; ++plane) {
      std::fill_n(picture_->data[plane], picture_->linesize[plane] * (plane == 0 ? 32 : 16),
                  uint8_t{128});
    }
  }

  static std::unique_ptr<EncoderThread> MakeThread() {
    EncoderSettings settings;
    settings.width = 64;
    settings.height = 32;
    settings.frame_rate = 24;
    settings.bit_rate_kbps = 100;
    settings.preset = "ultrafast";
    settings.threads = 1;
    std::string obstacle;
    return std::make_unique<EncoderThread>(FFmpegEncoders().Open("libx264", settings, &obstacle));
  }

  int Send(int64_t time) {
    picture_->pts = time;
    return thread_->Send(*picture_, &packets_);
  }

  std::unique_ptr<EncoderThread> thread_;
  FrameHandle picture_;
  std::vector<PacketHandle> packets_;
};

TEST_F(EncoderThreadTest, GivesOnePacketForEachPictureInOrder) {
  for (int i = 0; i < 100; ++i) ASSERT_GE(Send(i), 0);
  ASSERT_GE(thread_->Finish(&packets_), 0);
  ASSERT_EQ(packets_.size(), 100u);
  for (size_t i = 0; i < packets_.size(); ++i) {
    EXPECT_EQ(packets_[i]->pts, static_cast<int64_t>(i));
  }
}

TEST_F(EncoderThreadTest, HoldsBackAsManyAsMayBeUnderWay) {
  for (size_t i = 0; i < EncoderThread::kMaxPicturesUnderWay; ++i) {
    ASSERT_GE(Send(static_cast<int64_t>(i)), 0);
    ASSERT_TRUE(packets_.empty()) << i;
  }
}

// How many packets there are after each picture.
std::vector<size_t> Rhythm(EncoderThread* thread, AVFrame* picture) {
  std::vector<size_t> counts;
  std::vector<PacketHandle> packets;
  for (int i = 0; i < 60; ++i) {
    picture->pts = i;
    EXPECT_GE(thread->Send(*picture, &packets), 0);
    counts.push_back(packets.size());
  }
  return counts;
}

TEST_F(EncoderThreadTest, TheRhythmIsTheSameEachTime) {
  const std::vector<size_t> first = Rhythm(thread_.get(), picture_.get());
  EXPECT_GT(first.back(), 0u);
  for (int run = 0; run < 5; ++run) {
    thread_ = MakeThread();
    EXPECT_EQ(Rhythm(thread_.get(), picture_.get()), first);
  }
}

TEST_F(EncoderThreadTest, TellsAFailureOfTheEncoder) {
  ASSERT_GE(thread_->Finish(&packets_), 0);
  // The encoder takes nothing after its end.
  int result = 0;
  for (int i = 0; i < 100 && result >= 0; ++i) result = Send(i);
  EXPECT_EQ(result, AVERROR_EOF);
}

TEST_F(EncoderThreadTest, DropsWhatIsUnderWayWhenItIsDestroyed) {
  for (int i = 0; i < 5; ++i) ASSERT_GE(Send(i), 0);
  thread_.reset();
  EXPECT_TRUE(packets_.empty());
}

}  // namespace
}  // namespace kxrtc_host
