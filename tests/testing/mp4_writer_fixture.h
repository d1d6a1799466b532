// What the tests of the MP4 writer have in common: a writer, a file, and short ways to push.
#ifndef TESTS_TESTING_MP4_WRITER_FIXTURE_H_
#define TESTS_TESTING_MP4_WRITER_FIXTURE_H_

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/mp4/mp4_sink_writer_imp.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/tiny_media.h"

namespace kx_testing {

inline constexpr int64_t kFrameUs = 21333;

class CountingObserver : public kxrtc::Mp4SinkWriterObserver {
 public:
  virtual ~CountingObserver() = default;
  void OnStateChanged(kxrtc::MediaComponentState /*state*/) override {}
  void OnError(kxrtc::Mp4SinkWriterErrorCode error_code) override { errors.push_back(error_code); }
  void OnEvent(unsigned int /*code*/, void* /*p1*/, void* /*p2*/) override {}

  std::vector<int> errors;
};

class Mp4SinkWriterImpTest : public ::testing::Test {
 protected:
  Mp4SinkWriterImpTest() {
    options_.preset = "ultrafast";
    options_.sync = false;
    options_.encoder_threads = 1;
    options_.hardware_encoders = {};
  }

  bool Start() {
    writer_ = std::make_unique<kxrtc_host::Mp4SinkWriterImp>(options_);
    return writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_);
  }
  bool Video(int64_t us, const std::string& unit) {
    return writer_->PushVideoSample(us, reinterpret_cast<const uint8_t*>(unit.data()),
                                    static_cast<uint32_t>(unit.size()));
  }
  bool Audio(int64_t us, const std::string& frame) {
    return writer_->PushAudioSample(us, reinterpret_cast<const uint8_t*>(frame.data()),
                                    static_cast<uint32_t>(frame.size()));
  }
  // Frames `first` to `last` of silence.
  void Silence(int first, int last) {
    for (int i = first; i <= last; ++i) ASSERT_TRUE(Audio(i * kFrameUs, SilentAudio()));
  }
  void Attributes(int32_t rotation = 0) {
    ASSERT_TRUE(writer_->SetNewInputVideoAttributes(64, 32, rotation));
  }
  const kxrtc_host::Mp4WriterStatus& Stop() {
    writer_->StopStreaming();
    return writer_->status();
  }
  // The file after a run that worked.
  Mp4File Finished() {
    EXPECT_TRUE(Stop().file_written) << writer_->status().failure_text;
    EXPECT_THAT(observer_.errors, ::testing::IsEmpty());
    return ReadMp4(path_);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TempDir dir_;
  std::string path_ = dir_.File("out.mp4");
  kxrtc_host::Mp4SinkWriterOptions options_;
  kxrtc::VideoConfig video_ = {4, 64, 32, 24, 100, 0};
  kxrtc::AudioConfig audio_ = {2, 32, 2};
  CountingObserver observer_;
  std::unique_ptr<kxrtc_host::Mp4SinkWriterImp> writer_;
};

class CopyTest : public Mp4SinkWriterImpTest {
 protected:
  CopyTest() { options_.video_mode = kxrtc_host::VideoMode::kCopy; }
};

class EncodeTest : public Mp4SinkWriterImpTest {};

}  // namespace kx_testing

#endif  // TESTS_TESTING_MP4_WRITER_FIXTURE_H_
