#include "record/show/record_report.h"

#include <gmock/gmock.h>

#include <filesystem>

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

TEST(RecordReportTest, PutsStyleScriptAndDataIntoThePage) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const std::string page = RenderReport(AnalyseRecord(dir.path()), kAssets, "a.mp4");
  EXPECT_THAT(page, StartsWith("<style>body{}</style><p>{"));
  EXPECT_THAT(page, HasSubstr("\"document\":\"kxrtc.report\""));
  EXPECT_THAT(page, HasSubstr("\"video_url\":\"a.mp4\""));
  EXPECT_THAT(page, HasSubstr("<script>run()</script>"));
}

TEST(RecordReportTest, NamesTheMediaTypesForThePage) {
  const TempDir dir;
  const std::string page = RenderReport(AnalyseRecord(dir.path()), kAssets, "");
  EXPECT_THAT(page, HasSubstr(R"("media_types":{"0":"audio only","2":"camera","3":"desktop"})"));
}

TEST(RecordReportTest, EscapesNamesThatWouldEndTheScript) {
  const TempDir dir;
  const std::string evil = dir.File("a<script>alert(1)<");
  std::filesystem::create_directory(evil);
  const std::string page = RenderReport(AnalyseRecord(evil), kAssets, "");
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
