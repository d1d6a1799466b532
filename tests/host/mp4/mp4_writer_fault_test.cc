// Runs of the writer for which the system has no memory or no thread at some place.
#include "tests/testing/fault_injection.h"
#include "tests/testing/mp4_writer_fixture.h"

namespace kxrtc_host {
namespace {

using kx_testing::Fault;
using kx_testing::FaultRun;
using kx_testing::FaultThreads;
using kx_testing::kFrameUs;
using kx_testing::RunWithFault;
using kx_testing::SilentAudio;
using kx_testing::TinyVideo;

struct FaultCase {
  const char* name;
  Fault fault;
  VideoMode mode;
};

class Mp4WriterFaultTest : public kx_testing::Mp4SinkWriterImpTest,
                           public testing::WithParamInterface<FaultCase> {
 protected:
  void PushAll() {
    if (!writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_)) return;
    (void)writer_->SetNewInputVideoAttributes(64, 32, 0);
    for (size_t i = 1; i <= pictures_.size(); ++i) {
      const int64_t time_us = static_cast<int64_t>(i) * kFrameUs;
      if (!Video(time_us - 1, pictures_[i - 1])) return;
      if (!Audio(time_us, sound_)) return;
    }
  }

  const std::vector<std::string> pictures_ = TinyVideo(64, 32, 5);
  const std::string sound_ = SilentAudio();
};

// A writer whose file is there is one that says so; nothing else stays, and nothing is thrown.
TEST_P(Mp4WriterFaultTest, LeavesAWholeFileOrNone) {
  options_.video_mode = GetParam().mode;
  options_.check_sound = true;
  options_.replace_existing = true;
  FaultRun run;
  int nth = 1;
  int failures = 0;
  for (;; ++nth) {
    observer_.errors.clear();
    std::filesystem::remove(path_);
    writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
    run = RunWithFault(
        GetParam().fault, nth,
        [this] {
          PushAll();
          writer_->StopStreaming();
        },
        FaultThreads::kAll);
    ASSERT_EQ(run.thrown, "") << nth;
    const Mp4WriterStatus& status = writer_->status();
    ASSERT_EQ(status.file_written, status.failure == WriterFailure::kNone) << nth;
    ASSERT_EQ(Names().size(), status.file_written ? 1u : 0u) << nth;
    ASSERT_LE(observer_.errors.size(), 1u);
    failures += status.file_written ? 0 : 1;
    if (!run.failed) break;
  }
  EXPECT_TRUE(writer_->status().file_written) << writer_->status().failure_text;
  EXPECT_GT(nth, 1);
  EXPECT_GT(failures, 0);
}

constexpr FaultCase kCases[] = {
    {"MemoryOfACopy", Fault::kAllocation, VideoMode::kCopy},
    {"ThreadOfACopy", Fault::kThreadCreation, VideoMode::kCopy},
    {"MemoryOfAnEncoding", Fault::kAllocation, VideoMode::kEncode},
    {"ThreadOfAnEncoding", Fault::kThreadCreation, VideoMode::kEncode},
};
INSTANTIATE_TEST_SUITE_P(Faults, Mp4WriterFaultTest, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace kxrtc_host
