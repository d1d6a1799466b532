// What the headers of the writer promise to threads that call at once. Each promise is kept when
// every thread gets the result that one alone gets, and the thread sanitizer is silent.
#include <gmock/gmock.h>

extern "C" {
#include <libavutil/log.h>
}

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "host/ffmpeg/ffmpeg_log.h"
#include "host/mp4/media_component_factory_imp.h"
#include "record/check/adts.h"
#include "record/predict/record_outline.h"
#include "record/stream/annex_b.h"
#include "record/timing/media_time.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/run_on_threads.h"

namespace kxrtc_host {
namespace {

using kx_testing::kFrameUs;
using kx_testing::RunOnThreads;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kThreads = 3;
constexpr int kTurns = 200;
constexpr int kFrames = 40;

class Mp4WriterConcurrencyTest : public kx_testing::Mp4SinkWriterImpTest {
 protected:
  Mp4WriterConcurrencyTest() { options_.replace_existing = true; }

  // Pushes sound and pictures until `kFrames` of each are written, or one is refused.
  bool PushAll() {
    Attributes();
    for (int i = 1; i <= kFrames; ++i) {
      if (!Audio(i * kFrameUs, SilentAudio()) ||
          !Video(i * kFrameUs, pictures_[static_cast<size_t>(i - 1)])) {
        return false;
      }
    }
    return true;
  }

  const std::vector<std::string> pictures_ = TinyVideo(64, 32, kFrames);
};

TEST_F(Mp4WriterConcurrencyTest, TheMediaTimeIsReadWhileFramesArePushed) {
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    ASSERT_TRUE(Start());
    std::atomic<bool> done{false};
    std::thread control([&] {
      RunOnThreads(kThreads, [&] {
        int64_t before_us = 0;
        while (!done.load()) {
          const int64_t now_us = writer_->media_time_us();
          EXPECT_GE(now_us, before_us);
          before_us = now_us;
        }
        EXPECT_EQ(writer_->media_time_us(), ExactMicroseconds(kFrames * kFrameUs));
      });
    });
    EXPECT_TRUE(PushAll());
    done = true;
    control.join();
    EXPECT_TRUE(Stop().file_written) << writer_->status().failure_text;
  }
}

TEST_F(Mp4WriterConcurrencyTest, DiscardingWhileFramesArePushedLeavesNothing) {
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    ASSERT_TRUE(Start());
    std::thread control([&] { RunOnThreads(kThreads, [&] { writer_->Discard(); }); });
    (void)PushAll();  // A frame is refused once it is discarded.
    control.join();
    EXPECT_FALSE(Stop().file_written);
    EXPECT_EQ(writer_->status().failure, WriterFailure::kDiscarded);
    EXPECT_THAT(observer_.errors, IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(Mp4WriterConcurrencyTest, TheFactoryIsAskedWhileItsWritersComeAndGo) {
  options_.video_mode = VideoMode::kCopy;
  MediaComponentFactoryImp factory(options_);
  std::atomic<bool> done{false};
  std::atomic<int> turns{0};
  std::thread control([&] {
    RunOnThreads(kThreads, [&] {
      while (!done.load()) {
        factory.Discard();
        EXPECT_LE(factory.media_time_us(), ExactMicroseconds(3 * kFrameUs));
        ++turns;
        std::this_thread::yield();
      }
    });
  });
  const std::string frame = SilentAudio();
  for (int i = 0; i < kTurns / 10; ++i) {
    kxrtc::Mp4SinkWriter* writer = nullptr;
    ASSERT_TRUE(factory.CreateMp4SinkWriter(&writer, false));
    EXPECT_TRUE(writer->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
    for (int k = 1; k <= 3; ++k) {
      // Refused once the writer is discarded.
      (void)writer->PushAudioSample(k * kFrameUs, reinterpret_cast<const uint8_t*>(frame.data()),
                                    static_cast<uint32_t>(frame.size()));
    }
    // One more turn than there are threads: some thread made a whole turn in the meantime.
    const int before = turns.load();
    while (turns.load() <= before + kThreads) std::this_thread::yield();
    writer->StopStreaming();
    factory.ReleaseMp4SinkWriter(writer);
    EXPECT_EQ(factory.status().failure, WriterFailure::kDiscarded);
    EXPECT_LE(factory.status().audio_frames_received, 3u);
    EXPECT_EQ(factory.media_time_us(), 0);
  }
  done = true;
  control.join();
  EXPECT_THAT(Names(), IsEmpty());
}

TEST(HostConcurrencyTest, StatelessFunctionsGiveEachThreadItsResult) {
  const std::string frame = kx_testing::WithAdts("frame", 2);
  const std::vector<uint8_t> adts(frame.begin(), frame.end());
  const std::vector<uint8_t> unit = {0, 0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x65, 0x88, 0x84};
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns; ++i) {
      AdtsHeader header;
      EXPECT_TRUE(ParseAdtsHeader(adts.data(), static_cast<uint32_t>(adts.size()), &header));
      EXPECT_EQ(header.sample_rate, 48000u);
      EXPECT_THAT(AudioSpecificConfig(2, 48000, 2), ElementsAre(0x11, 0x90));
      EXPECT_EQ(ChannelCount(7), 8u);
      std::vector<NalUnit> units;
      SplitAccessUnit(unit.data(), static_cast<uint32_t>(unit.size()), &units);
      ASSERT_EQ(units.size(), 2u);
      uint8_t sample[13] = {};
      EXPECT_EQ(SampleSize(units), sizeof(sample));
      PutSample(units, sample);
      EXPECT_EQ(sample[9], 3);
      EXPECT_EQ(ExactAudioSamples(i * kxrtc::kAudioFrameDurationUs), i * kSamplesPerAudioFrame);
      EXPECT_EQ(AudioSamplesToMicroseconds(i * kAudioSampleRate), i * kMicrosecondsPerSecond);
    }
  });
}

TEST(HostConcurrencyTest, TheOutlineOfARecordIsReadAtOnce) {
  const kx_testing::TempDir dir;
  kx_testing::RecordBuilder(dir).Start(0).Audio(10).Audio(20).Stop(4000).Write();
  RunOnThreads(kThreads, [&] {
    for (int i = 0; i < kTurns / 10; ++i) {
      RecordFiles files;
      files.Open(dir.path());
      const RecordOutline outline = ReadRecordOutline(&files);
      EXPECT_EQ(outline.end, RecordEnd::kComplete);
      EXPECT_EQ(outline.audio_frames, 2u);
      EXPECT_EQ(outline.recorded_us, 4000);
    }
  });
}

TEST(HostConcurrencyTest, MessagesOfFFmpegStayWholeWhenThreadsLogThemInPieces) {
  const kx_testing::ScopedLogCapture log;
  RunOnThreads(kThreads, [] {
    SendFFmpegLogToLibraryLog();
    for (int i = 0; i < kTurns; ++i) {
      av_log(nullptr, AV_LOG_WARNING, "first half,");
      av_log(nullptr, AV_LOG_INFO, "not shown\n");
      av_log(nullptr, AV_LOG_WARNING, " second half\n");
    }
  });
  av_log_set_callback(av_log_default_callback);
  EXPECT_EQ(log.lines(),
            std::vector<std::string>(kThreads * kTurns, "WARNING FFmpeg: first half, second half"));
}

}  // namespace
}  // namespace kxrtc_host
