// A speaker timeline for whose lines there is no memory.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "record/speakers/speaker_timeline_writer.h"
#include "record/speakers/timeline_reader.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::Fault;
using kx_testing::FaultRun;
using kx_testing::RunWithFault;
using kx_testing::TempDir;

TEST(SpeakerTimelineWriterFaultTest, EndsWithWholeLinesAndThrowsNothing) {
  constexpr size_t kWholeLines = 7;
  const std::string name = "a name that does not fit into a string object itself";
  const std::vector<uint32_t> speaking = {1, 2};
  FaultRun run;
  int nth = 1;
  do {
    const TempDir dir;
    SpeakerTimelineWriter writer(nullptr);
    std::string error;
    ASSERT_TRUE(writer.Create(dir.path(), "Weekly", &error)) << error;
    run = RunWithFault(Fault::kAllocation, nth, [&] {
      (void)writer.Join(1, name);
      writer.OnRecordingStarted(10);
      writer.SetSpeaking(speaking);
      writer.OnChannelSelected({20, 11, 1, 2, kxrtc::SelectionReason::kAnotherSpeaker});
      writer.Leave(1);
      writer.OnRecordingStopped(30);
    });
    EXPECT_EQ(run.thrown, "");
    EXPECT_EQ(writer.Close(), !run.failed) << nth;
    EXPECT_EQ(writer.error(), run.failed
                                  ? dir.File(kSpeakerTimelineFileName) +
                                        ": cannot be written: out of memory; the names end here"
                                  : "");
    TimelineReader reader;
    ASSERT_TRUE(reader.Open(dir.path()));
    size_t lines = 0;
    auto step = reader.Next();
    for (; step == TimelineReader::Step::kEntry; step = reader.Next()) ++lines;
    EXPECT_EQ(step, TimelineReader::Step::kEnd);
    EXPECT_TRUE(run.failed ? lines < kWholeLines : lines == kWholeLines) << nth << ' ' << lines;
    ++nth;
  } while (run.failed);
  EXPECT_GT(nth, 20);
}

}  // namespace
}  // namespace kxrtc_host
