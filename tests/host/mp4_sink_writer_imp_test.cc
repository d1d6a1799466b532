#include "host/mp4_sink_writer_imp.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "host/annex_b.h"
#include "host/encode_video_track.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/mp4_tables.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/tiny_media.h"

namespace kxrtc_host {
namespace {

using kx_testing::Mp4File;
using kx_testing::Mp4Track;
using kx_testing::ReadMp4;
using kx_testing::SilentAudio;
using kx_testing::TempDir;
using kx_testing::TinyVideo;
using kx_testing::WithAdts;
using kx_testing::WithoutNal;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr int64_t kFrameUs = 21333;

class CountingObserver : public kxrtc::Mp4SinkWriterObserver {
 public:
  virtual ~CountingObserver() = default;
  void OnStateChanged(kxrtc::MediaComponentState /*state*/) override {}
  void OnError(kxrtc::Mp4SinkWriterErrorCode error_code) override { errors.push_back(error_code); }
  void OnEvent(unsigned int /*code*/, void* /*p1*/, void* /*p2*/) override {}

  std::vector<int> errors;
};

class Mp4SinkWriterImpTest : public ::testing::Test {
 protected:
  Mp4SinkWriterImpTest() {
    options_.preset = "ultrafast";
    options_.sync = false;
    options_.encoder_threads = 1;
    options_.hardware_encoders = {};
  }

  bool Start() {
    writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
    return writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_);
  }
  bool Video(int64_t us, const std::string& unit) {
    return writer_->PushVideoSample(us, reinterpret_cast<const uint8_t*>(unit.data()),
                                    static_cast<uint32_t>(unit.size()));
  }
  bool Audio(int64_t us, const std::string& frame) {
    return writer_->PushAudioSample(us, reinterpret_cast<const uint8_t*>(frame.data()),
                                    static_cast<uint32_t>(frame.size()));
  }
  // Frames `first` to `last` of silence.
  void Silence(int first, int last) {
    for (int i = first; i <= last; ++i) ASSERT_TRUE(Audio(i * kFrameUs, SilentAudio()));
  }
  void Attributes(int32_t rotation = 0) {
    ASSERT_TRUE(writer_->SetNewInputVideoAttributes(64, 32, rotation));
  }
  const Mp4WriterStatus& Stop() {
    writer_->StopStreaming();
    return writer_->status();
  }
  // The file after a run that worked.
  Mp4File Finished() {
    EXPECT_TRUE(Stop().file_written) << writer_->status().failure_text;
    EXPECT_THAT(observer_.errors, IsEmpty());
    return ReadMp4(path_);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TempDir dir_;
  std::string path_ = dir_.File("out.mp4");
  Mp4SinkWriterOptions options_;
  kxrtc::VideoConfig video_ = {4, 64, 32, 24, 100, 0};
  kxrtc::AudioConfig audio_ = {2, 32, 2};
  CountingObserver observer_;
  std::unique_ptr<Mp4SinkWriterImp> writer_;
};

class CopyTest : public Mp4SinkWriterImpTest {
 protected:
  CopyTest() { options_.video_mode = VideoMode::kCopy; }
};

class EncodeTest : public Mp4SinkWriterImpTest {};

TEST_F(CopyTest, KeepsEverySampleAtItsTimeAndLetsTheLastPictureLast) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start()) << writer_->status().failure_text;
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  Silence(1, 2);
  ASSERT_TRUE(Video(53000, units[1]));
  Silence(3, 10);
  ASSERT_TRUE(Video(213330, units[2]));
  Silence(11, 20);
  const Mp4File file = Finished();
  EXPECT_EQ(file.boxes.front(), "ftyp");
  EXPECT_EQ(file.boxes[1], "moov");
  const Mp4Track& video = file.Track("vide");
  EXPECT_EQ(video.ticks_per_second, 1000000u);
  EXPECT_EQ(video.start_us, 10000);
  EXPECT_THAT(video.durations, ElementsAre(43001, 160332, 448000 - 213333));
  EXPECT_THAT(video.key_samples, ElementsAre(1));
  const Mp4Track& audio = file.Track("soun");
  EXPECT_EQ(audio.ticks_per_second, 48000u);
  EXPECT_EQ(audio.start_us, 21333);
  EXPECT_EQ(audio.durations, std::vector<uint32_t>(20, 1024));
  EXPECT_EQ(audio.sizes, std::vector<uint32_t>(20, 9));
  EXPECT_NEAR(video.EndUs(), audio.EndUs(), 1);
  const Mp4WriterStatus& status = writer_->status();
  EXPECT_EQ(status.video_samples_written, 3u);
  EXPECT_EQ(status.audio_frames_written, 20u);
  EXPECT_EQ(status.duration_us, 448000);
  EXPECT_EQ(status.file_size, std::filesystem::file_size(path_));
  EXPECT_EQ(status.video_encoder, "");
  EXPECT_THAT(status.warnings, IsEmpty());
}

TEST_F(CopyTest, PutsTheIndexInFrontWhateverTheBoundsSay) {
  const std::vector<std::string> units = TinyVideo(64, 32, 8);
  std::vector<std::string> contents;
  for (const SampleBounds& bounds :
       {SampleBounds{}, SampleBounds{8, 20, 10000000}, SampleBounds{1, 1, 10000000}}) {
    options_.bounds = bounds;
    options_.replace_existing = true;
    ASSERT_TRUE(Start());
    Attributes();
    for (int i = 0; i < 8; ++i) {
      ASSERT_TRUE(Video(10000 + i * 42666, units[static_cast<size_t>(i)]));
      Silence(i * 2 + 1, i * 2 + 2);
    }
    const Mp4File file = Finished();
    EXPECT_EQ(file.boxes[1], "moov");
    EXPECT_EQ(file.Track("vide").sizes.size(), 8u);
    EXPECT_EQ(file.Track("soun").sizes.size(), 16u);
    // The first video sample lies where its chunk begins: its length, then its first NAL unit.
    const std::string bytes = kx_testing::ReadFile(path_);
    std::vector<NalUnit> nals;
    SplitAccessUnit(reinterpret_cast<const uint8_t*>(units[0].data()),
                    static_cast<uint32_t>(units[0].size()), &nals);
    EXPECT_EQ(bytes.substr(file.Track("vide").chunk_offsets[0] + 4, nals[0].size),
              std::string(reinterpret_cast<const char*>(nals[0].data), nals[0].size));
  }
}

TEST_F(CopyTest, AnIndexThatOutgrowsItsPlaceStillComesFirst) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  options_.bounds = {1, 1, 10000000};
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 0; i < 400; ++i) {
    ASSERT_TRUE(Video(10000 + i * kFrameUs, units[0]));
    Silence(i + 1, i + 1);
  }
  const Mp4File file = Finished();
  EXPECT_EQ(file.boxes[1], "moov");
  EXPECT_THAT(file.boxes, Contains("free"));
  EXPECT_EQ(file.boxes.back(), "mdat");
  EXPECT_EQ(file.Track("vide").sizes.size(), 400u);
  const std::string bytes = kx_testing::ReadFile(path_);
  EXPECT_EQ(bytes.substr(file.Track("soun").chunk_offsets[399], 9), SilentAudio());
}

TEST_F(CopyTest, LeavesOutWhatComesBeforeAKeyFrame) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[1]));
  ASSERT_TRUE(Video(50000, units[2]));
  ASSERT_TRUE(Video(90000, units[0]));
  Silence(1, 10);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 2u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("2 video samples without a key frame or its parameter sets before them "
                          "are left out"));
}

TEST_F(CopyTest, GivesAKeyFrameTheNewestParameterSets) {
  const std::vector<std::string> units = TinyVideo(64, 32, 4, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(50000, units[1]));
  ASSERT_TRUE(Video(90000, WithoutNal(WithoutNal(units[2], kNalSps), kNalPps)));
  ASSERT_TRUE(Video(130000, units[3]));
  Silence(1, 10);
  const Mp4Track video = Finished().Track("vide");
  ASSERT_EQ(video.sizes.size(), 4u);
  EXPECT_THAT(video.key_samples, ElementsAre(1, 3));
  const std::string bytes = kx_testing::ReadFile(path_);
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
  // As if they had been in it: both key frames are of one size but for the picture's own bytes.
  std::vector<NalUnit> nals;
  SplitAccessUnit(reinterpret_cast<const uint8_t*>(units[2].data()),
                  static_cast<uint32_t>(units[2].size()), &nals);
  uint32_t expected = 0;
  for (const NalUnit& nal : nals) expected += 4 + nal.size;
  EXPECT_EQ(video.sizes[2], expected);
}

TEST_F(CopyTest, ParameterSetsThatComeAloneGoWithTheNextPicture) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  const std::string picture = WithoutNal(WithoutNal(unit, kNalSps), kNalPps);
  const std::string sets = unit.substr(0, unit.size() - WithoutNal(picture, 6).size());
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, WithoutNal(WithoutNal(unit, kNalIdrSlice), 6)));
  ASSERT_TRUE(Video(20000, picture));
  Silence(1, 5);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 0u);
}

TEST_F(CopyTest, NeverTakesTheParameterSetsOfAnotherStream) {
  const std::vector<std::string> filler = TinyVideo(64, 32, 1);
  const std::vector<std::string> camera = TinyVideo(32, 64, 3, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, filler[0]));
  Attributes();
  ASSERT_TRUE(Video(50000, WithoutNal(WithoutNal(camera[0], kNalSps), kNalPps)));
  ASSERT_TRUE(Video(90000, camera[1]));
  ASSERT_TRUE(Video(130000, camera[2]));
  Silence(1, 10);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 2u);
  EXPECT_EQ(writer_->status().video_samples_dropped, 2u);
}

TEST_F(CopyTest, RaisesTimesThatAreEqualOrGoBack) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(50000, units[0]));
  ASSERT_TRUE(Video(50000, units[1]));
  ASSERT_TRUE(Video(20000, units[2]));
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("vide").durations.size(), 3u);
  EXPECT_EQ(file.Track("soun").durations.size(), 2u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("3 timestamps are not later than the one before and are raised"));
}

TEST_F(CopyTest, MovesAStartFarFromZero) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  const int64_t hour = 168750 * kFrameUs;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(hour + 10000, units[0]));
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Audio(hour + i * kFrameUs, SilentAudio()));
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("vide").start_us, 10000);
  EXPECT_EQ(file.Track("soun").start_us, 21333);
}

TEST_F(CopyTest, VideoFollowsTheAudioWhenTheRecordersClockWasSetForward) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  const int64_t hour = 3600000000;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, unit));
  Silence(1, 10);
  ASSERT_TRUE(Video(hour, unit));  // From here on the replay spaces samples by 10 ms.
  Silence(11, 20);
  ASSERT_TRUE(Video(hour + 10000, unit));
  ASSERT_TRUE(Video(hour + 20000, unit));
  Silence(21, 30);
  const Mp4Track video = Finished().Track("vide");
  EXPECT_THAT(video.durations, ElementsAre(203333, 213334, 1, 234665));
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the recorder's clock was set forward by 0:59:59.842 at 0:00:00.213: 3 "
                          "video samples follow the audio instead"));
}

TEST_F(CopyTest, WithoutAudioAPauseIsAsLongAsTheFileCanTell) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(0, unit));
  ASSERT_TRUE(Video(3600000000, unit));
  ASSERT_TRUE(Video(3600100000, unit));
  EXPECT_THAT(Finished().Track("vide").durations, ElementsAre(2000000000, 100001, 100001));
  EXPECT_THAT(writer_->status().warnings,
              Contains("the video pauses longer than the file can tell; 0:26:40.056 of it are left "
                       "out"));
}

TEST_F(EncodeTest, AStepOfTheRecordersClockMakesNoHourOfPictures) {
  const std::string unit = TinyVideo(64, 32, 1)[0];
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, unit));
  Silence(1, 10);
  ASSERT_TRUE(Video(3600000000, unit));
  Silence(11, 45);
  EXPECT_EQ(Finished().Track("vide").durations.size(), 24u);
  EXPECT_THAT(writer_->status().warnings, Contains(HasSubstr("clock was set forward by 0:59:59")));
}

TEST_F(CopyTest, AConstantRotationStandsInTheTrack) {
  ASSERT_TRUE(Start());
  Attributes(450);
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  Silence(1, 5);
  const Mp4Track video = Finished().Track("vide");
  // Clockwise by a quarter: x' = -y, y' = x, in 16.16.
  EXPECT_THAT(std::vector<int32_t>(video.matrix.begin(), video.matrix.begin() + 5),
              ElementsAre(0, 0x10000, 0, -0x10000, 0));
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(CopyTest, ARotationThatChangesIsToldWithItsTimes) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  Attributes(90);
  ASSERT_TRUE(Video(100000, units[1]));
  Attributes();
  ASSERT_TRUE(Video(190000, units[2]));
  Silence(1, 20);
  EXPECT_EQ(Finished().Track("vide").matrix[0], 0x10000);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the pictures should be turned clockwise from 0:00:00.100 to "
                          "0:00:00.190 by 90 degrees, which copied video cannot tell: encode it to "
                          "see them upright"));
}

TEST_F(CopyTest, WithoutVideoTheFileHoldsAudioAlone) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  const Mp4File file = Finished();
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_EQ(file.Track("soun").sizes.size(), 20u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the record holds no video that can be shown"));
}

TEST_F(CopyTest, WithoutAudioTheFileHoldsVideoAlone) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(110000, units[1]));
  const Mp4File file = Finished();
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(file.Track("vide").durations, ElementsAre(100002, 100002));
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record holds no audio"));
}

TEST_F(CopyTest, VideoThatBeginsTooLateIsLeftOut) {
  const std::string large(1 << 20, '\0');
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Audio(kFrameUs, SilentAudio()));
  for (int i = 2; i <= 18; ++i) ASSERT_TRUE(Audio(i * kFrameUs, SilentAudio() + large));
  ASSERT_TRUE(Video(20 * kFrameUs, TinyVideo(64, 32, 1)[0]));
  const Mp4File file = Finished();
  EXPECT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              Contains("the video begins too long after the audio and is left out"));
}

TEST_F(CopyTest, AudioThatBeginsTooLateIsLeftOut) {
  const std::string unit = TinyVideo(64, 32, 1)[0] + std::string(1 << 20, 'x');
  ASSERT_TRUE(Start());
  Attributes();
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(Video(i * 40000, unit));
  Silence(38, 39);
  const Mp4File file = Finished();
  EXPECT_EQ(file.tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              Contains("the audio begins too long after the video and is left out"));
}

TEST_F(CopyTest, StripsAdtsAndTakesItsWordForTheChannels) {
  ASSERT_TRUE(Start());
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(Audio(i * kFrameUs, WithAdts(SilentAudio(1), 1)));
  EXPECT_EQ(Finished().Track("soun").sizes, std::vector<uint32_t>(5, 6));
  EXPECT_THAT(writer_->status().warnings,
              Contains("the audio has 1 channels, not 2 as the record says; its own word is "
                       "taken"));
  EXPECT_THAT(kx_testing::ReadFile(path_), HasSubstr("\x05\x80\x80\x80\x02\x11\x88"));
}

TEST_F(CopyTest, AFrameThatIsFramedOtherwiseIsLeftOut) {
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Audio(kFrameUs, WithAdts(SilentAudio())));
  ASSERT_TRUE(Audio(2 * kFrameUs, SilentAudio()));
  ASSERT_TRUE(Audio(3 * kFrameUs, ""));
  ASSERT_TRUE(Audio(4 * kFrameUs, WithAdts(SilentAudio())));
  EXPECT_THAT(Finished().Track("soun").durations, ElementsAre(3072, 1024));
  EXPECT_THAT(writer_->status().warnings,
              Contains("2 audio frames are empty or framed unlike the first and are left out"));
}

struct RefusedAudioCase {
  const char* name;
  std::string frame;
  uint32_t channels;
  const char* text;
};

class RefusedAudioTest : public CopyTest, public ::testing::WithParamInterface<RefusedAudioCase> {};

TEST_P(RefusedAudioTest, EndsTheRunWithItsMessage) {
  audio_.channel_count = GetParam().channels;
  ASSERT_TRUE(Start());
  int pushed = 0;
  while (pushed < 100 && Audio((pushed + 1) * kFrameUs, GetParam().frame)) ++pushed;
  EXPECT_LT(pushed, 5);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_FALSE(Audio(10000000, SilentAudio()));
  EXPECT_FALSE(Video(10000000, "x"));
  EXPECT_FALSE(writer_->SetNewInputVideoAttributes(64, 32, 0));
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kAudio);
  EXPECT_EQ(writer_->status().failure_text, GetParam().text);
  EXPECT_EQ(observer_.errors.size(), 1u);
  EXPECT_THAT(Names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RefusedAudioTest,
    ::testing::Values(
        RefusedAudioCase{"Adts44100", WithAdts(SilentAudio(), 2, 4), 2,
                         "the audio has 44100 samples a second, but a record's clock counts 48000"},
        RefusedAudioCase{"NoChannels", SilentAudio(), 0,
                         "the audio has 0 channels, which MP4 cannot tell"},
        RefusedAudioCase{"NineChannels", SilentAudio(), 9,
                         "the audio has 9 channels, which MP4 cannot tell"},
        RefusedAudioCase{"NoAac", std::string(200, '\x7F'), 2,
                         "the audio is not AAC with 48000 samples a second"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(Mp4SinkWriterImpTest, NothingAtAllMakesNoFile) {
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Stop().file_written);
    EXPECT_EQ(writer_->status().failure, WriterFailure::kNothing);
    EXPECT_EQ(writer_->status().failure_text, "there is nothing to write: no video, no audio");
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(Mp4SinkWriterImpTest, ADiscardedRunLeavesNothingAndIsNoError) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  writer_->Discard();
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kDiscarded);
  EXPECT_EQ(writer_->status().failure_text, "stopped before the end");
  EXPECT_THAT(observer_.errors, IsEmpty());
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, AWriterThatIsNeverStoppedLeavesNothing) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  writer_.reset();
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, AnExistingFileIsRefusedAtTheStart) {
  kx_testing::WriteFile(path_, "mine");
  EXPECT_FALSE(Start());
  EXPECT_EQ(Stop().failure, WriterFailure::kRefused);
  EXPECT_EQ(writer_->status().failure_text, path_ + " exists already");
  EXPECT_EQ(kx_testing::ReadFile(path_), "mine");
}

TEST_F(Mp4SinkWriterImpTest, AFileThatAppearsMeanwhileIsKept) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  kx_testing::WriteFile(path_, "mine");
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kOutput);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_EQ(kx_testing::ReadFile(path_), "mine");
}

// The limit on the size of files stands for a disk that fills up.
TEST_F(CopyTest, AFullDiskEndsTheRunOnceWithItsReason) {
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto old_handler = signal(SIGXFSZ, SIG_IGN);
  rlimit small = before;
  small.rlim_cur = 1 << 20;
  const std::string unit = TinyVideo(64, 32, 1)[0] + std::string(100000, 'x');
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  int pushed = 0;
  while (pushed < 1000 && Audio((pushed + 1) * kFrameUs, SilentAudio()) &&
         Video((pushed + 1) * kFrameUs, unit)) {
    ++pushed;
  }
  const bool written = Stop().file_written;
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, old_handler);
  EXPECT_LT(pushed, 30);
  EXPECT_FALSE(written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kOutput);
  EXPECT_EQ(writer_->status().failure_text, "cannot write " + path_ + ": File too large");
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, RefusesWhatItCannotWrite) {
  const kxrtc::VideoConfig video = video_;
  const kxrtc::AudioConfig audio = audio_;
  struct Case {
    std::function<void()> change;
    const char* text;
  };
  const char kFormat[] = "the video or audio format code is unknown";
  const char kRange[] = "the picture size, frame rate or bit rate is out of range";
  for (const Case& test :
       {Case{[&] { video_.format = 5; }, kFormat}, Case{[&] { audio_.format = 1; }, kFormat},
        Case{[&] { video_.width = 0; }, kRange}, Case{[&] { video_.width = 65; }, kRange},
        Case{[&] { video_.height = 16386; }, kRange}, Case{[&] { video_.frame_rate = 0; }, kRange},
        Case{[&] { video_.frame_rate = 1001; }, kRange},
        Case{[&] { video_.bit_rate_kbps = 0; }, kRange}}) {
    video_ = video;
    audio_ = audio;
    test.change();
    EXPECT_FALSE(Start());
    EXPECT_EQ(writer_->status().failure_text, test.text);
    EXPECT_EQ(writer_->status().failure, WriterFailure::kRefused);
    EXPECT_FALSE(Audio(0, SilentAudio()));
    EXPECT_THAT(Names(), IsEmpty());
  }
}

TEST_F(Mp4SinkWriterImpTest, WritesOneFileOnly) {
  ASSERT_TRUE(Start());
  EXPECT_FALSE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
}

TEST_F(Mp4SinkWriterImpTest, StoppingTwiceOrUnstartedIsHarmless) {
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  writer_->StopStreaming();
  ASSERT_TRUE(Start());
  Silence(1, 3);
  writer_->StopStreaming();
  writer_->StopStreaming();
  EXPECT_TRUE(writer_->status().file_written);
}

TEST_F(Mp4SinkWriterImpTest, TakesTheOtherSettings) {
  Mp4SinkWriterImp writer(options_);
  int value = 7;
  EXPECT_TRUE(writer.SetTRVVlogPath("/anywhere"));
  EXPECT_TRUE(writer.SetD3dManger(nullptr, &value));
  EXPECT_TRUE(writer.SetPreferHW(false));
  EXPECT_FALSE(writer.SetDx9Caps(1));
  EXPECT_FALSE(writer.GetDx9Caps(&value));
  EXPECT_FALSE(writer.GetDx9CapsType(&value));
  EXPECT_EQ(value, 7);
}

TEST_F(EncodeTest, MakesOneUniformTrackAtAConstantRate) {
  const std::vector<std::string> small = TinyVideo(32, 64, 2);
  const std::vector<std::string> large = TinyVideo(128, 64, 2);
  ASSERT_TRUE(Start()) << writer_->status().failure_text;
  Attributes();
  ASSERT_TRUE(Video(10000, small[0]));
  Silence(1, 20);
  Attributes(90);
  ASSERT_TRUE(Video(426660, large[0]));
  Silence(21, 46);
  const Mp4File file = Finished();
  const Mp4Track& video = file.Track("vide");
  EXPECT_EQ(video.width, 64u);
  EXPECT_EQ(video.height, 32u);
  EXPECT_EQ(video.ticks_per_second, 24000u);
  EXPECT_EQ(video.start_us, 0);
  // The audio ends after 47 frames of 64/3 ms: 1.0027 s, i.e. in the 25th tick.
  EXPECT_EQ(video.durations, std::vector<uint32_t>(25, 1000));
  EXPECT_EQ(writer_->status().video_encoder, "libx264");
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(EncodeTest, APictureThatDoesNotDecodeLeavesTheLastOne) {
  const std::vector<std::string> units = TinyVideo(64, 32, 3);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, units[0]));
  ASSERT_TRUE(Video(50000, "no picture at all"));
  Silence(1, 20);
  EXPECT_EQ(Finished().Track("vide").durations.size(), 11u);
  EXPECT_EQ(writer_->status().pictures_undecodable, 1u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("1 pictures do not decode; each time the one before stays"));
}

TEST_F(EncodeTest, ALongSeriesOfThemEndsTheRun) {
  ASSERT_TRUE(Start());
  Attributes();
  uint32_t pushed = 0;
  while (pushed < 5000 && Video(pushed * 40000, "no picture")) ++pushed;
  EXPECT_EQ(pushed, EncodeVideoTrack::kMaxUndecodableInARow - 1);
  EXPECT_THAT(observer_.errors, ElementsAre(kxrtc::kMp4SinkWriterFatalError));
  EXPECT_FALSE(Stop().file_written);
  EXPECT_EQ(writer_->status().failure, WriterFailure::kVideo);
  EXPECT_EQ(writer_->status().failure_text, "1000 pictures in a row do not decode");
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(EncodeTest, WithoutAnyPictureTheFileHoldsAudioAlone) {
  ASSERT_TRUE(Start());
  Silence(1, 20);
  EXPECT_EQ(Finished().tracks.size(), 1u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("the record holds no video that can be shown"));
}

TEST_F(EncodeTest, WithoutAudioTheLastPictureIsStillShown) {
  const std::vector<std::string> units = TinyVideo(64, 32, 2);
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(0, units[0]));
  ASSERT_TRUE(Video(500000, units[1]));
  EXPECT_EQ(Finished().Track("vide").durations.size(), 13u);
  EXPECT_THAT(writer_->status().warnings, ElementsAre("the record holds no audio"));
}

TEST_F(EncodeTest, WithoutAnEncoderTheVideoIsCopiedAndItIsSaid) {
  options_.software_encoders = {"no_such_encoder", "mpeg4"};
  kx_testing::ScopedLogCapture log;
  ASSERT_TRUE(Start());
  Attributes();
  ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
  Silence(1, 5);
  EXPECT_EQ(Finished().Track("vide").sizes.size(), 1u);
  EXPECT_EQ(writer_->status().video_encoder, "");
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre("FFmpeg has no H.264 encoder that works here: the video is copied"));
  EXPECT_THAT(log.lines(),
              Contains("INFO falling back: FFmpeg has no encoder no_such_encoder here"));
}

TEST_F(EncodeTest, PreferredHardwareIsTriedFirstAndTheFallBackIsLogged) {
  options_.hardware_encoders = {"no_such_hardware"};
  kx_testing::ScopedLogCapture log;
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  ASSERT_TRUE(writer_->SetPreferHW(true));
  ASSERT_TRUE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
  EXPECT_THAT(log.lines(),
              ElementsAre("INFO falling back: FFmpeg has no encoder no_such_hardware here"));
  (void)Stop();
  log.Clear();
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  ASSERT_TRUE(writer_->SetPreferHW(false));
  ASSERT_TRUE(writer_->StartStreaming(path_.c_str(), &video_, &audio_, &observer_));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Mp4SinkWriterImpTest, TheSameInputMakesTheSameFile) {
  options_.replace_existing = true;
  for (VideoMode mode : {VideoMode::kCopy, VideoMode::kEncode}) {
    options_.video_mode = mode;
    std::string first;
    for (int run = 0; run < 2; ++run) {
      ASSERT_TRUE(Start());
      Attributes();
      ASSERT_TRUE(Video(10000, TinyVideo(64, 32, 1)[0]));
      Silence(1, 10);
      (void)Finished();
      const std::string content = kx_testing::ReadFile(path_);
      if (run == 0) first = content;
      EXPECT_TRUE(content == first);
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
