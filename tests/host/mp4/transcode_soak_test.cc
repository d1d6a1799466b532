// Many transcodings into real MP4 files in one process: to the end, and stopped at random instants.
#include <gmock/gmock.h>

#include <filesystem>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "host/ffmpeg/ffmpeg_log.h"
#include "host/mp4/media_component_factory_imp.h"
#include "rtc_transcoder/api/rtc_transcoder.h"
#include "tests/testing/process_resources.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

using kx_testing::CountOpenFiles;
using kx_testing::CountThreads;
using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::ResidentBytes;
using kx_testing::TempDir;

constexpr int64_t kFrameUs = 21333;

class EndObserver final : public kxrtc::SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t /*progress*/, uint32_t /*position*/) override {}
  void OnTranscodeCompleted() override { end_.set_value(0); }
  void OnTranscodeError(int32_t error_code) override { end_.set_value(error_code); }
  int32_t Wait() { return end_.get_future().get(); }

 private:
  std::promise<int32_t> end_;
};

struct Release {
  void operator()(kxrtc::SpeakerRecordTranscoder* transcoder) const {
    ReleaseSpeakerRecordTranscoder(transcoder);
  }
};
using Transcoder = std::unique_ptr<kxrtc::SpeakerRecordTranscoder, Release>;

Transcoder MakeTranscoder() {
  void* transcoder = nullptr;
  CreateSpeakerRecordTranscoder(&transcoder);
  return Transcoder(static_cast<kxrtc::SpeakerRecordTranscoder*>(transcoder));
}

class TranscodeSoakTest : public ::testing::TestWithParam<VideoMode> {
 protected:
  TranscodeSoakTest() {
    SendFFmpegLogToLibraryLog();
    RecordBuilder builder(record_);
    builder.Start(0).Channel(1, kCamera).Attributes(2, 64, 32);
    int64_t time_us = 2;
    for (const std::string& unit : kx_testing::TinyVideo(64, 32, 5)) {
      builder.Video(++time_us, unit);
      builder.Audio(time_us += kFrameUs, kx_testing::WithAdts(kx_testing::SilentAudio()));
    }
    builder.Stop(time_us + 1).Write();
    options_.video_mode = GetParam();
    options_.preset = "ultrafast";
    options_.replace_existing = true;
    options_.sync = false;
    options_.hardware_encoders = {};
    runs_ = GetParam() == VideoMode::kCopy ? 1000 : 200;
  }

  // How many files stand in the output's folder, hidden ones included.
  std::ptrdiff_t FilesLeft() const {
    return std::distance(std::filesystem::directory_iterator(out_.path()), {});
  }

  void TranscodeOnce(kxrtc::SpeakerRecordTranscoder* transcoder) {
    MediaComponentFactoryImp factory(options_);
    EndObserver observer;
    ASSERT_TRUE(
        transcoder->StartTranscoding(record_.path().c_str(), mp4_.c_str(), &observer, &factory));
    ASSERT_EQ(observer.Wait(), 0);
    transcoder->StopTranscoding();
    ASSERT_TRUE(factory.status().file_written) << factory.status().failure_text;
    ASSERT_EQ(factory.status().audio_frames_written, 5u);
  }

  TempDir record_;
  TempDir out_;
  const std::string mp4_ = out_.File("out.mp4");
  Mp4SinkWriterOptions options_;
  int runs_ = 0;
};

TEST_P(TranscodeSoakTest, ManyInOneProcessKeepFilesThreadsAndMemoryFlat) {
  const Transcoder reused = MakeTranscoder();
  for (int i = 0; i < runs_ / 10; ++i) TranscodeOnce(reused.get());
  const size_t files = CountOpenFiles();
  const size_t threads = CountThreads();
  [[maybe_unused]] const size_t memory = ResidentBytes();
  for (int i = 0; i < runs_; ++i) TranscodeOnce(i % 2 == 0 ? reused.get() : MakeTranscoder().get());
  EXPECT_EQ(files, CountOpenFiles());
  EXPECT_EQ(threads, CountThreads());
  EXPECT_EQ(FilesLeft(), 1);
#ifndef __SANITIZE_ADDRESS__  // It keeps what was freed, and looks for leaks itself.
  EXPECT_LT(ResidentBytes(), memory + (size_t{4} << 20));
#endif
}

TEST_P(TranscodeSoakTest, StopsAtRandomInstantsLeaveNothing) {
  std::mt19937 random(20240229);
  const Transcoder transcoder = MakeTranscoder();
  const size_t files = CountOpenFiles();
  const size_t threads = CountThreads();
  for (int i = 0; i < runs_; ++i) {
    MediaComponentFactoryImp factory(options_);
    ASSERT_TRUE(
        transcoder->StartTranscoding(record_.path().c_str(), mp4_.c_str(), nullptr, &factory));
    for (uint32_t spins = random() % 200; spins > 0; --spins) std::this_thread::yield();
    factory.Discard();
    ASSERT_TRUE(transcoder->StopTranscoding());
    ASSERT_FALSE(factory.status().file_written);
    ASSERT_EQ(FilesLeft(), 0);
  }
  EXPECT_EQ(files, CountOpenFiles());
  EXPECT_EQ(threads, CountThreads());
}

INSTANTIATE_TEST_SUITE_P(Modes, TranscodeSoakTest,
                         ::testing::Values(VideoMode::kCopy, VideoMode::kEncode),
                         [](const auto& param_info) {
                           return param_info.param == VideoMode::kCopy ? "Copy" : "Encode";
                         });

}  // namespace
}  // namespace kxrtc_host
