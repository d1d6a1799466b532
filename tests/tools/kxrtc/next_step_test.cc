// The command that kxrtc verify names as the next step, and what it says about it.
#include <gmock/gmock.h>
#include <json/json.h>

#include <filesystem>
#include <memory>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RecordBuilder;
using kx_testing::RunKxrtc;
using kx_testing::TempDir;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class NextStepTest : public testing::Test {
 protected:
  std::string Verify() { return RunKxrtc("verify " + Quoted(record_.path())).output; }

  static Json::Value Document(const std::string& arguments) {
    const std::string text = RunKxrtc(arguments).output;
    Json::Value root;
    std::string problem;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &problem)) << problem;
    return root;
  }

  TempDir record_;
  TempDir target_;
};

TEST_F(NextStepTest, AWholeRecordIsTranscoded) {
  kx_testing::TwoSessions(record_).Write();
  EXPECT_THAT(Verify(),
              AllOf(HasSubstr("\n  next: kxrtc transcode " + record_.path() + " OUT.mp4\n"),
                    Not(HasSubstr("no sound")), Not(HasSubstr("keeps"))));
  EXPECT_FALSE(Document("verify --json " + Quoted(record_.path())).isMember("repair"));
}

TEST_F(NextStepTest, ADamagedRecordIsRepairedAndKeepsWhatIsSaid) {
  RecordBuilder builder = kx_testing::TwoSessions(record_);
  const uint64_t end = builder.audio().size();
  builder.Start(3000000).Audio(3021333, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
  builder.DataRecord(kx_testing::kAudioRecord, 3042666, end + 13, 13).Write();
  EXPECT_THAT(Verify(), HasSubstr("\n  next: kxrtc repair " + record_.path() +
                                  " NEW_DIR keeps 0.164664 s of 0.185997 s, without 1 audio "
                                  "frame; then kxrtc transcode NEW_DIR OUT.mp4\n"));
  const Json::Value said = Document("verify --json " + Quoted(record_.path()))["repair"];
  EXPECT_TRUE(said["possible"].asBool());
  const std::string folders = Quoted(record_.path()) + " " + Quoted(target_.File("new"));
  const Json::Value done = Document("repair --json " + folders);
  for (const char* member : {"kept", "recorded_us", "lost_video_frames", "lost_audio_frames",
                             "lost_count", "added_count", "moved_count"}) {
    EXPECT_EQ(said[member], done[member]) << member;
  }
  EXPECT_EQ(said["recorded_us"].asInt(), 185997);
  EXPECT_EQ(said["lost_count"].asInt(), 1);
  const std::string repaired = Quoted(target_.File("new"));
  EXPECT_EQ(Document("info --json " + repaired)["recorded_us"], said["kept"]["recorded_us"]);
  EXPECT_THAT(RunKxrtc("info " + repaired).output,
              HasSubstr("\nrecorded   0.164664 s of sound or pictures\n"));
  EXPECT_THAT(
      RunKxrtc("repair " + Quoted(record_.path()) + " " + Quoted(target_.File("again"))).output,
      HasSubstr(", 0.164664 s of 0.185997 s\n"));
}

TEST_F(NextStepTest, ARepairThatNeedsTheChannelCountAsksForIt) {
  RecordBuilder(record_).Start(0).Audio(21333, "raw audio").Stop(30000).Write();
  std::filesystem::remove(record_.File("SpeakeRecord.desc"));
  EXPECT_THAT(Verify(), HasSubstr(" NEW_DIR --channels N keeps 0.021333 s of 0.021333 s; then "));
}

TEST_F(NextStepTest, AnEmptyIndexIsMadeNew) {
  kx_testing::TwoSessions(record_).Write();
  kx_testing::WriteFile(record_.File("SpeakeRecord.index"), "");
  EXPECT_THAT(Verify(), HasSubstr("\n  next: kxrtc repair " + record_.path() + " NEW_DIR keeps "));
}

TEST_F(NextStepTest, WhatCannotBeRepairedHasNone) {
  EXPECT_THAT(RunKxrtc("verify " + Quoted(record_.File("missing"))).output,
              AllOf(Not(HasSubstr("next:")), HasSubstr("not clean: 1 error, 0 warnings\n")));
  RecordBuilder(record_).RawIndex("torn").Write();
  EXPECT_THAT(Verify(), Not(HasSubstr("next:")));
}

}  // namespace
