// A record for each finding code.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/check/structure_check.h"
#include "record/check/video_check.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/bit_string.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::AddHealthySession;
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

FindingList Analyse(const TempDir& dir) { return AnalyseRecord(dir.path()).findings; }

FindingList AnalyseBuilt(const TempDir& dir, const RecordBuilder& builder) {
  builder.Write();
  return Analyse(dir);
}

RecordBuilder Healthy(const TempDir& dir) {
  RecordBuilder builder(dir);
  AddHealthySession(builder, 0);
  return builder;
}

// The head of a session with a camera and one key frame, to be gone on with.
RecordBuilder OpenCamera(const TempDir& dir) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1000, kCamera).Attributes(2000, 640, 360).Key(3000);
  return builder;
}

FindingList WithDescriptor(const TempDir& dir, const std::string& from, const std::string& to) {
  RecordBuilder builder = Healthy(dir);
  builder.Write();
  std::string text = builder.Descriptor();
  const size_t position = text.find(from);
  EXPECT_NE(position, std::string::npos);
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), text.replace(position, from.size(), to));
  return Analyse(dir);
}

FindingList AudioEvery(const TempDir& dir, int64_t interval_us, int count) {
  RecordBuilder builder(dir);
  builder.Start(0);
  for (int i = 1; i <= count; ++i) builder.Audio(i * interval_us, AdtsFrame(kAdts48000, 2));
  return AnalyseBuilt(dir, builder.Stop(count * interval_us + 1));
}

// Knows the format of every key frame.
class KnowingExaminer : public ParameterSetExaminer {
 public:
  std::optional<VideoFormat> Examine(const uint8_t*, uint32_t) override {
    return VideoFormat{100, 30, 640, 360};
  }
};

RecordSummary SetsBeyondTheLibrary(const TempDir& dir, ParameterSetExaminer* examiner) {
  RecordBuilder builder = OpenCamera(dir);
  // Two sets that the library does not parse, each in two key frames.
  for (const char last : {'\x01', '\x01', '\x02', '\x02'}) {
    const std::string set = std::string("\0\0\0\1\x67\x64\x00\x1E", 8) + last;
    builder.Video(40000 + last, set + std::string("\0\0\1\x68\xCE\0\0\1\x65\x88", 10));
  }
  builder.Stop(50000).Write();
  AnalysisOptions options;
  options.parameter_set_examiner = examiner;
  return AnalyseRecord(dir.path(), options);
}

// A key frame of a stream that may show pictures in another order than it codes them.
std::string ReorderableKeyFrame() {
  const auto unit = [](uint8_t header, kx_testing::BitString payload) {
    const std::vector<uint8_t> bytes = payload.Trailing().Bytes();
    return std::string("\0\0\0\1", 4) + static_cast<char>(header) +
           std::string(bytes.begin(), bytes.end());
  };
  kx_testing::BitString pps;
  pps.Ue(0).Ue(0).U(2, 0).Ue(0).Ue(0).Ue(0).U(3, 0).Se(0).Se(0).Se(0).U(3, 0);
  kx_testing::BitString slice;
  slice.Ue(0).Ue(7).Ue(0).U(4, 0).Ue(0).U(6, 0).U(2, 0).Se(0);
  return unit(0x67, kx_testing::SpsFields().Write()) + unit(0x68, pps) + unit(0x65, slice);
}

class RefusingExaminer : public SoundExaminer {
 public:
  bool Begin(uint32_t /*object_type*/, uint32_t /*channel_count*/) override { return true; }
  bool Decodes(const uint8_t* /*data*/, uint32_t /*size*/) override { return false; }
};

FindingList UndecodableSound(const TempDir& dir) {
  Healthy(dir).Write();
  RefusingExaminer examiner;
  AnalysisOptions options;
  options.sound_examiner = &examiner;
  return AnalyseRecord(dir.path(), options).findings;
}

FindingList ShrunkVideo(const TempDir& dir) {
  OpenCamera(dir).Write();
  ReadOnlyFile file;
  EXPECT_EQ(file.Open(dir.File("SpeakeRecord.264")), ReadOnlyFile::State::kOpen);
  std::filesystem::resize_file(dir.File("SpeakeRecord.264"), 3);
  RecordSummary summary;
  VideoCheck check(&file, nullptr, &summary);
  IndexRecord record;
  record.header.type = kVideoRecord;
  record.data.size = 8;
  EXPECT_FALSE(check.OnFrame(record));
  return summary.findings;
}

FindingList HugeFrame(const TempDir& dir) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  builder.DataRecord(kVideoRecord, 3, 0, kMaxFrameBytesRead + 1).Stop(4).Write();
  std::filesystem::resize_file(dir.File("SpeakeRecord.264"), kMaxFrameBytesRead + 1);
  return Analyse(dir);
}

FindingList ManySessions(const TempDir& dir) {
  RecordBuilder builder(dir);
  const std::string session =
      kx_testing::BigEndian32(kx_testing::kStartRecord) + std::string(8, '\0') +
      kx_testing::BigEndian32(kx_testing::kStopRecord) + std::string(8, '\0');
  std::string index;
  for (size_t i = 0; i <= kMaxSessions; ++i) index += session;
  builder.RawIndex(index).Write();
  return AnalyseRecord(dir.path()).findings;
}

// Frames of 9 seconds' sound behind one picture, then a key frame.
FindingList StandsStill(const TempDir& dir, uint32_t media_type) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1000, media_type).Attributes(2000, 640, 360).Key(3000);
  int64_t time_us = 3000;
  for (int i = 0; i < 420; ++i) builder.Audio(time_us += 21333, AdtsFrame(kAdts48000, 2));
  return AnalyseBuilt(dir, builder.Key(time_us + 1).Stop(time_us + 2));
}

// The super-user may write any file: another user looks at the record.
FindingList ReadOnlyRecord(const TempDir& dir) {
  constexpr uid_t kNobody = 65534;
  Healthy(dir).Write();
  std::filesystem::permissions(dir.path(), std::filesystem::perms{0755});
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    std::filesystem::permissions(entry.path(), std::filesystem::perms{0444});
  }
  const uid_t user = ::getuid();
  if (user == 0) {
    EXPECT_EQ(::setreuid(kNobody, -1), 0);
  }
  FindingList findings = Analyse(dir);
  EXPECT_EQ(::setreuid(user, -1), 0);
  return findings;
}

struct CodeCase {
  const char* name;
  FindingCode code;
  std::function<FindingList(const TempDir&)> make;
};

std::vector<CodeCase> AudioAndClockCases() {
  return {
      {"Cadence", FindingCode::kAudioCadence,
       [](const TempDir& dir) { return AudioEvery(dir, 23220, 120); }},
      {"AdtsLength", FindingCode::kAudioFrameLength,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir)
                                      .Audio(21333, AdtsFrame(kAdts48000, 2))
                                      .Audio(42666, AdtsFrame(kAdts48000, 2) + "x")
                                      .Stop(50000));
       }},
      {"LostAdtsHeader", FindingCode::kAudioLeftOut,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir)
                                      .Audio(21333, AdtsFrame(kAdts48000, 2))
                                      .Audio(42666, "raw audio")
                                      .Stop(50000));
       }},
      {"OtherSampleRate", FindingCode::kAudioLeftOut,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir)
                                      .Audio(21333, AdtsFrame(kAdts48000, 2))
                                      .Audio(42666, AdtsFrame(kAdts44100, 2))
                                      .Stop(50000));
       }},
      {"RawAudio", FindingCode::kAudioNotAdts,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Audio(21333, "raw audio").Stop(30000));
       }},
      {"SampleRate", FindingCode::kAudioSampleRate,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir,
                             OpenCamera(dir).Audio(21333, AdtsFrame(kAdts44100, 2)).Stop(30000));
       }},
      {"UndecodableSound", FindingCode::kAudioUndecodable, UndecodableSound},
      {"BackwardStep", FindingCode::kClockBackwardStep,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Audio(900000).Audio(799999).Stop(1000000));
       }},
      {"ForwardStep", FindingCode::kClockForwardStep,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Audio(21333).Audio(1021334).Stop(1040000));
       }},
      {"SlightlySwapped", FindingCode::kClockOutOfOrder,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Audio(200000).Audio(100000).Stop(300000));
       }},
  };
}

std::vector<CodeCase> DataCases() {
  return {
      {"EmptyFrame", FindingCode::kDataEmptyFrame,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Audio(21333, "").Stop(30000));
       }},
      {"Hole", FindingCode::kDataHole,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).RawVideo("lost").Delta(40000).Stop(50000));
       }},
      {"Overlap", FindingCode::kDataOverlap,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir,
                             OpenCamera(dir).DataRecord(kVideoRecord, 40000, 0, 8).Stop(50000));
       }},
      {"PastEnd", FindingCode::kDataPastEnd,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir,
                             OpenCamera(dir).DataRecord(kVideoRecord, 40000, 8, 1).Stop(50000));
       }},
      {"PositionOverflows", FindingCode::kDataPastEnd,
       [](const TempDir& dir) {
         return AnalyseBuilt(
             dir,
             OpenCamera(dir).DataRecord(kAudioRecord, 40000, ~uint64_t{0}, 0xFFFFFFFF).Stop(50000));
       }},
      {"EmptyFrameFarPastEnd", FindingCode::kDataPastEnd,
       [](const TempDir& dir) {  // Beyond what some file systems can seek to.
         return AnalyseBuilt(
             dir,
             OpenCamera(dir).DataRecord(kAudioRecord, 40000, uint64_t{1} << 62, 0).Stop(50000));
       }},
      {"EmptyFrameAtNoPosition", FindingCode::kDataPastEnd,
       [](const TempDir& dir) {
         return AnalyseBuilt(
             dir, OpenCamera(dir).DataRecord(kAudioRecord, 40000, ~uint64_t{0}, 0).Stop(50000));
       }},
      {"StaleTailOfData", FindingCode::kDataStaleTail,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Stop(50000).RawAudio("partial"));
       }},
      {"FileShrinks", FindingCode::kFileChanged, ShrunkVideo},
      {"NoAudioFile", FindingCode::kFileMissing,
       [](const TempDir& dir) {
         Healthy(dir).Write();
         std::filesystem::remove(dir.File("SpeakeRecord.aac"));
         return Analyse(dir);
       }},
      {"FolderAsFile", FindingCode::kFileUnreadable,
       [](const TempDir& dir) {
         Healthy(dir).Write();
         std::filesystem::remove(dir.File("SpeakeRecord.264"));
         std::filesystem::create_directory(dir.File("SpeakeRecord.264"));
         return Analyse(dir);
       }},
  };
}

std::vector<CodeCase> DescriptorCases() {
  return {
      {"ChannelCountOfDescriptor", FindingCode::kDescriptorAudioChannels,
       [](const TempDir& dir) { return WithDescriptor(dir, "count\":2}", "count\":1}"); }},
      {"VideoFlag", FindingCode::kDescriptorFlags,
       [](const TempDir& dir) {
         return WithDescriptor(dir, "contain_video\":1", "contain_video\":0");
       }},
      {"FractionalTime", FindingCode::kDescriptorMember,
       [](const TempDir& dir) {
         return WithDescriptor(dir, "start_timestamp_us\":0", "start_timestamp_us\":0.5");
       }},
      {"MissingOverall", FindingCode::kDescriptorMember,
       [](const TempDir& dir) { return WithDescriptor(dir, "record_overall", "record_total"); }},
      {"ListedSessions", FindingCode::kDescriptorSessionCount,
       [](const TempDir& dir) {
         return WithDescriptor(dir, "session_count\":1", "session_count\":2");
       }},
      {"FrameCount", FindingCode::kDescriptorSessionMismatch,
       [](const TempDir& dir) {
         return WithDescriptor(dir, "audio_frame_count\":3", "audio_frame_count\":4");
       }},
      {"EndTime", FindingCode::kDescriptorSessionMismatch,
       [](const TempDir& dir) { return WithDescriptor(dir, "us\":70000", "us\":69998"); }},
      {"HugeDescriptor", FindingCode::kDescriptorTooLarge,
       [](const TempDir& dir) {
         Healthy(dir).Write();
         std::filesystem::resize_file(dir.File("SpeakeRecord.desc"), uintmax_t{1} << 40);
         return Analyse(dir);
       }},
      {"CutDescriptor", FindingCode::kDescriptorUnparsable,
       [](const TempDir& dir) {
         Healthy(dir).Write();
         std::filesystem::resize_file(dir.File("SpeakeRecord.desc"), 40);
         return Analyse(dir);
       }},
      {"DeepDescriptor", FindingCode::kDescriptorUnparsable,
       [](const TempDir& dir) {
         Healthy(dir).Write();
         kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), std::string(60000, '['));
         return Analyse(dir);
       }},
  };
}

std::vector<CodeCase> IndexCases() {
  return {
      {"EmptyIndex", FindingCode::kIndexEmpty,
       [](const TempDir& dir) { return AnalyseBuilt(dir, RecordBuilder(dir)); }},
      {"Garbage", FindingCode::kIndexGarbage,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).RawIndex(std::string(50, '\0')).Stop(50000));
       }},
      {"ReservedType", FindingCode::kIndexGarbage,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir)
                                      .RawIndex(kx_testing::BigEndian32(0xEEDDCC05))
                                      .RawIndex(std::string(8, '\0'))
                                      .Stop(50000));
       }},
      {"StartInSession", FindingCode::kIndexNestedStart,
       [](const TempDir& dir) {
         RecordBuilder builder = OpenCamera(dir);
         return AnalyseBuilt(dir, AddHealthySession(builder, 10000));
       }},
      {"NoStart", FindingCode::kIndexNoStart,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, RecordBuilder(dir).Audio(21333).Stop(30000));
       }},
      {"NoStop", FindingCode::kIndexNoStop,
       [](const TempDir& dir) { return AnalyseBuilt(dir, OpenCamera(dir)); }},
      {"StaleTailOfIndex", FindingCode::kIndexStaleTail,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, Healthy(dir).RawIndex(std::string(11, 'x')));
       }},
      {"TooManySessions", FindingCode::kIndexTooManySessions, ManySessions},
      {"CutRecord", FindingCode::kIndexTruncatedTail,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).RawIndex(std::string("\xEE\xDD\xCC\x02", 4)));
       }},
      {"VideoWithoutChannel", FindingCode::kIndexVideoWithoutChannel,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, RecordBuilder(dir).Start(0).Key(1000).Stop(2000));
       }},
  };
}

std::vector<CodeCase> ReplayCases() {
  return {
      {"DeltaAfterSwitch", FindingCode::kReplayDroppedFrames,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Channel(30000, kCamera).Delta(40000).Stop(50000));
       }},
      {"TornRecord", FindingCode::kReplayFailed,
       [](const TempDir& dir) { return AnalyseBuilt(dir, OpenCamera(dir)); }},
      {"AudioOnly", FindingCode::kReplayFillerAudioOnly,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, RecordBuilder(dir).Start(0).Audio(21333).Stop(30000));
       }},
      {"StaticCamera", FindingCode::kReplayFillerGap,
       [](const TempDir& dir) { return StandsStill(dir, kCamera); }},
      {"StaticShare", FindingCode::kReplayStillShare,
       [](const TempDir& dir) { return StandsStill(dir, kDesktop); }},
      {"WaitingForKeyFrame", FindingCode::kReplayFillerWaiting,
       [](const TempDir& dir) {
         return AnalyseBuilt(
             dir, RecordBuilder(dir).Start(0).Channel(1, kCamera).Audio(21333).Stop(30000));
       }},
      {"NoFrame", FindingCode::kReplayNothing,
       [](const TempDir& dir) { return AnalyseBuilt(dir, RecordBuilder(dir).Start(0).Stop(1)); }},
      {"NothingToDecode", FindingCode::kReplayNothing,
       [](const TempDir& dir) { return AnalyseBuilt(dir, OpenCamera(dir).Stop(50000)); }},
      {"LateSound", FindingCode::kReplayOffset,
       [](const TempDir& dir) {
         // Without sound for 0.9 s the picture at its end runs ahead, and the next one waits.
         return AnalyseBuilt(
             dir,
             OpenCamera(dir).Audio(10000).Delta(900000).Audio(900001).Delta(900002).Stop(900003));
       }},
      {"ReadOnly", FindingCode::kReplayReadOnly, ReadOnlyRecord},
      {"WrongSampleRate", FindingCode::kReplayRefused,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir,
                             OpenCamera(dir).Audio(21333, AdtsFrame(kAdts44100, 2)).Stop(30000));
       }},
  };
}

std::vector<CodeCase> VideoCases() {
  return {
      {"OddRotation", FindingCode::kVideoAttributes,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Attributes(4000, 640, 360, 45).Stop(50000));
       }},
      {"CutParameterSet", FindingCode::kVideoBadSps,
       [](const TempDir& dir) {
         return AnalyseBuilt(
             dir, OpenCamera(dir).Video(40000, std::string("\0\0\0\1\x67\x42", 6)).Stop(50000));
       }},
      {"HugeFrame", FindingCode::kVideoFrameTooLarge, HugeFrame},
      {"NalTypeZero", FindingCode::kVideoInvalidNal,
       [](const TempDir& dir) {
         return AnalyseBuilt(
             dir, OpenCamera(dir).Video(40000, std::string("\0\0\0\1\0abc", 8)).Stop(50000));
       }},
      {"NoAttributes", FindingCode::kVideoNoAttributes,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir,
                             RecordBuilder(dir).Start(0).Channel(1, kCamera).Key(2).Stop(50000));
       }},
      {"DeltaFirst", FindingCode::kVideoNoKeyAfterSwitch,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Channel(30000, kCamera).Delta(40000).Stop(50000));
       }},
      {"BareKeyFrame", FindingCode::kVideoNoParameterSets,
       [](const TempDir& dir) { return AnalyseBuilt(dir, OpenCamera(dir).Stop(50000)); }},
      {"NoStartCode", FindingCode::kVideoNoStartCode,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir).Video(40000, "no start code").Stop(50000));
       }},
      {"CutSliceHeader", FindingCode::kVideoPictureOrder,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, RecordBuilder(dir)
                                      .Start(0)
                                      .Channel(1, kCamera)
                                      .Attributes(2, 1280, 720)
                                      .Video(3, ReorderableKeyFrame())
                                      .Video(40000, std::string("\0\0\0\1\x41\xE0", 6))
                                      .Stop(50000));
       }},
      {"OtherSize", FindingCode::kVideoSizeMismatch,
       [](const TempDir& dir) {
         return AnalyseBuilt(dir, OpenCamera(dir)
                                      .Attributes(30000, 1280, 720)
                                      .Video(40000, KeyFrame640x360())
                                      .Stop(50000));
       }},
      {"SetsBeyondTheLibrary", FindingCode::kVideoSpsNotExamined,
       [](const TempDir& dir) {
         KnowingExaminer examiner;
         return SetsBeyondTheLibrary(dir, &examiner).findings;
       }},
  };
}

// A healthy record, beside it a timeline that begins with `header`. Its start is at 0.
FindingList WithTimeline(const TempDir& dir, const std::string& header, const std::string& lines) {
  Healthy(dir).Write();
  kx_testing::WriteFile(dir.File("SpeakerTimeline.ndjson"), header + "\n" + lines);
  return Analyse(dir);
}

std::vector<CodeCase> TimelineCases() {
  const std::string header = "{\"speaker_timeline\":1}";
  const auto test = [](const char* name, FindingCode code, const std::string& first,
                       const std::string& lines) {
    return CodeCase{name, code,
                    [=](const TempDir& dir) { return WithTimeline(dir, first, lines); }};
  };
  return {
      test("TimelineDamage", FindingCode::kTimelineDamagedLine, header, "x\n"),
      test("TimelineWithoutStart", FindingCode::kTimelineMissingLine, header,
           "{\"event\":\"selected\",\"us\":1000,\"ssrc\":1,\"user_id\":1,\"media_type\":2}\n"),
      test("TimelineOfAnother", FindingCode::kTimelineNoRecord, header,
           "{\"event\":\"start\",\"us\":99,\"utc\":\"2026-11-22T09:30:00.250000Z\"}\n"),
      test("NoTimeline", FindingCode::kTimelineUnreadable, "x", ""),
      test("LaterTimeline", FindingCode::kTimelineVersion, "{\"speaker_timeline\":2}", ""),
  };
}

std::vector<CodeCase> AllCases() {
  std::vector<CodeCase> all;
  for (const auto& cases : {AudioAndClockCases(), DataCases(), DescriptorCases(), IndexCases(),
                            ReplayCases(), TimelineCases(), VideoCases()}) {
    all.insert(all.end(), cases.begin(), cases.end());
  }
  return all;
}

class FindingCodeTest : public testing::TestWithParam<CodeCase> {};

TEST_P(FindingCodeTest, IsReportedForARecordWithThatFault) {
  const TempDir dir;
  const FindingList findings = GetParam().make(dir);
  EXPECT_GT(findings.count(GetParam().code), 0u);
  const std::filesystem::directory_iterator files(dir.path());
  const bool is_packed_whole = std::all_of(
      begin(files), end(files), [](const auto& entry) { return entry.is_regular_file(); });
  if (is_packed_whole) kx_testing::ExpectBundleTellsTheSame(dir.path());
}

INSTANTIATE_TEST_SUITE_P(Codes, FindingCodeTest, testing::ValuesIn(AllCases()),
                         [](const auto& test) { return test.param.name; });

TEST(RecordAnalysisFindingsTest, CoverEveryCode) {
  std::set<FindingCode> tested;
  for (const CodeCase& test : AllCases()) tested.insert(test.code);
  for (size_t i = 0; i < kFindingCodeCount; ++i) {
    EXPECT_EQ(tested.count(static_cast<FindingCode>(i)), 1u)
        << FindingCodeName(static_cast<FindingCode>(i));
  }
}

TEST(RecordAnalysisTest, SetsBeyondTheLibraryAreToldOnce) {
  const TempDir dir;
  KnowingExaminer examiner;
  const RecordSummary summary = SetsBeyondTheLibrary(dir, &examiner);
  EXPECT_EQ(summary.findings.count(FindingCode::kVideoSpsNotExamined), 1u);
  EXPECT_EQ(summary.findings.count(FindingCode::kVideoBadSps), 0u);
  ASSERT_EQ(summary.video_formats.size(), 1u);
  EXPECT_EQ(summary.video_formats.begin()->first.width, 640u);
  EXPECT_EQ(summary.video_formats.begin()->second, 4u);
  const RecordSummary alone = SetsBeyondTheLibrary(dir, nullptr);
  EXPECT_EQ(alone.findings.count(FindingCode::kVideoSpsNotExamined), 0u);
  EXPECT_EQ(alone.findings.count(FindingCode::kVideoBadSps), 4u);
}

}  // namespace
}  // namespace kxrtc_host
