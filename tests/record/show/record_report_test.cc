#include "record/show/record_report.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include <cinttypes>
#include <filesystem>

#include "record/index/record_text.h"
#include "record/predict/record_analysis.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const ReportAssets kAssets = {"<style>{{style}}</style><p>{{data}}</p><script>{{script}}</script>",
                              "body{}", "run()"};

ReportContents WithVideo() {
  ReportContents contents;
  contents.video_url = "a.mp4";
  return contents;
}

TEST(RecordReportTest, PutsStyleScriptAndDataIntoThePage) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const std::string page = RenderReport(AnalyseRecord(dir.path()), WithVideo(), kAssets);
  EXPECT_THAT(page, StartsWith("<style>body{}</style><p>{"));
  EXPECT_THAT(page, HasSubstr("\"document\":\"kxrtc.report\""));
  EXPECT_THAT(page, HasSubstr("\"video_url\":\"a.mp4\""));
  EXPECT_THAT(page, HasSubstr("<script>run()</script>"));
}

// What the page draws: arrays of numbers, each in a fixed order.
TEST(RecordReportTest, TheTimelineHasEachSpanMarkAndBucket) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const RecordSummary summary = AnalyseRecord(dir.path());
  const std::string page = RenderReport(summary, {}, {"{{data}}", "", ""});
  Json::Value data;
  ASSERT_TRUE(Json::Reader().parse(page, data)) << page;
  const Json::Value& timeline = data["timeline"];
  const ReplayPrediction& replay = summary.replay;
  EXPECT_EQ(timeline["duration_us"].asInt64(), replay.duration_us);
  EXPECT_EQ(timeline["span_count"].asUInt64(), replay.span_count);
  EXPECT_EQ(timeline["key_frame_count"].asUInt64(), replay.key_frame_count);
  EXPECT_EQ(timeline["bucket_us"].asInt64(), replay.bucket_us);
  std::string drawn;
  for (const OutputSpan& span : replay.spans) {
    drawn += Text("%" PRId64 ",%" PRId64 ",%u,\"%s\",%" PRId64 ";", span.start_us, span.end_us,
                  span.media_type, FillerReasonName(span.filler), span.time_us);
  }
  for (const auto* marks : {&replay.switches, &replay.sessions}) {
    for (const OutputMark& mark : *marks) {
      drawn += Text("%" PRId64 ",%u,%" PRId64 ";", mark.output_us, mark.media_type, mark.time_us);
    }
  }
  for (const int64_t time_us : replay.key_frames_us) drawn += Text("%" PRId64 ";", time_us);
  for (const OutputBucket& bucket : replay.buckets) {
    drawn += Text("%" PRIu64 ",%" PRIu64 ",%u,%u;", bucket.video_bytes, bucket.audio_bytes,
                  bucket.video_frames, bucket.key_frames);
  }
  Json::StreamWriterBuilder plain;
  plain["indentation"] = "";
  std::string there;
  for (const char* key : {"spans", "switches", "sessions", "key_frames_us", "buckets"}) {
    EXPECT_FALSE(timeline[key].empty()) << key;
    for (const Json::Value& element : timeline[key]) {
      const std::string text = Json::writeString(plain, element);
      there += (element.isArray() ? text.substr(1, text.size() - 2) : text) + ";";
    }
  }
  EXPECT_EQ(there, drawn);
}

TEST(RecordReportTest, NamesTheMediaTypesForThePage) {
  const TempDir dir;
  const std::string page = RenderReport(AnalyseRecord(dir.path()), {}, kAssets);
  EXPECT_THAT(page, HasSubstr(R"("media_types":{"0":"audio only","2":"camera","3":"desktop"})"));
}

TEST(RecordReportTest, EscapesNamesThatWouldEndTheScript) {
  const TempDir dir;
  const std::string evil = dir.File("a<script>alert(1)<");
  std::filesystem::create_directory(evil);
  const std::string page = RenderReport(AnalyseRecord(evil), {}, kAssets);
  EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
  EXPECT_THAT(page, HasSubstr("\\u003cscript>alert"));
}

TEST(RecordReportTest, EmbedsASmallVideo) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("a.mp4"), "Man\xFF");
  std::string url;
  std::string error;
  ASSERT_TRUE(VideoUrl(dir.File("a.mp4"), dir.File("page.html"), &url, &error));
  EXPECT_EQ(url, "data:video/mp4;base64,TWFu/w==");
}

TEST(RecordReportTest, LinksALargeVideoRelativeToThePage) {
  const TempDir dir;
  std::filesystem::create_directories(dir.File("pages"));
  std::filesystem::create_directories(dir.File("mp 4:s"));
  const std::string video = dir.File("mp 4:s/a#1.mp4");
  kx_testing::WriteFile(video, "");
  std::filesystem::resize_file(video, kMaxEmbeddedVideo + 1);
  std::string url;
  std::string error;
  ASSERT_TRUE(VideoUrl(video, dir.File("pages/page.html"), &url, &error));
  EXPECT_EQ(url, "../mp%204%3As/a%231.mp4");
  // A page behind a link lies where the link leads.
  std::filesystem::create_symlink("pages/page.html", dir.File("link.html"));
  ASSERT_TRUE(VideoUrl(video, dir.File("link.html"), &url, &error));
  EXPECT_EQ(url, "../mp%204%3As/a%231.mp4");
}

TEST(RecordReportTest, ExplainsAMissingVideo) {
  const TempDir dir;
  std::string url;
  std::string error;
  EXPECT_FALSE(VideoUrl(dir.File("a.mp4"), dir.File("page.html"), &url, &error));
  EXPECT_THAT(error, HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace kxrtc_host
