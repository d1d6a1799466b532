// Fails each allocation of a whole recording in turn, those of the task thread included.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kx_utility/file.h"
#include "kx_utility/thread.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_recorder.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/quiet_host.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::DumpRecord;
using ::kx_testing::ErrorCounter;
using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::FaultThreads;
using ::kx_testing::IsSubsequence;
using ::kx_testing::QuietFrame;
using ::kx_testing::QuietImage;
using ::kx_testing::QuietMixer;
using ::kx_testing::RunWithFault;

using Lines = std::vector<std::string>;

constexpr const char* kFiles[] = {"SpeakeRecord.264", "SpeakeRecord.aac", "SpeakeRecord.index",
                                  "SpeakeRecord.desc"};

// What is missing from the record is what found no memory; what stands in it is whole.
TEST(RecorderTaskSweepTest, WritesAWholeRecordWhateverTaskFindsNoMemory) {
  const Lines whole = {"start", "channel 2", "attributes 640x360 r0", "video \1\2\3", "audio audio",
                       "stop",  "start"};
  const kx_testing::TempDir dir;
  const std::string path = dir.path();
  ErrorCounter errors;
  QuietMixer mixer;
  const EncodedImage image = QuietImage();
  const uint32_t ssrc = 11;
  const uint32_t user = 1;
  const auto type = PeerConnectionConductor::kCamera;
  const auto record = [&](SpeakerRecorder* recorder) {
    QuietFrame audio;
    recorder->UpdateVideoSsrcMapping(false, &ssrc, &user, &type, 1);
    recorder->StartRecording();
    // Frames are accepted once something is recorded. Nothing tells when the task has ended.
    while (recorder->QueuedTasks() != 0) kx_utility::Thread::Sleep(1);
    kx_utility::Thread::Sleep(2);
    recorder->OnEncodedFrame(&image, 11);
    recorder->OnEncodedData(&audio);
    recorder->StopRecording();
    recorder->StartRecording();
    recorder->Finalize();
  };
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE(nth);
    // New files are much cheaper than truncated ones, which some file systems flush.
    for (const char* name : kFiles) kx_utility::File::Remove(dir.File(name));
    SpeakerRecorder recorder;
    ASSERT_TRUE(recorder.Initialize(path, &mixer, nullptr));
    run = RunWithFault(
        Fault::kAllocation, nth, [&] { record(&recorder); }, FaultThreads::kAll);
    ASSERT_EQ("", run.thrown);
    ASSERT_EQ(0, mixer.handed_out);
    // The descriptor is whole as well, although it may be an earlier one.
    SpeakerRecordDescReader reader;
    const std::string descriptor = dir.File("SpeakeRecord.desc");
    ASSERT_TRUE(kx_testing::ReadFile(descriptor).empty() || reader.Initialize(descriptor));
    const Lines lines = DumpRecord(path);
    if (!run.failed) {
      EXPECT_EQ(whole, lines);
      break;
    }
    ASSERT_GE(errors.Take(), 1);
    ASSERT_TRUE(IsSubsequence(lines, whole)) << testing::PrintToString(lines);
  }
  EXPECT_GT(nth, 50);
}

}  // namespace
}  // namespace kxrtc
