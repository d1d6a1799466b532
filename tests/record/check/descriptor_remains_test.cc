// What a repair takes from descriptors that are whole, damaged or of another program.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "record/check/descriptor_check.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

std::string TextOf(const DescriptorRemains& remains) {
  std::string text = "no channels";
  if (const auto& channels = remains.audio_channels) {
    text = (channels->count ? std::to_string(*channels->count) : "?") + " at " +
           std::to_string(channels->offset);
  }
  const auto& media = remains.media;
  if (!media) return text + ", no media";
  return text + ", video " + std::to_string(media->video_frames) + ", audio " +
         std::to_string(media->audio_frames) + ", " + std::to_string(media->duration_us) + " us";
}

struct RemainsCase {
  const char* name;
  std::string document;
  const char* text;
};

void PrintTo(const RemainsCase& test, std::ostream* out) { *out << test.name; }

class DescriptorRemainsTest : public testing::TestWithParam<RemainsCase> {};

TEST_P(DescriptorRemainsTest, AreThoseMembersThatAreValid) {
  const kx_testing::TempDir dir;
  kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), GetParam().document);
  ReadOnlyFile file;
  file.Open(dir.File("SpeakeRecord.desc"));
  EXPECT_EQ(TextOf(ReadDescriptorRemains(file, 1)), GetParam().text);
}

std::string Channels(const std::string& count) {
  return "{\"speaker_record_overall\":{\"audio_channel_count\":" + count + "}}";
}

std::string Sessions(const std::string& sessions) {
  return "{\"speaker_record_session\":[" + sessions + "]}";
}

std::string Session(const std::string& start, const std::string& end, const std::string& video,
                    const std::string& audio) {
  return "{\"sessoin_start_timestamp_us\":" + start + ",\"sessoin_end_timestamp_us\":" + end +
         ",\"session_video_frame_count\":" + video + ",\"session_audio_frame_count\":" + audio +
         "}";
}

const RemainsCase kCases[] = {
    {"Stereo", Channels("2"), "2 at 49, no media"},
    {"Most", Channels("8"), "8 at 49, no media"},
    {"NoNumberOfAac", Channels("7"), "? at 49, no media"},
    {"NoChannel", Channels("0"), "? at 49, no media"},
    {"NoNumber", Channels("[2]"), "? at 49, no media"},
    {"NumberAsText", Channels("\"2\""), "2 at 49, no media"},
    {"ByteOrderMark", "\xEF\xBB\xBF" + Channels("6"), "6 at 52, no media"},
    {"NoOverall", "{\"speaker_record_overall\":5}", "no channels, no media"},
    {"NoMember", "{\"speaker_record_overall\":{}}", "no channels, no media"},
    {"NoDocument", "speaker", "no channels, no media"},
    {"SessionsNoList", "{\"speaker_record_session\":{}}", "no channels, no media"},
    {"NoSession", Sessions(""), "no channels, video 0, audio 0, 0 us"},
    {"OneSession", Sessions(Session("100", "350", "7", "9")),
     "no channels, video 7, audio 9, 250 us"},
    {"TwoSessions",
     Sessions(Session("100", "350", "7", "9") + "," + Session("-50", "0", "70", "90")),
     "no channels, video 77, audio 99, 300 us"},
    {"BackInTime", Sessions(Session("100", "99", "7", "9") + "," + Session("5", "6", "1", "1")),
     "no channels, video 8, audio 10, 1 us"},
    {"NoTime", Sessions(Session("100", "100", "7", "9")), "no channels, video 7, audio 9, 0 us"},
    {"AnyTimes",
     Sessions(Session("-9223372036854775808", "9223372036854775807", "1", "1") + "," +
              Session("0", "9", "1", "1")),
     "no channels, video 2, audio 2, 9223372036854775807 us"},
    {"CountsMissing",
     Sessions("{\"sessoin_start_timestamp_us\":1,\"sessoin_end_timestamp_us\":3}," +
              Session("0", "5", "\"7\"", "-1")),
     "no channels, video 0, audio 0, 7 us"},
    {"TimesMissing",
     Sessions("{\"session_video_frame_count\":7},{\"session_audio_frame_count\":9}"),
     "no channels, video 7, audio 9, 0 us"},
    {"MostFrames",
     Sessions(Session("0", "0", "4294967296", "4294967297") + "," +
              Session("0", "0", "18446744073709551615", "1")),
     "no channels, video 8589934592, audio 4294967297, 0 us"},
};

INSTANTIATE_TEST_SUITE_P(Descriptors, DescriptorRemainsTest, testing::ValuesIn(kCases),
                         [](const auto& test) { return test.param.name; });

TEST(DescriptorSizeTest, AsManyBytesAsTheSessionsNeedAreRead) {
  const kx_testing::TempDir dir;
  for (const uint64_t beyond : {0, 1}) {
    std::string document = Channels("2");
    document.resize(MaxDescriptorSize(3) + beyond, ' ');
    kx_testing::WriteFile(dir.File("SpeakeRecord.desc"), document);
    ReadOnlyFile file;
    file.Open(dir.File("SpeakeRecord.desc"));
    EXPECT_EQ(ReadDescriptorRemains(file, 3).audio_channels.has_value(), beyond == 0);
  }
}

}  // namespace
}  // namespace kxrtc_host
