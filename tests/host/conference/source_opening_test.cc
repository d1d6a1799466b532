#include "host/conference/source_opening.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>

#include "kx_utility/event.h"

namespace kxrtc_host {
namespace {

constexpr int kDeadlineMs = 20000;
constexpr int64_t kLongUs = int64_t{kDeadlineMs} * 1000;

SourceOpening::Open Opens(MediaProblem problem, const std::string& why = "") {
  return [problem, why](std::string* error) {
    *error = why;
    return problem;
  };
}

int64_t MsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               begin)
      .count();
}

TEST(SourceOpeningTest, OpensAllSourcesAtOnce) {
  kx_utility::Event second_runs(true, false);
  SourceOpening opening;
  std::string error;
  EXPECT_EQ(opening.Wait(kLongUs, &error), MediaProblem::kNone);
  opening.Begin("a", [&](std::string*) {
    EXPECT_TRUE(second_runs.Wait(kDeadlineMs));
    return MediaProblem::kNone;
  });
  opening.Begin("b", [&](std::string*) {
    second_runs.Set();
    return MediaProblem::kNone;
  });
  EXPECT_EQ(opening.Wait(kLongUs, &error), MediaProblem::kNone);
  EXPECT_EQ(error, "");
}

TEST(SourceOpeningTest, TellsTheFirstProblemInTheOrderOfTheSources) {
  SourceOpening opening;
  opening.Begin("a", Opens(MediaProblem::kNone));
  opening.Begin("b", Opens(MediaProblem::kWrongCodec, "b: the video is mpeg4"));
  opening.Begin("c", Opens(MediaProblem::kUnreadable, "c: cannot be opened"));
  std::string error;
  EXPECT_EQ(opening.Wait(kLongUs, &error), MediaProblem::kWrongCodec);
  EXPECT_EQ(error, "b: the video is mpeg4");
}

// Ends Wait() of a source that does not come back.
struct Impatience {
  const char* name;
  int64_t timeout_us;
  bool cancel;
};

class SourceOpeningStuckTest : public ::testing::TestWithParam<Impatience> {};

TEST_P(SourceOpeningStuckTest, LeavesASourceBehindThatDoesNotComeBack) {
  kx_utility::Event answer(true, false);
  const auto begin = std::chrono::steady_clock::now();
  {
    SourceOpening opening;
    opening.Begin("a", Opens(MediaProblem::kNone));
    opening.Begin("b", [&](std::string*) {
      EXPECT_TRUE(answer.Wait(kDeadlineMs));
      return MediaProblem::kNone;
    });
    std::thread canceller([&] {
      if (GetParam().cancel) opening.Cancel();
    });
    std::string error;
    EXPECT_EQ(opening.Wait(GetParam().timeout_us, &error), MediaProblem::kUnreadable);
    EXPECT_EQ(error, "b: cannot be opened: no data within the time allowed");
    canceller.join();
    EXPECT_LT(MsSince(begin), kDeadlineMs / 2);
    answer.Set();
  }
}

INSTANTIATE_TEST_SUITE_P(Ends, SourceOpeningStuckTest,
                         ::testing::Values(Impatience{"Timeout", 1000, false},
                                           Impatience{"Cancel", kLongUs, true}),
                         [](const auto& param_info) { return param_info.param.name; });

}  // namespace
}  // namespace kxrtc_host
