// What the replay is predicted to do is what the library's replay does.
#include "record/predict/replay_simulator.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "record/predict/replayed_pictures.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/replay_calls.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::PredictReplay;
using kx_testing::RecordBuilder;
using kx_testing::ReplayCall;
using kx_testing::ReplayCalls;
using kx_testing::RunReplay;
using kx_testing::TempDir;

// Records of any order and timing, valid or not: the real replay makes the same calls.
TEST(ReplaySimulatorTest, AgreesWithTheReplayOnRandomRecords) {
  std::mt19937_64 random(20240607);
  for (int round = 0; round < 300; ++round) {
    const TempDir dir;
    RecordBuilder builder(dir);
    int64_t time_us = static_cast<int64_t>(random() % 1000);
    builder.Start(time_us);
    const int records = static_cast<int>(random() % 120);
    for (int i = 0; i < records; ++i) {
      const int64_t steps[] = {1, 21333, 40000, 600000, -50000, 6000000};
      time_us += steps[random() % 20 < 17 ? random() % 3 : random() % 6];
      switch (random() % 32) {
        case 0:
          builder.Channel(time_us, kCamera);
          break;
        case 1:
          builder.Channel(time_us, random() % 4 ? kDesktop : 0);
          break;
        case 2:
          if (random() % 4 == 0) builder.Stop(time_us).Start(time_us + 5);
          break;
        case 3:
          builder.Attributes(time_us, 320, 180, 90);
          break;
        case 4:
          if (random() % 20 == 0) builder.RawIndex("garbage");
          break;
        default:
          if (random() % 3) {
            builder.Audio(time_us);
          } else if (random() % 4) {
            builder.Delta(time_us);
          } else {
            builder.Key(time_us);
          }
      }
    }
    builder.Stop(time_us + 1).Write();
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
