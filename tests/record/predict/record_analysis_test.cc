#include "record/predict/record_analysis.h"

#include <gmock/gmock.h>
#include <json/value.h>

#include <filesystem>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/index/frame_limit.h"
#include "record/index/record_files.h"
#include "record/predict/size_estimate.h"
#include "record/show/record_documents.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::AdtsFrame;
using kx_testing::kAdts44100;
using kx_testing::kAdts48000;
using kx_testing::kAudioRecord;
using kx_testing::kCamera;
using kx_testing::kDesktop;
using kx_testing::KeyFrame640x360;
using kx_testing::kVideoRecord;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using kx_testing::TwoSessions;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

// A session with a picture and `frame` as its sound, the descriptor telling `channels`.
RecordSummary WithAudio(const TempDir& dir, const std::string& frame, const char* channels) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1000, kCamera).Attributes(2000, 640, 360).Video(3000, KeyFrame640x360());
  builder.Audio(21333, frame).Stop(50000).Write();
  std::string text = builder.Descriptor();
  const std::string key = "\"audio_channel_count\":";
  const size_t at = text.find(key);
  EXPECT_NE(at, std::string::npos) << text;
  text.replace(at + key.size(), 1, channels);
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), text);
  return AnalyseRecord(dir.path());
}

struct RefusalCase {
  const char* name;
  std::string frame;
  const char* channels;
  const char* refusal;
};

class RefusalTest : public testing::TestWithParam<RefusalCase> {};

TEST_P(RefusalTest, IsToldBeforehand) {
  const TempDir dir;
  const RecordSummary summary = WithAudio(dir, GetParam().frame, GetParam().channels);
  EXPECT_EQ(summary.replay.refusal, GetParam().refusal);
  EXPECT_TRUE(summary.replay.completes);
  EXPECT_EQ(summary.findings.count(FindingCode::kReplayRefused), *GetParam().refusal ? 1u : 0u);
  EXPECT_EQ(VerifyDocument(summary)["replay"].isMember("refusal"), *GetParam().refusal != 0);
}

INSTANTIATE_TEST_SUITE_P(
    Audio, RefusalTest,
    testing::Values(RefusalCase{"Adts", AdtsFrame(kAdts48000, 2), "2", ""},
                    RefusalCase{"AdtsOfUnknownChannels", AdtsFrame(kAdts48000, 0), "2", ""},
                    RefusalCase{"AdtsWithoutChannels", AdtsFrame(kAdts48000, 0), "0",
                                "the audio has 0 channels, which MP4 cannot represent"},
                    RefusalCase{"AdtsThatKnowsBetter", AdtsFrame(kAdts48000, 2), "0", ""},
                    RefusalCase{
                        "OtherRate", AdtsFrame(kAdts44100, 2), "2",
                        "the audio has 44100 samples a second, but a record must have 48000"},
                    RefusalCase{"Raw", "raw audio", "2", ""},
                    RefusalCase{"RawWithoutChannels", "raw audio", "0",
                                "the audio has 0 channels, which MP4 cannot represent"},
                    RefusalCase{"RawOfTooManyChannels", "raw audio", "9",
                                "the audio has 9 channels, which MP4 cannot represent"},
                    RefusalCase{"Empty", "", "0", ""}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(RecordAnalysisTest, ForeseesThatAFrameIsTooLarge) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  builder.DataRecord(kVideoRecord, 3, 0, kMaxFrameBytes + 1).Stop(4).Write();
  std::filesystem::resize_file(dir.File("SpeakeRecord.264"), kMaxFrameBytes + 1);
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.replay.refusal,
            "at index offset 52: a frame has 67108865 bytes, the limit is 67108864");
  EXPECT_EQ(summary.findings.Verdict(), Severity::kError);
}

TEST(RecordAnalysisTest, ForeseesThatTheReplayDoesNotStart) {
  for (const char* extension : {".264", ".aac", ".desc"}) {
    const TempDir dir;
    TwoSessions(dir).Write();
    std::filesystem::remove(dir.File(std::string("SpeakeRecord") + extension));
    const RecordSummary summary = AnalyseRecord(dir.path());
    EXPECT_FALSE(summary.replay.completes);
    EXPECT_EQ(summary.replay.failure,
              dir.File(std::string("SpeakeRecord") + extension) +
                  ": No such file or directory; kxrtc repair makes a record of the other files");
    EXPECT_EQ(summary.findings.count(FindingCode::kReplayFailed), 1u);
  }
  const TempDir dir;
  TwoSessions(dir).Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), "{");
  EXPECT_EQ(AnalyseRecord(dir.path()).replay.failure,
            dir.File("SpeakeRecord.desc") +
                ": the descriptor is not a JSON document: line 1, column 2: missing '}' or object "
                "member name; kxrtc repair makes a new descriptor");
}

// All texts of the findings with that code.
std::vector<std::string> TextsOf(const RecordSummary& summary, FindingCode code) {
  std::vector<std::string> texts;
  for (const Finding& finding : summary.findings.Sorted()) {
    if (finding.code == code) texts.push_back(finding.text);
  }
  return texts;
}

TEST(RecordAnalysisTest, TellsWhyAudioFramesAreLeftOut) {
  const TempDir adts_dir;
  RecordBuilder adts(adts_dir);
  const std::string whole = AdtsFrame(kAdts48000, 2);
  adts.Start(0).Audio(21333, whole).Audio(42666, AdtsFrame(kAdts44100, 1)).Audio(63999, "raw");
  adts.Audio(85332, whole + "x").Stop(100000).Write();
  const RecordSummary summary = AnalyseRecord(adts_dir.path());
  EXPECT_THAT(
      TextsOf(summary, FindingCode::kAudioLeftOut),
      ElementsAre("the frame at 13 of .aac has 44100 Hz, channel configuration 1 and 1 raw "
                  "data block: unlike the first, or not 1 block; the MP4 does not contain it",
                  "the frame of 3 bytes at 26 of .aac has no ADTS header, unlike others: the "
                  "MP4 does not contain it"));
  EXPECT_THAT(TextsOf(summary, FindingCode::kAudioFrameLength),
              ElementsAre("the frame at 29 of .aac has 14 bytes, its ADTS header says 13"));

  const TempDir raw_dir;
  RecordBuilder raw(raw_dir);
  raw.Start(0);
  for (int i = 1; i <= 5; ++i) raw.Audio(i * 21333, "raw");
  raw.Audio(6 * 21333, whole).Stop(200000).Write();
  EXPECT_THAT(
      TextsOf(AnalyseRecord(raw_dir.path()), FindingCode::kAudioLeftOut),
      ElementsAre("the frame of 13 bytes at 15 of .aac has an ADTS header, unlike the first: "
                  "the MP4 does not contain it"));
}

TEST(RecordAnalysisTest, TellsWhyPicturesCannotBeDecoded) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3).Stop(50000).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_THAT(TextsOf(summary, FindingCode::kVideoNoParameterSets),
              ElementsAre("the key frame at 0 of .264 has no parameter sets, and there are none "
                          "since the attributes record or the icon"));
  EXPECT_THAT(TextsOf(summary, FindingCode::kReplayNothing),
              ElementsAre("no picture can be decoded and there is no sound, so "
                          "no MP4 can be made"));
}

TEST(RecordAnalysisTest, CountsFramesUnlikeTheFirst) {
  const TempDir dir;
  const std::string two_blocks = std::string(AdtsFrame(kAdts48000, 2)).replace(6, 1, 1, '\xFD');
  RecordBuilder builder(dir);
  builder.Start(0).Audio(21333, AdtsFrame(kAdts48000, 2)).Audio(42666, AdtsFrame(kAdts44100, 2));
  builder.Audio(63999, AdtsFrame(kAdts48000, 1)).Audio(85332, two_blocks).Stop(100000).Write();
  const FindingList findings = AnalyseRecord(dir.path()).findings;
  EXPECT_EQ(findings.count(FindingCode::kAudioLeftOut), 3u);
  EXPECT_EQ(findings.count(FindingCode::kReplayRefused), 0u);
}

TEST(RecordAnalysisTest, TheFirstWholeHeaderSettlesHowAudioIsFramed) {
  const std::string whole = AdtsFrame(kAdts48000, 2);
  for (const std::string& torn : {std::string("garbage"), whole.substr(0, 7)}) {
    const TempDir dir;
    RecordBuilder builder(dir);
    builder.Start(0).Audio(21333, torn).Audio(42666, whole).Audio(63999, whole).Stop(70000).Write();
    const RecordSummary summary = AnalyseRecord(dir.path());
    EXPECT_TRUE(summary.audio.is_adts);
    EXPECT_EQ(summary.findings.count(FindingCode::kAudioLeftOut) +
                  summary.findings.count(FindingCode::kAudioFrameLength),
              1u);
    EXPECT_EQ(summary.findings.count(FindingCode::kAudioNotAdts), 0u);
  }
}

TEST(RecordAnalysisTest, AnAdtsFrameBehindRawOnesIsLeftOut) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0);
  for (int i = 1; i <= 5; ++i) builder.Audio(i * 21333, "raw audio");
  builder.Audio(6 * 21333, AdtsFrame(kAdts48000, 2)).Stop(200000).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_FALSE(summary.audio.is_adts);
  EXPECT_EQ(summary.findings.count(FindingCode::kAudioNotAdts), 1u);
  EXPECT_EQ(summary.findings.count(FindingCode::kAudioLeftOut), 1u);
}

TEST(RecordAnalysisTest, AFrameThatIsNotInItsFileIsNoneThatIsTooLarge) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Audio(21333, AdtsFrame(kAdts48000, 2));
  builder.DataRecord(kAudioRecord, 42666, 0, 0x7FFFFFFF).Stop(50000).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.replay.refusal, "");
  EXPECT_FALSE(summary.replay.completes);
}

TEST(RecordAnalysisTest, AFrameThatNoReplayComesToIsNoneThatIsTooLarge) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).DataRecord(kAudioRecord, 1, uint64_t{1} << 40, 8);
  builder.DataRecord(kAudioRecord, 2, 0, kMaxFrameBytes + 1).Stop(3).Write();
  std::filesystem::resize_file(dir.File("SpeakeRecord.aac"), kMaxFrameBytes + 1);
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.replay.refusal, "");
  EXPECT_FALSE(summary.replay.completes);
}

TEST(RecordAnalysisTest, ParameterSetsInFrontOfTheIconDoNotCount) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1000, kCamera).Attributes(2000, 640, 360).Video(3000, KeyFrame640x360());
  for (int i = 1; i <= 300; ++i) builder.Audio(i * 21333, AdtsFrame(kAdts48000, 2));
  builder.Key(301 * 21333).Stop(302 * 21333).Write();
  EXPECT_EQ(AnalyseRecord(dir.path()).findings.count(FindingCode::kVideoNoParameterSets), 1u);
}

TEST(RecordAnalysisTest, ADescriptorPaddedBeyondItsSessionsIsStillTaken) {
  const TempDir dir;
  const RecordBuilder builder = TwoSessions(dir);
  builder.Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"),
                        builder.Descriptor() + std::string(70000, ' '));
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_THAT(
      TextsOf(summary, FindingCode::kDescriptorTooLarge),
      ElementsAre(EndsWith(
          " bytes are too many for the sessions of this record; the descriptor is not read")));
  EXPECT_EQ(summary.findings.Verdict(), Severity::kWarning);
  EXPECT_TRUE(summary.replay.completes);
}

// Two sessions that the library takes with the spaces behind them.
TEST(RecordAnalysisTest, ADescriptorOfAnySizeIsNoError) {
  const TempDir dir;
  const RecordBuilder builder = TwoSessions(dir);
  builder.Write();
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"),
                        builder.Descriptor() + std::string(17 << 20, ' '));
  kxrtc::SpeakerRecordDescReader reader;
  ASSERT_TRUE(reader.Initialize(dir.File("SpeakeRecord.desc")));
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.findings.Verdict(), Severity::kWarning);
  EXPECT_TRUE(summary.replay.completes);
  RecordFiles files;
  files.Open(dir.path());
  EXPECT_TRUE(EstimateMp4Bytes(files.descriptor).has_value());
}

TEST(RecordAnalysisTest, ManySessionsAreComparedWithTheirWholeDescriptor) {
  constexpr int kSessions = 70000;
  const TempDir dir;
  RecordBuilder builder(dir);
  for (int64_t i = 0; i < kSessions; ++i) builder.Start(2 * i + 1).Stop(2 * i + 2);
  builder.Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.descriptor.session_count, kSessions);
  EXPECT_EQ(summary.findings.Verdict(), Severity::kWarning);  // The list ends before.
  EXPECT_EQ(summary.findings.count(FindingCode::kDescriptorTooLarge), 0u);
}

TEST(RecordAnalysisTest, WithoutADescriptorNothingIsSaidOfItsChannels) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Audio(21333, "raw audio").Stop(50000).Write();
  std::filesystem::remove(dir.File("SpeakeRecord.desc"));
  EXPECT_EQ(AnalyseRecord(dir.path()).replay.refusal, "");
}

TEST(RecordAnalysisTest, FindsNothingWrongWithHealthySessions) {
  const TempDir dir;
  TwoSessions(dir).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.findings.Verdict(), Severity::kInfo);
  EXPECT_TRUE(summary.replay.completes);
}

TEST(RecordAnalysisTest, SumsUpSessionsChannelsAndFormats) {
  const TempDir dir;
  TwoSessions(dir).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  ASSERT_EQ(summary.sessions.size(), 2u);
  EXPECT_EQ(summary.sessions[0].start_us, 1000000);
  EXPECT_EQ(summary.sessions[0].end_us, 1070000);
  EXPECT_EQ(summary.sessions[0].video_frames, 2u);
  EXPECT_EQ(summary.sessions[0].key_frames, 1u);
  EXPECT_EQ(summary.sessions[1].audio_frames, 2u);
  EXPECT_EQ(summary.sessions[1].switches, 2u);
  EXPECT_EQ(summary.duration_us, 120000);
  EXPECT_EQ(summary.switch_count, 3u);
  EXPECT_EQ(summary.channels.at(kCamera).video_frames, 2u);
  EXPECT_EQ(summary.channels.at(kDesktop).duration_us, 21000);
  ASSERT_EQ(summary.video_formats.size(), 1u);
  const VideoFormat& format = summary.video_formats.begin()->first;
  EXPECT_EQ(format.profile_idc, 66u);
  EXPECT_EQ(format.level_idc, 30u);
  EXPECT_EQ(format.width, 640u);
  EXPECT_EQ(format.height, 360u);
  EXPECT_EQ(summary.audio.sample_rate, 48000u);
  EXPECT_EQ(summary.audio.channels, 2u);
  // 5 audio frames of a desktop record.
  EXPECT_EQ(summary.estimate_bytes, 5u * 21333 * 1200 / 8000);
}

TEST(RecordAnalysisTest, KnowsThatAnEmptyFramePastTheEndIsReplayed) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1000, kCamera).Attributes(2000, 640, 360).Key(3000);
  builder.DataRecord(kAudioRecord, 40000, 1000, 0).Stop(50000).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  EXPECT_EQ(summary.findings.count(FindingCode::kDataEmptyFrame), 1u);
  EXPECT_TRUE(summary.replay.completes) << summary.replay.failure;
  EXPECT_EQ(summary.replay.audio_samples, 1u);
}

TEST(RecordAnalysisTest, TakesAFolderWithoutItsSeparator) {
  const TempDir dir;
  TwoSessions(dir).Write();
  const std::string folder = dir.path().substr(0, dir.path().size() - 1);
  EXPECT_EQ(AnalyseRecord(folder).session_count, 2u);
}

TEST(RecordAnalysisTest, ChangesNothingInTheRecord) {
  const TempDir dir;
  TwoSessions(dir).Write();
  const auto before = kx_testing::ReadRecord(dir.path());
  AnalyseRecord(dir.path());
  EXPECT_EQ(kx_testing::ReadRecord(dir.path()), before);
}

TEST(RecordAnalysisTest, AnswersAMissingFolderWithOneFinding) {
  const TempDir dir;
  RecordSummary summary = AnalyseRecord(dir.File("missing"));
  EXPECT_THAT(TextsOf(summary, FindingCode::kFileMissing),
              ElementsAre(dir.File("missing") + ": there is no such folder"));
  EXPECT_EQ(summary.findings.count(Severity::kError), 1u);
  EXPECT_EQ(summary.replay.encode.text,
            "cannot open the record in " + dir.File("missing") + "/: there is no such folder");
  summary = AnalyseRecord(dir.path());
  EXPECT_THAT(TextsOf(summary, FindingCode::kFileMissing),
              ElementsAre(dir.path() + ": the folder contains no record"));
  EXPECT_EQ(summary.findings.count(Severity::kError), 1u);
}

// What the library refuses is an obstacle; what it takes is none, however large it is.
TEST(RecordAnalysisTest, ALargeDescriptorIsJudgedAsTheLibraryDoes) {
  const TempDir dir;
  const RecordBuilder builder = TwoSessions(dir);
  builder.Write();
  const std::string path = dir.File("SpeakeRecord.desc");
  const std::string many = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
  for (const auto& [text, accepted] :
       {std::pair<std::string, bool>{builder.Descriptor() + std::string(70000, ' '), true},
        {builder.Descriptor() + std::string(70000, '\0'), true},
        {std::string(70000, ' ') + builder.Descriptor(), true},
        {std::string(70000, ' ') + "{}", false},
        {std::string(70000, '\0') + builder.Descriptor(), false},
        {std::string(100000, '['), false},
        {many, false}}) {
    kx_testing::WriteFile(path, text);
    const ModePrediction mode = AnalyseRecord(dir.path()).replay.encode;
    EXPECT_EQ(mode.kind, accepted ? TranscodeKind::kWritten : TranscodeKind::kRecordUnreadable);
    kxrtc::SpeakerRecordDescReader reader;
    EXPECT_EQ(reader.Initialize(path), accepted);
  }
}

// A second of sound and pictures, then `gap` in the index, then another second.
RecordSummary WithIndexGap(const std::string& gap) {
  const TempDir dir;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  for (int second = 0; second < 2; ++second) {
    if (second == 1) builder.RawIndex(gap);
    for (int i = 1; i <= 47; ++i) {
      builder.Audio(second * 1002651 + i * 21333, kx_testing::WithAdts("sound"));
      if (i % 2 == 1) builder.Video(second * 1002651 + i * 21333 + 1, KeyFrame640x360());
    }
  }
  builder.Stop(2100000).Write();
  return AnalyseRecord(dir.path());
}

TEST(RecordAnalysisTest, NothingIsPredictedBehindABrokenIndex) {
  const RecordSummary whole = WithIndexGap("");
  EXPECT_TRUE(whole.replay.completes);
  EXPECT_EQ(whole.replay.audio_samples, 94u);
  EXPECT_EQ(whole.replay.copy.contents.video_samples, 48u);
  for (const auto mode : {&ReplayPrediction::copy, &ReplayPrediction::encode}) {
    const FileContents& contents = (whole.replay.*mode).contents;
    EXPECT_EQ(contents.audio_frames, 94u);
    EXPECT_NEAR(static_cast<double>(contents.duration_us), 2005333, 50000);
  }
  const RecordSummary broken = WithIndexGap("torn");
  EXPECT_FALSE(broken.replay.completes);
  EXPECT_EQ(broken.replay.audio_samples, 47u);
  for (const auto mode : {&ReplayPrediction::copy, &ReplayPrediction::encode}) {
    EXPECT_EQ((broken.replay.*mode).kind, TranscodeKind::kRecordDamaged);
    EXPECT_EQ((broken.replay.*mode).contents.audio_frames, 0u);
  }
}

TEST(RecordAnalysisTest, MakesTheSameDocumentEachTime) {
  const TempDir dir;
  TwoSessions(dir).RawIndex("torn").Write();
  const std::string first = JsonText(VerifyDocument(AnalyseRecord(dir.path())));
  EXPECT_EQ(JsonText(VerifyDocument(AnalyseRecord(dir.path()))), first);
  EXPECT_THAT(first, HasSubstr("\"version\":1"));
}

}  // namespace
}  // namespace kxrtc_host
