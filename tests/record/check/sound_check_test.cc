#include "record/check/sound_check.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "record/check/adts.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kAudioRecord;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::WithAdts;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Refuses the frames "bad" and keeps what it was asked.
class FakeExaminer final : public SoundExaminer {
 public:
  bool Begin(uint32_t object_type, uint32_t channel_count) override {
    asked.push_back("type " + std::to_string(object_type) + ", " + std::to_string(channel_count) +
                    " channels");
    return has_decoder;
  }

  bool Decodes(const uint8_t* data, uint32_t size) override {
    asked.emplace_back(reinterpret_cast<const char*>(data), size);
    return asked.back() != "bad";
  }

  bool has_decoder = true;
  std::vector<std::string> asked;
};

class SoundCheckTest : public ::testing::Test {
 protected:
  RecordBuilder& Audio(const std::string& bytes) { return builder_.Audio(time_ += 21333, bytes); }

  RecordSummary Analyse() {
    builder_.Stop(time_ + 1).Write();
    AnalysisOptions options;
    options.sound_examiner = &examiner_;
    return AnalyseRecord(dir_.path(), options);
  }

  std::vector<std::string> Told() {
    std::vector<std::string> told;
    for (const Finding& finding : Analyse().findings.Sorted()) {
      if (finding.code != FindingCode::kAudioUndecodable) continue;
      told.push_back(std::to_string(finding.time_us.value_or(-1)) + ": " +
                     finding.text.substr(0, finding.text.find(':')));
    }
    return told;
  }

  const TempDir dir_;
  RecordBuilder builder_ = RecordBuilder(dir_).Start(0).Channel(1, 0);
  FakeExaminer examiner_;
  int64_t time_ = 0;
};

TEST_F(SoundCheckTest, TellsEachRunOfFramesThatDoNotDecode) {
  for (const char* frame : {"one", "bad", "bad", "two", "bad"}) Audio(WithAdts(frame));
  EXPECT_THAT(
      Told(),
      ElementsAre("42666: 2 audio frames in a row, the first at 10 of .aac, cannot be decoded",
                  "106665: 1 audio frame in a row, the first at 40 of .aac, cannot be "
                  "decoded"));
}

TEST_F(SoundCheckTest, FindsNothingInALongHealthyRecord) {
  for (int i = 0; i < 300; ++i) Audio(WithAdts("fine"));
  const RecordSummary summary = Analyse();
  EXPECT_TRUE(summary.sound_examined);
  EXPECT_EQ(summary.findings.count(FindingCode::kAudioUndecodable), 0u);
  EXPECT_EQ(examiner_.asked.size(), 301u);
}

TEST_F(SoundCheckTest, LooksAtTheFramesThatTheMp4Contains) {
  Audio(WithAdts("one"));
  Audio("no header");
  Audio(WithAdts("other rate", 2, 4));
  Audio(WithAdts("other channels", 1));
  Audio("");
  Audio(WithAdts(""));
  Audio(std::string(kMaxAacFrameSize + 1, 'x'));
  builder_.DataRecord(kAudioRecord, time_ += 21333, 1 << 20, 10);  // After the end of the file.
  Audio(WithAdts("two"));
  EXPECT_THAT(Told(), IsEmpty());
  EXPECT_THAT(examiner_.asked, ElementsAre("type 2, 2 channels", "one", "two"));
}

// What the index names in vain is no sound: it neither ends a run nor counts as a good frame.
TEST_F(SoundCheckTest, ARunGoesOnBehindFramesThatAreNotInTheFile) {
  Audio(WithAdts("one"));
  Audio(WithAdts("bad"));
  builder_.DataRecord(kAudioRecord, time_ += 21333, 1 << 20, 10);
  Audio(WithAdts("bad"));
  EXPECT_THAT(Told(), ElementsAre("42666: 2 audio frames in a row, the first at 10 of .aac, cannot "
                                  "be decoded"));
}

TEST_F(SoundCheckTest, ARawFrameThatIsNotInTheFileShowsNoSound) {
  builder_.DataRecord(kAudioRecord, time_ += 21333, 1 << 20, 10);
  for (const char* frame : {"bad", "one"}) Audio(frame);
  const RecordSummary summary = Analyse();
  EXPECT_EQ(summary.findings.count(FindingCode::kAudioLeftOut), 1u);
  EXPECT_EQ(summary.findings.count(FindingCode::kAudioUndecodable), 0u);
}

TEST_F(SoundCheckTest, LooksAtRawFrames) {
  Audio("one");
  Audio(std::string(kMaxAacFrameSize, 'x'));
  Audio(std::string(kMaxAacFrameSize + 1, 'x'));
  Audio("two");
  EXPECT_THAT(Told(), ElementsAre("63999: 1 audio frame in a row, the first at 8194 of .aac, "
                                  "cannot be decoded"));
  // The first frame once more, as the MP4 writer recognises the sound by it.
  EXPECT_EQ(examiner_.asked.size(), 6u);
}

TEST_F(SoundCheckTest, RawFramesBeforeTheFirstGoodOneAreLeftOut) {
  for (const char* frame : {"bad", "bad", "one", "bad"}) Audio(frame);
  EXPECT_THAT(Told(), ElementsAre("85332: 1 audio frame in a row, the first at 9 of .aac, cannot "
                                  "be decoded"));
  EXPECT_EQ(Analyse().findings.count(FindingCode::kAudioLeftOut), 1u);
}

TEST_F(SoundCheckTest, SaysWhetherTheSoundWasExamined) {
  Audio(WithAdts("one"));
  EXPECT_TRUE(Analyse().sound_examined);
  EXPECT_FALSE(AnalyseRecord(dir_.path()).sound_examined);
  examiner_.has_decoder = false;
  AnalysisOptions options;
  options.sound_examiner = &examiner_;
  EXPECT_FALSE(AnalyseRecord(dir_.path(), options).sound_examined);
}

TEST_F(SoundCheckTest, NotesTheFramesThatDoNotDecode) {
  for (const char* frame : {"one", "bad", "bad", "two", "bad"}) Audio(WithAdts(frame));
  Analyse();
  DamagedSound damaged;
  AnalysisOptions options;
  options.sound_examiner = &examiner_;
  options.damaged_sound = &damaged;
  (void)AnalyseRecord(dir_.path(), options);
  const std::vector<bool> expected = {false, true, true, false, true, false};
  for (uint64_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(damaged.Contains(i * 10), expected[i]) << i;
    EXPECT_EQ(damaged.Contains(i * 10 + 9), expected[i]) << i;
  }
}

TEST_F(SoundCheckTest, AsksNothingAboutSoundThatIsRefused) {
  Audio(WithAdts("one", 2, 4));
  EXPECT_FALSE(Analyse().sound_examined);
  EXPECT_THAT(examiner_.asked, IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
