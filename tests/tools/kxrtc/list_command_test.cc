// kxrtc list of trees with records.
#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/testing/conference_record.h"
#include "tests/testing/kxrtc_program.h"
#include "tests/testing/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::RunShell;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr int kOk = 0;
constexpr int kUsage = 2;
constexpr int kUnreadable = 3;
constexpr int kClosedPipe = 141;

std::vector<std::string> Pieces(const std::string& text, char end) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, end);) pieces.push_back(piece);
  return pieces;
}

class ListCommandTest : public ::testing::Test {
 protected:
  // A record that can be transcoded.
  ListCommandTest() {
    kx_testing::ConferenceRecord record(sample_, kx_testing::MakeAudio(40, 2, true));
    record.Start();
    record.Speaks(kx_testing::kCamera, {"anna", 320, 180, "high", 12, 12, 1, false, "blue"});
    record.Stop();
    record.builder().Write();
  }

  std::string Put(const std::string& path) {
    const std::string folder = root_.File(path);
    fs::create_directories(folder);
    fs::copy(sample_.path(), folder, fs::copy_options::recursive);
    return folder;
  }

  ShellResult List(const std::string& options = "") {
    return RunKxrtc("list " + Quoted(root_.path()) + " " + options);
  }
  ShellResult ListDue(const std::string& options) {
    return List("--out " + Quoted(out_.path()) + " " + options);
  }

  TempDir sample_;
  TempDir root_;
  TempDir out_;
};

TEST_F(ListCommandTest, ShowsATable) {
  Put("a/monday");
  const std::string torn = Put("b") + "/SpeakeRecord.index";
  fs::resize_file(torn, fs::file_size(torn) - 12);
  const ShellResult result = List();
  EXPECT_EQ(result.exit_status, kOk) << result.errors;
  const std::vector<std::string> lines = Pieces(result.output, '\n');
  ASSERT_THAT(lines, SizeIs(4));
  EXPECT_THAT(lines[0], StartsWith("STATE        LENGTH       SIZE  DUE  RECORD"));
  EXPECT_THAT(lines[1], ::testing::MatchesRegex("complete    0:00:0. .* kB  -    .*/a/monday"));
  EXPECT_THAT(lines[2], ::testing::MatchesRegex("torn .*/b"));
  EXPECT_THAT(lines[3], StartsWith("2 records, "));
}

TEST_F(ListCommandTest, OfAFolderWithoutRecordsIsEmpty) {
  EXPECT_EQ(List().output, "0 records, 0 B\n");
  for (const char* format : {"--json", "--print0"}) EXPECT_EQ(List(format).output, "");
}

TEST_F(ListCommandTest, ListsAsPendingWhatTranscodeWouldMake) {
  const std::string record = Put("a/monday");
  const std::string other = Put("tuesday");
  EXPECT_THAT(Pieces(ListDue("--pending --print0").output, '\0'), ElementsAre(record, other));
  fs::create_directories(out_.File("a"));
  Json::Value line;
  ASSERT_TRUE(Json::Reader().parse(Pieces(ListDue("--json").output, '\n').at(0), line));
  EXPECT_EQ(line["document"].asString(), "kxrtc.list");
  EXPECT_EQ(line["version"].asInt(), 1);
  EXPECT_EQ(line["folder"].asString(), record);
  EXPECT_EQ(line["state"].asString(), "complete");
  EXPECT_EQ(line["files"]["index"].asUInt64(), fs::file_size(record + "/SpeakeRecord.index"));
  EXPECT_TRUE(line["due"].asBool());
  const std::string mp4 = line["output"].asString();
  EXPECT_EQ(mp4, out_.File("a/monday.mp4"));
  ASSERT_EQ(RunKxrtc("transcode --video copy " + Quoted(record) + " " + Quoted(mp4)).exit_status,
            kOk);
  EXPECT_THAT(Pieces(ListDue("--pending --print0").output, '\0'), ElementsAre(other));
  EXPECT_THAT(ListDue("").output, HasSubstr(" no   " + record + " -> " + mp4 + "\n"));
  kx_testing::AppendToFile(record + "/SpeakeRecord.aac", "more");
  EXPECT_THAT(Pieces(ListDue("--pending --print0").output, '\0'), ElementsAre(record, other));
}

TEST_F(ListCommandTest, PrintsNamesOfAnyBytesForXargs) {
  const std::string one = Put("a\nb c");
  const std::string two = Put("e\xFF");
  const ShellResult result = RunShell(
      Quoted(KXRTC_PROGRAM) + " list --print0 " + Quoted(root_.path()) + " | xargs -0 -n 1 " +
      Quoted(KXRTC_PROGRAM) + " verify --quick --json | grep -c kxrtc.verify");
  EXPECT_EQ(result.output, "2\n") << result.errors;
}

TEST_F(ListCommandTest, PrintsColumnsBeforeNamesOfAnyBytes) {
  const std::string one = Put("a\nb\tc");
  const std::string columns = " --print0 --columns due,state,output,length_us,bytes";
  EXPECT_EQ(ListDue(columns.substr(0, columns.rfind(",length_us"))).output,
            "true\tcomplete\t" + out_.path() + "a_b_c-b20526ccdfd1d268.mp4\t" + one + '\0');
  const std::string line = Pieces(List("--print0 --columns output,bytes").output, '\0').at(0);
  EXPECT_THAT(line, ::testing::MatchesRegex("\t[0-9]+\t/.*"));
  for (const char* wrong : {"--columns bytes", "--print0 --columns folder"}) {
    EXPECT_EQ(List(wrong).exit_status, kUsage) << wrong;
  }
}

TEST_F(ListCommandTest, WhatTheManifestDoesNotTellIsDue) {
  const std::string record = Put("monday");
  const std::string manifest = "--manifest " + Quoted(out_.File("manifest"));
  const std::string due = manifest + " --pending --print0";
  const auto transcode = [&](const std::string& options) {
    return RunKxrtc("transcode --if-needed --video copy " + Quoted(record) + " " +
                    Quoted(out_.File("monday.mp4")) + " " + options)
        .exit_status;
  };
  ASSERT_EQ(transcode(""), kOk);
  EXPECT_EQ(ListDue("--pending --print0").output, "");
  EXPECT_THAT(Pieces(ListDue(due).output, '\0'), ElementsAre(record));
  EXPECT_FALSE(fs::exists(out_.File("manifest")));
  EXPECT_NE(transcode(manifest + " --on-done false"), kOk);
  EXPECT_THAT(Pieces(ListDue(due).output, '\0'), ElementsAre(record));
  EXPECT_EQ(transcode(manifest + " --on-done true"), kOk);
  EXPECT_EQ(ListDue(due).output, "");
  // A killed run left it, and the next one removes it.
  kx_testing::WriteFile(out_.File(".monday.mp4.lock"), "");
  EXPECT_THAT(Pieces(ListDue(due).output, '\0'), ElementsAre(record));
  EXPECT_EQ(transcode(manifest), kOk);
  EXPECT_EQ(ListDue(due).output, "");
}

TEST_F(ListCommandTest, GivesTheRecordsOfEachRootAFolder) {
  Put("one/a");
  Put("two/a");
  const std::string roots = Quoted(root_.File("one")) + " " + Quoted(root_.File("two"));
  const ShellResult result = RunKxrtc("list --out OUT " + roots);
  EXPECT_THAT(result.output, HasSubstr("/one/a -> OUT/one/a.mp4\n"));
  EXPECT_THAT(result.output, HasSubstr("/two/a -> OUT/two/a.mp4\n"));
}

TEST_F(ListCommandTest, NamesTheRootThatIsARecord) {
  Put("monday");
  Put("monday/monday");
  const ShellResult result = RunKxrtc("list --out OUT " + Quoted(root_.File("monday/")));
  EXPECT_THAT(result.output, HasSubstr("/monday/ -> OUT/monday.mp4\n"));
  EXPECT_THAT(result.output, HasSubstr("/monday/monday -> OUT/monday/monday.mp4\n"));
}

TEST_F(ListCommandTest, RefusesWhatContradicts) {
  const std::string record = Put("one/a");
  Put("two/one/a");
  for (const auto& [arguments, why] : std::vector<std::pair<std::string, std::string>>{
           {Quoted(root_.path()) + " --pending", "--pending requires --out"},
           {"", "ROOT is required"},
           {Quoted(record) + " " + Quoted(root_.path()), record + " is inside " + root_.path()},
           {Quoted(record) + " " + Quoted(record + "/"), "give one of them"},
           {Quoted(root_.File("one")) + " " + Quoted(root_.File("two/one")),
            "have the same name: list one at a time"},
           {Quoted(root_.path()) + " --log-file " + Quoted(record + "/SpeakeRecord.index"),
            " has the name of a file of a record"}}) {
    const ShellResult result = RunKxrtc("list " + arguments);
    EXPECT_EQ(result.exit_status, kUsage) << arguments;
    EXPECT_THAT(result.errors, HasSubstr(why));
    EXPECT_EQ(result.output, "");
  }
  EXPECT_THAT(List("--json --print0").errors, HasSubstr("--json excludes --print0"));
  const std::string log = Quoted(root_.File("log"));
  EXPECT_EQ(List("--log-file " + log).exit_status, kOk);
}

TEST_F(ListCommandTest, TellsOfWhatCannotBeReadAndListsTheRest) {
  Put("a");
  const std::string missing = out_.File("missing");
  const ShellResult result = List(Quoted(missing));
  EXPECT_EQ(result.exit_status, kUnreadable);
  EXPECT_EQ(result.errors,
            "kxrtc: " + missing + ": No such file or directory; records below it may be missing\n");
  EXPECT_THAT(result.output, HasSubstr("1 record, "));
}

TEST_F(ListCommandTest, EndsWithItsReader) {
  Put("a");
  const ShellResult result =
      kx_testing::RunShellWithoutReader(Quoted(KXRTC_PROGRAM) + " list " + Quoted(root_.path()));
  EXPECT_EQ(result.exit_status, kClosedPipe);
  EXPECT_EQ(result.errors, "");
}

}  // namespace
