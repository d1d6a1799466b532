// What kxrtc says to a command line that it does not accept, and to one that asks for help.
#include <gmock/gmock.h>
#include <json/json.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/testing/kxrtc_program.h"
#include "tests/testing/record_samples.h"
#include "tests/testing/temp_dir.h"

namespace {

using kx_testing::Quoted;
using kx_testing::RunKxrtc;
using kx_testing::ShellResult;
using kx_testing::TempDir;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

constexpr int kUsage = 2;

// The subcommands by the help of the program.
std::vector<std::string> Subcommands() {
  std::istringstream lines(RunKxrtc("--help").output);
  std::vector<std::string> names;
  bool is_list = false;
  for (std::string line; std::getline(lines, line);) {
    if (is_list && line.empty()) break;
    if (is_list && line[2] != ' ') names.push_back(line.substr(2, line.find(' ', 2) - 2));
    if (line == "Subcommands:") is_list = true;
  }
  return names;
}

std::vector<std::string> LinesBeyond80(const std::string& text) {
  std::istringstream lines(text);
  std::vector<std::string> longer;
  for (std::string line; std::getline(lines, line);) {
    if (line.size() > 80) longer.push_back(line);
  }
  return longer;
}

TEST(UsageTest, EverySubcommandAnswersAlike) {
  const std::vector<std::string> names = Subcommands();
  EXPECT_THAT(names,
              IsSupersetOf({"record", "transcode", "verify", "thumbnails", "help", "version"}));
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const ShellResult help = RunKxrtc(name + " --help");
    EXPECT_EQ(help.exit_status, 0);
    EXPECT_THAT(help.output, AllOf(HasSubstr("Usage: kxrtc " + name), HasSubstr("\n  -h,--help"),
                                   HasSubstr("--log-file PATH"), Not(HasSubstr("{false}"))));
    EXPECT_THAT(LinesBeyond80(help.output), IsEmpty());
    EXPECT_EQ(RunKxrtc("help " + name).output, help.output);
    EXPECT_EQ(RunKxrtc(name + " -h").output, help.output);

    const ShellResult wrong = RunKxrtc(name + " --hepl");
    EXPECT_EQ(wrong.exit_status, kUsage);
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(wrong.errors,
              "kxrtc: there is no option --hepl; did you mean --help?\n"
              "Run kxrtc " +
                  name + " --help for more information.\n");

    const ShellResult json = RunKxrtc(name + " --json --no-such-thing");
    EXPECT_EQ(json.exit_status, kUsage);
    EXPECT_THAT(json.output,
                StartsWith(R"({"event":"error","exit_status":2,"message":"there is no)"));
    EXPECT_THAT(json.errors, StartsWith("kxrtc: there is no option --"));

    const std::string typo = name.substr(0, name.size() - 1) + name.back() + name.back();
    EXPECT_THAT(RunKxrtc(typo).errors, StartsWith("kxrtc: there is no subcommand " + typo +
                                                  "; did you mean " + name + "?\n"));
  }
}

struct UsageCase {
  const char* name;
  const char* arguments;
  const char* message;  // The whole of it.
};

class UsageMessageTest : public testing::TestWithParam<UsageCase> {};

TEST_P(UsageMessageTest, SaysWhatIsWrong) {
  const ShellResult result = RunKxrtc(GetParam().arguments);
  EXPECT_EQ(result.exit_status, kUsage);
  EXPECT_EQ(result.errors.substr(0, result.errors.find('\n')),
            std::string("kxrtc: ") + GetParam().message);
  EXPECT_EQ(result.output, "");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UsageMessageTest,
    testing::Values(
        UsageCase{"Nothing", "", "a subcommand is missing"},
        UsageCase{"NoSubcommand", "play", "there is no subcommand play"},
        UsageCase{"NoSubcommandBehindOption", "--log-file x verfy",
                  "there is no subcommand verfy; did you mean verify?"},
        UsageCase{"HelpOfNothing", "help verfy",
                  "there is no subcommand verfy; did you mean verify?"},
        UsageCase{"OptionWithValue", "transcode --vidoe copy in out.mp4",
                  "there is no option --vidoe; did you mean --video?"},
        UsageCase{"OptionWithEqualsSign", "transcode --vide=copy in out.mp4",
                  "there is no option --vide; did you mean --video?"},
        UsageCase{"OptionOfTheProgram", "info --log-fil x in",
                  "there is no option --log-fil; did you mean --log-file?"},
        UsageCase{"UnlikeAnyOption", "info --frobnicate in", "there is no option --frobnicate"},
        UsageCase{"NoSuchLetter", "info -x in", "there is no option -x"},
        UsageCase{"Value", "transcode --video=cpy in out.mp4",
                  "--video: there is no cpy; it takes copy, encode or none"},
        UsageCase{"NumberOfAValue", "transcode --video=1 in out.mp4",
                  "--video: there is no 1; it takes copy, encode or none"},
        UsageCase{"NoValue", "transcode in out.mp4 --video", "--video needs a value"},
        UsageCase{"ValueOfAFlag", "transcode in out.mp4 --quiet=maybe", "--quiet takes no value"},
        UsageCase{"LogLevel", "info in --log-file x --log-level loud",
                  "--log-level: there is no loud; it takes error, info, verbose or warning"},
        UsageCase{"TooMany", "info one two", "there is one argument too many: two"},
        UsageCase{"TooFew", "transcode in", "OUT.mp4 is required"},
        UsageCase{"NoRecord", "verify", "RECORD_DIR is required, or --files-from"},
        UsageCase{"RecordAndList", "verify in --files-from list",
                  "RECORD_DIR excludes --files-from; leave one of the two out"},
        UsageCase{"Twice", "transcode in out.mp4 --preset slow --preset fast",
                  "--preset is given twice; leave one of the two out"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(UsageTest, ShortLettersMeanTheSame) {
  const TempDir dir;
  kx_testing::TwoSessions(dir).Write();
  const std::string record = Quoted(dir.path());
  EXPECT_EQ(RunKxrtc("info -j " + record).output, RunKxrtc("info --json " + record).output);
  EXPECT_EQ(RunKxrtc("list -0 " + record).output, RunKxrtc("list --print0 " + record).output);
  EXPECT_EQ(RunKxrtc("list " + record + " -o films").output,
            RunKxrtc("list " + record + " --out films").output);
  EXPECT_EQ(RunKxrtc("-V").output, RunKxrtc("--version").output);
  const TempDir outputs;
  const std::string mp4 = Quoted(outputs.File("a.mp4"));
  const ShellResult quiet = RunKxrtc("transcode -qf --video copy " + record + " " + mp4);
  EXPECT_THAT(quiet.errors + quiet.output, Not(HasSubstr("there is no option")));
  EXPECT_THAT(RunKxrtc("transcode -qj " + record).output, StartsWith("{\"event\":\"error\""));
}

TEST(UsageTest, HelpHasOneColumnForDescriptions) {
  EXPECT_THAT(LinesBeyond80(RunKxrtc("--help").output), IsEmpty());
  const std::string help = RunKxrtc("help transcode").output;
  EXPECT_THAT(help, HasSubstr("(default)\n"
                              "                              copy: the recorded pictures"));
  EXPECT_THAT(
      help, HasSubstr("\n"
                      "  --frame-rate FRAMES         Frames a second of encoded pictures, 1 to 60\n"
                      "                              (default 24)\n"));
}

TEST(UsageTest, HelpOfNoSubcommandIsThatOfTheProgram) {
  EXPECT_EQ(RunKxrtc("help").output, RunKxrtc("--help").output);
  EXPECT_THAT(RunKxrtc("help info verify").errors,
              StartsWith("kxrtc: there is one argument too many: verify\n"));
}

TEST(UsageTest, ALetterBehindTwoDashesAsksForNothing) {
  EXPECT_EQ(RunKxrtc("info -- -j one").output, "");
}

TEST(VersionCommandTest, TellsFormatsLibrariesAndEncoders) {
  const ShellResult text = RunKxrtc("version");
  EXPECT_EQ(text.exit_status, 0) << text.errors;
  EXPECT_THAT(text.output, StartsWith(RunKxrtc("--version").output));
  EXPECT_THAT(text.output, AllOf(HasSubstr("\nFFmpeg "), HasSubstr("libavcodec "),
                                 HasSubstr("speaker record 1, speaker timeline 1"),
                                 HasSubstr("encoders that open here: libx264")));
  Json::Value document;
  std::istringstream(RunKxrtc("version --json").output) >> document;
  EXPECT_EQ(document["document"].asString(), "kxrtc.versions");
  EXPECT_EQ(document["encoders"][0].asString(), "libx264");
  EXPECT_EQ(document["formats"]["speaker_record"].asInt(), 1);
}

}  // namespace
