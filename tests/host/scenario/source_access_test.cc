#include "host/scenario/source_access.h"

#include <gmock/gmock.h>

namespace kxrtc_host {
namespace {

using Way = SourceAccess::Way;

MediaSpec Media(const std::string& source, const std::string& format = "") {
  MediaSpec media;
  media.source = source;
  media.format = format;
  return media;
}

struct AllowedSource {
  const char* name;
  const char* source;
  const char* format;  // As in the scenario.
  Way way;
  const char* protocols;
  const char* demuxer;
  bool any_format;
};

class AllowedSourceTest : public ::testing::TestWithParam<AllowedSource> {};

TEST_P(AllowedSourceTest, MayOpenWhatItNeeds) {
  SourceAccess access;
  std::string error;
  ASSERT_TRUE(FindSourceAccess(Media(GetParam().source, GetParam().format), &access, &error));
  EXPECT_EQ(error, "");
  EXPECT_EQ(access.way, GetParam().way);
  EXPECT_EQ(access.protocols, GetParam().protocols);
  EXPECT_EQ(access.format, GetParam().demuxer);
  EXPECT_EQ(access.formats.empty(), GetParam().any_format);
}

constexpr char kWeb[] = "http,https,tcp,tls,httpproxy";

INSTANTIATE_TEST_SUITE_P(
    Sources, AllowedSourceTest,
    ::testing::Values(
        AllowedSource{"File", "a/b.mp4", "", Way::kLocal, "", "", true},
        AllowedSource{"FileAddress", "file:b.mp4", "", Way::kLocal, "", "", true},
        AllowedSource{"FileWithFormat", "b", "concat", Way::kLocal, "", "concat", true},
        AllowedSource{"Description", "b.sdp", "", Way::kLocal, "rtp,udp", "sdp", true},
        AllowedSource{"DescriptionByFormat", "b", "sdp", Way::kLocal, "rtp,udp", "sdp", true},
        AllowedSource{"MediaNamedAsDescription", "b.sdp", "h264", Way::kLocal, "", "h264", true},
        AllowedSource{"Web", "http://h/a.sdp", "", Way::kStream, kWeb, "", false},
        AllowedSource{"WebWithFormat", "https://h/a", "flv", Way::kStream, kWeb, "flv", false},
        AllowedSource{"Playlist", "https://h/a", "hls", Way::kDemuxer, kWeb, "hls", false},
        AllowedSource{"Udp", "udp://h:1", "", Way::kStream, "udp", "", false},
        AllowedSource{"Rtp", "rtp://h:1", "", Way::kDemuxer, "rtp,udp", "rtp", true},
        AllowedSource{"RtpWithFormat", "rtp://h:1", "rtp", Way::kDemuxer, "rtp,udp", "rtp", true},
        AllowedSource{"Rtsp", "rtsp://h/a", "", Way::kDemuxer, "rtp,udp,tcp", "rtsp", true}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(SourceAccessTest, RefusesOtherAddressesAndFormats) {
  for (const MediaSpec& media :
       {Media("concat:a"), Media("subfile,,start,0,end,1,,:a"), Media("data:a"),
        Media("HTTP://h/a"), Media("crypto+http://h/a"), Media("pipe:"), Media("udp://h:1", "hls"),
        Media("a.m3u8", "hls"), Media("file:a.mpd", "dash"), Media("rtsp://h/a", "hls"),
        Media("rtp://h:1", "sdp")}) {
    SourceAccess access;
    std::string error;
    EXPECT_FALSE(FindSourceAccess(media, &access, &error)) << media.source;
    EXPECT_NE(error, "");
  }
}

TEST(SourceAccessTest, KnowsFormatsThatNameNothing) {
  for (const char* const format : {"h264", "mov,mp4,m4a,3gp,3g2,mj2", "matroska,webm", "wv"}) {
    EXPECT_TRUE(IsPlainFormat(format)) << format;
  }
  for (const char* const format : {"hls", "concat", "sdp", "mo", "4a", "", "image2"}) {
    EXPECT_FALSE(IsPlainFormat(format)) << format;
  }
}

TEST(SourceAccessTest, TakesThePathOfAFileAddress) {
  EXPECT_EQ(LocalPath("file:a.mp4"), "a.mp4");
  EXPECT_EQ(LocalPath("x/file:a.mp4"), "x/file:a.mp4");
  EXPECT_EQ(LocalPath("a.mp4"), "a.mp4");
}

}  // namespace
}  // namespace kxrtc_host
