// What the replay is predicted to do is what the library's replay does.
#include "record/predict/replay_simulator.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "record/predict/replayed_pictures.h"
#include "tests/testing/random_record.h"
#include "tests/testing/replay_calls.h"

namespace kxrtc_host {
namespace {

using kx_testing::PredictReplay;
using kx_testing::ReplayCall;
using kx_testing::ReplayCalls;
using kx_testing::RunReplay;
using kx_testing::TempDir;

// Records of any order and timing, valid or not: the real replay makes the same calls.
TEST(ReplaySimulatorTest, AgreesWithTheReplayOnRandomRecords) {
  std::mt19937_64 random(20240607);
  for (int round = 0; round < 300; ++round) {
    const TempDir dir;
    kx_testing::WriteRandomRecord(&random, dir);
    const ReplayCalls calls = RunReplay(dir.path());
    ASSERT_EQ(PredictReplay(dir.path()), calls) << "round " << round;
    RecordFiles files;
    files.Open(dir.path());
    const auto pictures =
        std::count_if(calls.calls.begin(), calls.calls.end(),
                      [](const ReplayCall& call) { return call.kind == ReplayCall::Kind::kVideo; });
    ASSERT_EQ(CountReplayedPictures(&files), static_cast<uint64_t>(pictures)) << "round " << round;
  }
}

}  // namespace
}  // namespace kxrtc_host
