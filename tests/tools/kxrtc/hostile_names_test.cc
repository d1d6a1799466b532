// Names, paths, values and scenarios that carry controls of a terminal: none of them reaches it, in
// what the commands say on standard output and in their errors.
#include <gmock/gmock.h>
#include <json/json.h>

#include <filesystem>
#include <memory>
#include <ostream>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/tiny_media.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;

// Escape, raw and encoded C1, an override of the reading direction, a new line, delete.
constexpr char kHostile[] = "a\x1B[2J\x9B\xC2\x9B\xE2\x80\xAE\nINJECTED\x7F";

bool Controls(const std::string& text) {
  for (const char* harmful : {"\x1B", "\x7F", "\x9B", "\xE2\x80\xAE", "\nINJECTED"}) {
    if (text.find(harmful) != std::string::npos) return true;
  }
  return false;
}

struct NameCase {
  const char* name;
  const char* arguments;  // HOSTILE stands for such a name, RECORD, TORN and DIR for folders.
  int exit_status;
};

void PrintTo(const NameCase& name_case, std::ostream* out) { *out << name_case.name; }

class HostileNamesTest : public ::testing::TestWithParam<NameCase> {
 protected:
  void SetUp() override {
    for (const std::string& folder : {record(), torn()}) {
      std::filesystem::create_directory(folder);
      const TempDir made;
      kx_testing::RecordBuilder builder = kx_testing::TwoSessions(made);
      if (folder == torn()) builder.RawIndex("torn");
      builder.Write();
      std::filesystem::copy(made.path(), folder);
    }
    kx_testing::WriteFile(torn() + "/SpeakeRecord.desc", std::string("{\"a") + kHostile);
    static const std::string video = kx_testing::TinyVideo(64, 48, 2)[0];
    kx_testing::WriteFile(dir_.File("a.264"), video);
    Json::Value scenario;
    scenario["duration"] = 0.2;
    scenario["participants"][0]["user_id"] = 1;
    scenario["participants"][0]["name"] = kHostile;
    scenario["participants"][0]["camera"]["source"] = dir_.File("a.264");
    scenario["participants"][0]["camera"]["loop"] = true;
    Write("plays.json", scenario);
    scenario["participants"][0]["camera"]["source"] = dir_.File(kHostile) + ".mp4";
    Write("no_source.json", scenario);
    scenario[kHostile] = 1;
    Write("no_member.json", scenario);
    kx_testing::WriteFile(dir_.File("no_json"), kHostile);
  }

  void Write(const char* name, const Json::Value& value) const {
    kx_testing::WriteFile(dir_.File(name), Json::writeString(Json::StreamWriterBuilder(), value));
  }

  std::string record() const { return dir_.File(std::string("record") + kHostile); }
  std::string torn() const { return dir_.File(std::string("torn") + kHostile); }

  std::string Arguments() const {
    std::string arguments = GetParam().arguments;
    for (const auto& [word, value] :
         {std::pair<std::string, std::string>{"HOSTILE", dir_.File(kHostile)},
          {"RECORD", record()},
          {"TORN", torn()},
          {"VALUE", kHostile},
          {"DIR", dir_.path()}}) {
      for (size_t at = 0; (at = arguments.find(word, at)) != std::string::npos;) {
        // What follows the word belongs to the path.
        const size_t end = std::min(arguments.find(' ', at), arguments.size());
        const std::string quoted =
            Quoted(value + arguments.substr(at + word.size(), end - at - word.size()));
        arguments.replace(at, end - at, quoted);
        at += quoted.size();
      }
    }
    return arguments;
  }

  const TempDir dir_;
};

TEST_P(HostileNamesTest, NeverReachTheTerminal) {
  const ShellResult run = RunKxrtc(Arguments());
  EXPECT_EQ(run.exit_status, GetParam().exit_status) << run.errors;
  EXPECT_FALSE(Controls(run.output)) << run.output;
  EXPECT_FALSE(Controls(run.errors)) << run.errors;
  if (std::string(GetParam().arguments).find("--json") == std::string::npos) return;
  // The documents still have the names, escaped as JSON does it.
  EXPECT_THAT(run.output, ::testing::HasSubstr("\\u001b[2J"));
}

INSTANTIATE_TEST_SUITE_P(
    All, HostileNamesTest,
    ::testing::Values(
        NameCase{"NoSubcommand", "VALUE", 2}, NameCase{"UnknownOption", "info RECORD --VALUE", 2},
        NameCase{"TooManyWords", "info RECORD VALUE", 2},
        NameCase{"LogFile", "info RECORD --log-file HOSTILE/no/log", 2},
        NameCase{"LogLevel", "info RECORD --log-file DIRlog --log-level VALUE", 2},
        NameCase{"Info", "info RECORD", 0}, NameCase{"InfoJson", "info RECORD --json", 0},
        NameCase{"InfoTorn", "info TORN", 0}, NameCase{"InfoWithoutRecord", "info HOSTILE", 3},
        NameCase{"Dump", "dump RECORD", 0}, NameCase{"DumpWithoutRecord", "dump HOSTILE", 3},
        NameCase{"DumpTime", "dump RECORD --from VALUE", 2}, NameCase{"Verify", "verify RECORD", 0},
        NameCase{"VerifyTorn", "verify TORN", 13},
        NameCase{"VerifyTornJson", "verify TORN --json", 13},
        NameCase{"VerifyWithoutRecord", "verify HOSTILE", 13},
        NameCase{"List", "list DIR --out HOSTILE", 0}, NameCase{"ListJson", "list DIR --json", 0},
        NameCase{"ListWithoutFolder", "list HOSTILE/no", 3},
        NameCase{"Estimate", "estimate RECORD", 0}, NameCase{"EstimateTorn", "estimate TORN", 3},
        NameCase{"EstimateWithoutRecord", "estimate HOSTILE", 3},
        NameCase{"Repair", "repair TORN HOSTILE --channels 2", 0},
        NameCase{"RepairIntoRecord", "repair TORN RECORD", 5},
        NameCase{"RepairChannels", "repair TORN HOSTILE --channels VALUE", 2},
        NameCase{"RepairWithoutRecord", "repair HOSTILE DIRnew", 3},
        NameCase{"Report", "report RECORD HOSTILE.html", 0},
        NameCase{"ReportIntoNoFolder", "report RECORD HOSTILE/page.html", 5},
        NameCase{"ReportVideo", "report RECORD DIRpage.html --video HOSTILE.mp4", 2},
        NameCase{"ReportOntoRecord", "report RECORD RECORD/SpeakeRecord.264", 5},
        NameCase{"Transcode", "transcode RECORD HOSTILE.mp4 --video copy", 0},
        NameCase{"TranscodeTorn", "transcode TORN DIRa.mp4", 3},
        NameCase{"TranscodeOntoRecord", "transcode RECORD RECORD/SpeakeRecord.264", 5},
        NameCase{"TranscodeIntoNoFolder", "transcode RECORD HOSTILE/a.mp4", 5},
        NameCase{"TranscodeTornJson", "transcode TORN DIRa.mp4 --json", 3},
        NameCase{"TranscodeMode", "transcode RECORD DIRa.mp4 --video VALUE", 2},
        NameCase{"TranscodePreset", "transcode RECORD DIRa.mp4 --preset VALUE", 2},
        NameCase{"H264", "h264 HOSTILE", 3}, NameCase{"H264Folder", "h264 RECORD", 3},
        NameCase{"H264Copy", "h264 RECORD/SpeakeRecord.264 --rewrite-vui HOSTILE/no/copy", 5},
        NameCase{"Record", "record DIRplays.json HOSTILE", 0},
        NameCase{"RecordJson", "record DIRplays.json HOSTILE --json", 0},
        NameCase{"RecordNoScenario", "record HOSTILE.json DIRnew", 9},
        NameCase{"RecordNoJson", "record DIRno_json DIRnew", 9},
        NameCase{"RecordNoMember", "record DIRno_member.json DIRnew", 9},
        NameCase{"RecordNoSource", "record DIRno_source.json DIRnew", 10},
        NameCase{"RecordOverRecord", "record DIRplays.json RECORD", 5},
        NameCase{"RecordDuration", "record DIRplays.json DIRnew --duration VALUE", 2}),
    [](const auto& test) { return test.param.name; });

}  // namespace
