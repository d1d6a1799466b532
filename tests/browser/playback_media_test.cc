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

}  // namespace
