// A host that calls the recorder back where it is told of something, and one that throws there.
#include <gmock/gmock.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>

#include "kx_utility/logging.h"
#include "tests/testing/recorded_conference.h"

namespace kxrtc {
namespace {

using ::kx_testing::RecordedConference;

// Calls `answer` once, from inside the first statement that has `text`. The sink of the process
// while it lives.
class AnsweringSink final : public kx_utility::LogSink {
 public:
  AnsweringSink(std::string text, std::function<void()> answer)
      : text_(std::move(text)), answer_(std::move(answer)) {
    kx_utility::LogMessage::AddLogSink(this);
  }
  ~AnsweringSink() override { kx_utility::LogMessage::AddLogSink(nullptr); }

  bool answered() const { return answered_; }

  void OnLogMessage(const char* message, kx_utility::LoggingSeverity) override {
    if (answered_ || std::string(message).find(text_) == std::string::npos) return;
    answered_ = true;
    answer_();
  }
  void SetDumpScopeLog(bool) override {}

 private:
  const std::string text_;
  const std::function<void()> answer_;
  bool answered_ = false;
};

struct MessageCase {
  const char* name;
  bool initialized;
  const char* text;
  std::function<bool(RecordedConference*)> call;
};

class RecorderMessageTest : public ::testing::TestWithParam<MessageCase> {};

// Every one of them waits for all entries to end.
TEST_P(RecorderMessageTest, IsLoggedOutsideOfTheEntry) {
  RecordedConference conference;
  const auto initialize = [&] {
    return conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr);
  };
  if (GetParam().initialized) {
    ASSERT_TRUE(initialize());
    conference.StartAndDrain();
  }
  AnsweringSink sink(GetParam().text, [&] { EXPECT_TRUE(initialize()); });
  EXPECT_FALSE(GetParam().call(&conference));
  EXPECT_TRUE(sink.answered());
  EXPECT_TRUE(conference.recorder.StartRecording());
  conference.recorder.Finalize();
}

INSTANTIATE_TEST_SUITE_P(
    Messages, RecorderMessageTest,
    ::testing::Values(
        MessageCase{"StartBeforeInitialize", false, "non-inited",
                    [](auto* conference) { return conference->recorder.StartRecording(); }},
        MessageCase{"StopBeforeInitialize", false, "non-inited",
                    [](auto* conference) { return conference->recorder.StopRecording(); }},
        MessageCase{"NoMapping", true, "parameters are nullptr",
                    [](auto* conference) {
                      return conference->recorder.UpdateVideoSsrcMapping(true, nullptr, nullptr,
                                                                         nullptr, 1);
                    }},
        MessageCase{"NoVoices", true, "parameters are nullptr",
                    [](auto* conference) {
                      return conference->recorder.UpdateVoiceActivity(nullptr, nullptr, 1);
                    }},
        MessageCase{
            "NoImage", true, "parameters are nullptr",
            [](auto* conference) { return conference->recorder.OnEncodedFrame(nullptr, 11); }},
        MessageCase{"NoFrame", true, "parameters are nullptr",
                    [](auto* conference) { return conference->recorder.OnEncodedData(nullptr); }},
        MessageCase{"NoPayload", true, "data is null",
                    [](auto* conference) {
                      EncodedImage image;
                      image.length = 5;
                      return conference->recorder.OnEncodedFrame(&image, 11);
                    }},
        MessageCase{"NoPayloadTold", true, "failed in frame.data.SetData",
                    [](auto* conference) {
                      EncodedImage image;
                      image.length = 5;
                      return conference->recorder.OnEncodedFrame(&image, 11);
                    }}),
    [](const auto& param_info) { return param_info.param.name; });

// Even what the recorder itself would survive.
TEST(RecorderThrowingHostDeathTest, EndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        RecordedConference conference;
        conference.mixer.on_start = [] { throw std::bad_alloc(); };
        (void)conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr);
        conference.recorder.StartRecording();
        conference.recorder.Finalize();
      },
      "bad_alloc");
  EXPECT_DEATH(
      {
        RecordedConference conference;
        conference.mixer.on_stop = [] { throw std::runtime_error("of the host"); };
        (void)conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr);
        try {
          conference.recorder.Finalize();
        } catch (const std::runtime_error&) {
        }
      },
      "of the host");
}

}  // namespace
}  // namespace kxrtc
