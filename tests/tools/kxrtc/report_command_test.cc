// kxrtc report as somebody at a terminal meets it.
#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/testing/json_outputs.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/timeline_lines.h"
#include "tests/testing/tiny_media.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

// What the page is made of.
Json::Value DataOf(const std::string& page) {
  const std::string html = kx_testing::ReadFile(page);
  const std::string mark = "type=\"application/json\">";
  const size_t start = html.find(mark) + mark.size();
  const std::string text = html.substr(start, html.find("</script>", start) - start);
  kx_testing::KeepJsonOutput("kxrtc report --json", text);
  Json::Value data;
  std::string problem;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &data, &problem)) << problem;
  return data;
}

TEST(ReportCommandTest, WritesOnePageOverAnOlderOne) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string page = target.File("page.html");
  kx_testing::WriteFile(page, "older");
  const ShellResult result = RunKxrtc("report " + Quoted(dir.path()) + " " + Quoted(page));
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  const std::string html = kx_testing::ReadFile(page);
  EXPECT_THAT(html, AllOf(HasSubstr("<!doctype html>"), HasSubstr("--camera:"),
                          HasSubstr("\"document\":\"kxrtc.report\""), HasSubstr("'use strict'")));
  EXPECT_EQ(html.find("{{"), std::string::npos);
  EXPECT_EQ(html.find("http:"), std::string::npos);
  EXPECT_EQ(html.find("https:"), std::string::npos);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(target.path()), {}), 1);
}

TEST(ReportCommandTest, ShowsPicturesThatCanBeDecoded) {
  const TempDir dir;
  const TempDir target;
  const std::string picture = kx_testing::TinyVideo(160, 120, 1).front();
  kx_testing::RecordBuilder(dir)
      .Start(0)
      .Channel(0, kx_testing::kCamera)
      .Attributes(0, 160, 120)
      .Video(0, picture)
      .Video(40000, picture.substr(0, picture.size() / 2))
      .Video(80000, picture)
      .Stop(90000)
      .Write();
  const std::string page = target.File("page.html");
  const ShellResult result = RunKxrtc("report " + Quoted(dir.path()) + " " + Quoted(page));
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  const Json::Value pictures = DataOf(page)["filmstrip"];
  ASSERT_EQ(pictures.size(), 2u) << "all but the torn one";
  EXPECT_EQ(pictures[0][0].asInt64(), 10000);
  EXPECT_EQ(pictures[1][0].asInt64(), 80001);
  EXPECT_THAT(pictures[0][1].asString(), StartsWith("data:image/jpeg;base64,/9j/"));
}

// A camera with one picture, and Ada.
void WriteTalk(const TempDir& dir) {
  kx_testing::RecordBuilder(dir)
      .Start(0)
      .Channel(0, kx_testing::kCamera)
      .Attributes(0, 160, 120)
      .Video(0, kx_testing::TinyVideo(160, 120, 1).front())
      .Stop(90000)
      .Write();
  kx_testing::TimelineLines()
      .Start(0)
      .Join(0, 5, "Ada")
      .Select(0, 5, 1)
      .Voice(10000, 5, true)
      .Stop(90000)
      .Write(dir);
}

TEST(ReportCommandTest, ShowsThePeople) {
  const TempDir dir;
  const TempDir target;
  WriteTalk(dir);
  const std::string page = target.File("page.html");
  EXPECT_EQ(RunKxrtc("report " + Quoted(dir.path()) + " " + Quoted(page)).exit_status, 0);
  const Json::Value data = DataOf(page);
  EXPECT_EQ(data["speakers"]["people"][0]["name"].asString(), "Ada");
  EXPECT_EQ(data["speakers"]["heard"].size(), 1u);
  EXPECT_EQ(data["speakers"]["seen"].size(), 1u);
  EXPECT_EQ(data["filmstrip"].size(), 1u);
  EXPECT_FALSE(data.isMember("anonymous"));
}

TEST(ReportCommandTest, AnonymousShowsNeitherNamesNorPicturesNorPaths) {
  const TempDir dir;
  const TempDir target;
  WriteTalk(dir);
  const std::string page = target.File("page.html");
  std::filesystem::remove(dir.File("SpeakeRecord.desc"));  // Named by the findings.
  const ShellResult result =
      RunKxrtc("report --anonymous " + Quoted(dir.path()) + " " + Quoted(page));
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  const std::string html = kx_testing::ReadFile(page);
  for (const std::string& secret : {std::string("Ada"), std::string("Weekly"), dir.path()}) {
    EXPECT_EQ(html.find(secret), std::string::npos) << secret;
  }
  const Json::Value data = DataOf(page);
  EXPECT_EQ(data["speakers"]["people"][0]["name"].asString(), "Speaker 1");
  EXPECT_EQ(data["filmstrip"].size(), 0u);
  EXPECT_THAT(html, HasSubstr("\"SpeakeRecord.desc: "));
}

TEST(ReportCommandTest, AVideoIsNotAnonymous) {
  const TempDir target;
  const std::string page = target.File("page.html");
  const ShellResult result =
      RunKxrtc("report --anonymous --video a.mp4 " + Quoted(target.path()) + " " + Quoted(page));
  EXPECT_EQ(result.exit_status, 2);
  EXPECT_THAT(result.errors, HasSubstr("--video excludes --anonymous"));
  EXPECT_FALSE(std::filesystem::exists(page));
}

TEST(ReportCommandTest, WritesThroughALink) {
  const TempDir dir;
  const TempDir target;
  kx_testing::TwoSessions(dir).Write();
  const std::string link = target.File("link.html");
  std::filesystem::create_symlink("page.html", link);
  const std::string arguments = "report " + Quoted(dir.path()) + " " + Quoted(link);
  const ShellResult result = RunKxrtc(arguments);
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_THAT(kx_testing::ReadFile(target.File("page.html")), HasSubstr("<!doctype html>"));
  std::filesystem::remove(target.File("page.html"));
  ASSERT_EQ(mkfifo(target.File("page.html").c_str(), 0600), 0);
  const ShellResult refused = RunKxrtc(arguments);
  EXPECT_EQ(refused.exit_status, 5);
  EXPECT_EQ(refused.errors, "kxrtc: " + link + " is not a regular file\n");
  EXPECT_TRUE(std::filesystem::is_fifo(target.File("page.html")));
}

}  // namespace
