// Fails each allocation of the descriptor's operations in turn.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::ReadFile;
using ::kx_testing::RecordBuilder;
using ::kx_testing::RunWithFault;
using ::kx_testing::TempDir;

class DescriptorFaultTest : public ::testing::Test {
 protected:
  DescriptorFaultTest() { RecordBuilder(dir_).Start(0).Audio(1).Stop(2).Start(3).Stop(4).Write(); }

  TempDir dir_;
  const std::string path_ = SpeakerRecordFilePath(dir_.path(), kDescriptorFileExtension);
};

// `load` fills a reader from the descriptor at `path`, whose text it may take.
template <typename Load>
void ExpectAllOrNothing(const std::string& path, Load load) {
  FaultRun run;
  int nth = 1;
  do {
    SpeakerRecordDescReader reader;
    ASSERT_TRUE(reader.Initialize(path));
    std::string text = ReadFile(path);
    bool loaded = false;
    run = RunWithFault(Fault::kAllocation, nth++, [&] { loaded = load(&reader, &text); });
    EXPECT_EQ("", run.thrown) << nth;
    SpeakerRecordOverall overall;
    EXPECT_EQ(loaded, reader.GetSpeakerRecordOverall(&overall)) << nth;
    EXPECT_TRUE(loaded || run.failed);
  } while (run.failed);
  EXPECT_GT(nth, 2);
}

TEST_F(DescriptorFaultTest, AReaderWithoutMemoryHoldsNothing) {
  ExpectAllOrNothing(path_, [this](SpeakerRecordDescReader* reader, std::string*) {
    return reader->Initialize(path_);
  });
}

TEST_F(DescriptorFaultTest, AReaderOfTextWithoutMemoryHoldsNothing) {
  ExpectAllOrNothing(path_, [](SpeakerRecordDescReader* reader, std::string* text) {
    return reader->InitializeFromText(std::move(*text));
  });
}

TEST_F(DescriptorFaultTest, AWriterWithoutMemoryThrowsNothing) {
  const std::string path = dir_.path() + "written.desc";
  FaultRun run;
  int nth = 1;
  do {
    run = RunWithFault(Fault::kAllocation, nth++, [&path] {
      SpeakerRecordDescWriter writer;
      (void)writer.Initialize(path);
      writer.SetAudioFormat(2, 0, 0);
      for (int session = 0; session < 3; ++session) {
        writer.OnRecordStart(session * 10);
        writer.OnVideoSwitch(true, session * 10 + 1);
        writer.OnRecordVideoFrame(session * 10 + 2);
        writer.OnRecordAudioFrame(session * 10 + 3);
        writer.OnRecordStop(session * 10 + 4);
      }
    });
    EXPECT_EQ("", run.thrown) << nth;
    SpeakerRecordDescReader reader;
    EXPECT_TRUE(reader.Initialize(path)) << nth;
  } while (run.failed);
  EXPECT_GT(nth, 2);
}

}  // namespace
}  // namespace kxrtc
