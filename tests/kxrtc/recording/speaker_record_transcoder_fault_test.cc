// Fails each allocation and each thread creation of the transcoder's operations in turn.
#include <gmock/gmock.h>

#include <atomic>
#include <string>

#include "kxrtc/recording/speaker_record_transcoder_imp.h"
#include "rtc_transcoder/api/rtc_transcoder.h"
#include "tests/testing/fake_media_components.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_builder.h"

namespace kxrtc {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::FaultThreads;
using ::kx_testing::kCamera;
using ::kx_testing::kThreadStartFaults;
using ::kx_testing::RecordBuilder;
using ::kx_testing::RunWithFault;
using ::kx_testing::ScopedLogCapture;
using ::kx_testing::TempDir;
using ::kx_testing::ThreadStartFault;
using ::testing::AnyOf;
using ::testing::ElementsAre;

// A writer and a factory that allocate nothing, so that only the library's allocations fail.
class SilentWriter final : public Mp4SinkWriter {
 public:
  bool StartStreaming(const char*, const VideoConfig*, const AudioConfig*,
                      Mp4SinkWriterObserver* observer) override {
    observer_ = observer;
    return true;
  }
  void StopStreaming() override { ++stops; }
  bool SetNewInputVideoAttributes(uint32_t, uint32_t, int32_t) override { return true; }
  bool PushVideoSample(int64_t, const uint8_t*, uint32_t) override { return true; }
  bool PushAudioSample(int64_t, const uint8_t*, uint32_t) override { return true; }
  bool SetTRVVlogPath(const char*) override { return true; }
  bool SetD3dManger(void*, void*) override { return true; }
  bool SetPreferHW(bool) override { return true; }
  bool SetDx9Caps(int) override { return true; }
  bool GetDx9Caps(int*) override { return true; }
  bool GetDx9CapsType(int*) override { return true; }

  Mp4SinkWriterObserver* observer() const { return observer_; }
  int stops = 0;

 private:
  Mp4SinkWriterObserver* observer_ = nullptr;
};

class SilentFactory final : public MediaComponentFactory {
 public:
  bool CreateMp4SinkWriter(Mp4SinkWriter** out, bool) override {
    ++created;
    *out = &writer;
    return true;
  }
  void ReleaseMp4SinkWriter(Mp4SinkWriter*) override { ++released; }

  SilentWriter writer;
  int created = 0;
  int released = 0;
};

// Keeps the first code only: 0 for completion.
class FirstCode final : public SpeakerRecordTranscoderObserver {
 public:
  void OnTranscodeProgress(uint32_t, uint32_t) override {}
  void OnTranscodeCompleted() override { Settle(0); }
  void OnTranscodeError(int32_t error_code) override { Settle(error_code); }

  int32_t code() const { return code_.load(std::memory_order_acquire); }
  bool WaitForCode() const {
    for (int i = 0; i < 10000 && code() == kNone; ++i) kx_utility::Thread::Sleep(1);
    return code() != kNone;
  }

  static constexpr int32_t kNone = -1;

 private:
  void Settle(int32_t code) {
    int32_t none = kNone;
    code_.compare_exchange_strong(none, code, std::memory_order_acq_rel);
  }

  std::atomic<int32_t> code_{kNone};
};

class TranscoderFaultTest : public ::testing::TestWithParam<ThreadStartFault> {
 protected:
  TranscoderFaultTest() {
    RecordBuilder(dir_).Start(0).Channel(0, kCamera).Attributes(0, 640, 360).Key(0).Stop(1).Write();
  }

  TempDir dir_;
};

TEST_P(TranscoderFaultTest, AFailedStartLeavesNothingRunningAndTellsTheObserver) {
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    SilentFactory factory;
    FirstCode observer;
    FirstCode next_observer;
    SpeakerRecordTranscoderImp transcoder;
    bool started = false;
    run = RunWithFault(GetParam().fault, nth, [&] {
      started = transcoder.StartTranscoding(dir_.path().c_str(), "out.mp4", &observer, &factory);
    });
    EXPECT_EQ("", run.thrown);
    if (!run.failed) {
      EXPECT_TRUE(started);
      break;
    }
    // A statement that finds no memory is lost; the start goes on.
    if (started) {
      ASSERT_TRUE(observer.WaitForCode());
    } else {
      EXPECT_THAT(observer.code(), AnyOf(kTranscodeErrorOpenRecord, kTranscodeErrorReplay));
      EXPECT_FALSE(transcoder.PauseTranscoding());
      const int32_t code = observer.code();
      if (Mp4SinkWriterObserver* library = factory.writer.observer()) {
        library->OnError(kMp4SinkWriterFatalError);  // Comes too late to be told.
      }
      EXPECT_EQ(code, observer.code());
    }
    // The object is as good as new.
    ASSERT_TRUE(
        transcoder.StartTranscoding(dir_.path().c_str(), "out.mp4", &next_observer, &factory));
    ASSERT_TRUE(next_observer.WaitForCode());
    EXPECT_EQ(0, next_observer.code());
    transcoder.StopTranscoding();
    EXPECT_EQ(factory.created, factory.released);
    EXPECT_EQ(factory.created, factory.writer.stops);
  }
  EXPECT_GT(nth, 1);
}

INSTANTIATE_TEST_SUITE_P(Faults, TranscoderFaultTest, ::testing::ValuesIn(kThreadStartFaults),
                         [](const auto& param_info) { return param_info.param.name; });

TEST_F(TranscoderFaultTest, AWorkerThatCannotBeStartedIsErrorFour) {
  SilentFactory factory;
  FirstCode observer;
  SpeakerRecordTranscoderImp transcoder;
  ScopedLogCapture log;
  bool started = true;
  const FaultRun run = RunWithFault(Fault::kThreadCreation, 1, [&] {
    started = transcoder.StartTranscoding(dir_.path().c_str(), "out.mp4", &observer, &factory);
  });
  EXPECT_TRUE(run.failed);
  EXPECT_EQ("", run.thrown);
  EXPECT_FALSE(started);
  EXPECT_EQ(kTranscodeErrorReplay, observer.code());
  EXPECT_THAT(log.problems(),
              ElementsAre("ERROR thread constructor failed: Resource temporarily unavailable",
                          "ERROR failed in worker_.Start", "ERROR failed in Initialize"));
}

// The worker's allocations too: a replay that finds no memory is error 4.
TEST_F(TranscoderFaultTest, AReplayWithoutMemoryEndsWithAnErrorCode) {
  FaultRun run;
  bool saw_replay_fail = false;
  for (int nth = 1;; ++nth) {
    SilentFactory factory;
    FirstCode observer;
    SpeakerRecordTranscoderImp transcoder;
    run = RunWithFault(
        Fault::kAllocation, nth,
        [&] {
          const bool started =
              transcoder.StartTranscoding(dir_.path().c_str(), "out.mp4", &observer, &factory);
          EXPECT_TRUE(observer.WaitForCode());
          saw_replay_fail = saw_replay_fail || (started && observer.code() != 0);
        },
        FaultThreads::kAll);
    EXPECT_EQ("", run.thrown);
    EXPECT_THAT(observer.code(), AnyOf(0, kTranscodeErrorOpenRecord, kTranscodeErrorReplay));
    if (!run.failed) break;
  }
  EXPECT_TRUE(saw_replay_fail);
}

TEST_F(TranscoderFaultTest, TheOtherOperationsAnswerFalseWhenMemoryRunsOut) {
  const std::string long_path(1000, 'x');
  FaultRun run;
  for (int nth = 1;; ++nth) {
    SpeakerRecordTranscoderImp transcoder;
    long long size = -1;
    bool estimated = false;
    bool stored = false;
    run = RunWithFault(Fault::kAllocation, nth, [&] {
      estimated = transcoder.EstimateOutputSize(dir_.path().c_str(), &size);
      stored = transcoder.SetTRVVlogPath(long_path.c_str());
      (void)transcoder.SetPreferHW(true);
      (void)transcoder.SetD3dManger(nullptr, nullptr);
      (void)transcoder.SetDx9Caps(1);
      (void)transcoder.PauseTranscoding();
      (void)transcoder.ResumeTranscoding();
      (void)transcoder.StopTranscoding();
    });
    if (!estimated) {
      EXPECT_EQ(0, size);
    }
    if (!run.failed) {
      EXPECT_TRUE(estimated);
      EXPECT_TRUE(stored);
      break;
    }
    EXPECT_EQ("", run.thrown);
  }
}

TEST_F(TranscoderFaultTest, CreationThrowsOnlyForWantOfMemoryAndStoresNoPartialObject) {
  FaultRun run;
  for (int nth = 1;; ++nth) {
    void* object = nullptr;
    run = RunWithFault(Fault::kAllocation, nth, [&] { CreateSpeakerRecordTranscoder(&object); });
    if (!run.failed) {
      ASSERT_NE(nullptr, object);
      EXPECT_TRUE(ReleaseSpeakerRecordTranscoder(object));
      break;
    }
    if (run.thrown.empty()) {
      ReleaseSpeakerRecordTranscoder(object);
    } else {
      EXPECT_EQ("std::bad_alloc", run.thrown);
      EXPECT_EQ(nullptr, object);
    }
  }
}

}  // namespace
}  // namespace kxrtc
