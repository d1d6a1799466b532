// Makes what playback.mjs plays: one conference, copied and encoded.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"

namespace {

TEST(PlaybackMediaTest, IsMade) {
  kx_testing::TempDir record;
  kx_testing::WriteLongConference(record, true);
  std::filesystem::create_directories(PLAYBACK_FOLDER);
  for (const char* mode : {"copy", "encode"}) {
    const kx_testing::ShellResult run = kx_testing::RunKxrtc(
        "transcode --force --quiet --no-hardware --preset ultrafast --video " + std::string(mode) +
        " " + record.path() + " " +
        kx_testing::Quoted(PLAYBACK_FOLDER + ("/" + std::string(mode)) + ".mp4"));
    EXPECT_EQ(run.exit_status, 0) << run.errors;
  }
}

TEST(PlaybackMediaTest, OfAChosenSizeIsMade) {
  kx_testing::TempDir record;
  kx_testing::ConferenceRecord(record, kx_testing::MakeAudio(60, 2, true))
      .Start()
      .Speaks(kx_testing::kDesktop, {"screen", 3840, 2160, "high", 3, 3})
      .AudioOnly(900)
      .Stop()
      .builder()
      .Desktop(true)
      .Write();
  const kx_testing::ShellResult run = kx_testing::RunKxrtc(
      "transcode --force --quiet --no-hardware --preset ultrafast --size source --frame-rate 30 " +
      record.path() + " " + kx_testing::Quoted(PLAYBACK_FOLDER "/source-3840x2160.mp4"));
  EXPECT_EQ(run.exit_status, 0) << run.errors;
}

// With a hidden start, and a cut in the middle of a group of pictures.
TEST(PlaybackMediaTest, OfPartsIsMade) {
  kx_testing::TempDir record;
  kx_testing::WriteLongConference(record, false);
  for (const char* mode : {"copy", "encode"}) {
    const kx_testing::ShellResult run = kx_testing::RunKxrtc(
        "transcode --force --quiet --no-hardware --preset ultrafast --from 5.3 --to 13.7 "
        "--cut 6.7-8.1 --video " +
        std::string(mode) + " " + record.path() + " " +
        kx_testing::Quoted(PLAYBACK_FOLDER + ("/parts_" + std::string(mode)) + ".mp4"));
    EXPECT_EQ(run.exit_status, 0) << run.errors;
  }
}

TEST(PlaybackMediaTest, WithBPicturesIsMade) {
  kx_testing::TempDir record;
  kx_testing::RecordBuilder builder(record);
  builder.Start(0).Channel(1, kx_testing::kCamera).Attributes(2, 128, 96);
  int64_t time_us = 3;
  for (const std::string& picture : kx_testing::MakeVideoWith(
           "reordered", 120, "bframes=3:b-adapt=0:b-pyramid=normal:keyint=48")) {
    builder.Video(time_us, picture);
    time_us += 41667;
  }
  builder.Stop(time_us).Write();
  const kx_testing::ShellResult run =
      kx_testing::RunKxrtc("transcode --force --quiet --video copy " + record.path() + " " +
                           kx_testing::Quoted(PLAYBACK_FOLDER "/reordered.mp4"));
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.errors, "kxrtc: warning: the record contains no audio\n");
}

}  // namespace
