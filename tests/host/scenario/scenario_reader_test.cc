#include "host/scenario/scenario_reader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::SizeIs;

// The members of one participant, wrapped into a whole document whose third line they are.
std::string WithParticipant(const std::string& members) {
  return "{\n\"participants\": [\n{" + members + "}\n]}";
}

TEST(ScenarioReaderTest, ReadsEveryMember) {
  const std::string text = R"({
    "duration": 12.5,
    "participants": [
      {"user_id": 7, "name": "Ada", "local": true, "camera": "ada.mp4",
       "share": {"source": "/media/slides.264", "format": "h264", "frame_rate": 10, "loop": true},
       "events": [{"at": 0.5, "do": "join"}, {"at": 1, "do": "share_on"}, {"at": 2, "do": "leave"}]},
      {"user_id": 8, "microphone": {"source": "rtp://127.0.0.1:5004"}}
    ]
  })";
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(ParseScenario(text, "talks/monday.json", &scenario, &error)) << error;
  EXPECT_EQ(scenario.duration_us, 12500000);
  ASSERT_THAT(scenario.participants, SizeIs(2));
  const ScenarioParticipant& ada = scenario.participants[0];
  EXPECT_EQ(ada.user_id, 7u);
  EXPECT_EQ(ada.name, "Ada");
  EXPECT_TRUE(ada.local);
  EXPECT_EQ(ada.camera->source, "talks/ada.mp4");
  EXPECT_FALSE(ada.camera->live);
  EXPECT_TRUE(ada.microphone_from_camera);
  EXPECT_EQ(ada.share->source, "/media/slides.264");
  EXPECT_EQ(ada.share->format, "h264");
  EXPECT_EQ(ada.share->frame_rate, 10);
  EXPECT_TRUE(ada.share->loop);
  EXPECT_THAT(ada.events, ElementsAre(Field(&ScenarioEvent::at_us, 500000),
                                      Field(&ScenarioEvent::at_us, 1000000),
                                      Field(&ScenarioEvent::at_us, 2000000)));
  const ScenarioParticipant& other = scenario.participants[1];
  EXPECT_EQ(other.name, "user 8");
  EXPECT_FALSE(other.local);
  EXPECT_FALSE(other.microphone_from_camera);
  EXPECT_TRUE(other.microphone->live);
}

TEST(ScenarioReaderTest, LetsWhoHasNoJoinBePresentFromTheStart) {
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(ParseScenario(
      WithParticipant(R"("user_id":1,"camera":"a.mp4","events":[{"at":3,"do":"mute"}])"), "s.json",
      &scenario, &error))
      << error;
  EXPECT_THAT(scenario.participants[0].events,
              ElementsAre(Field(&ScenarioEvent::action, ScenarioAction::kJoin),
                          Field(&ScenarioEvent::action, ScenarioAction::kMute)));
}

struct SourceCase {
  const char* name;
  const char* source;
  const char* resolved;
  bool live;
};

class SourceTest : public ::testing::TestWithParam<SourceCase> {};

TEST_P(SourceTest, TakesPathsRelativeToTheScenarioAndKnowsLiveSources) {
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(ParseScenario(
      WithParticipant(R"("user_id":1,"camera":")" + std::string(GetParam().source) + "\""),
      "dir/s.json", &scenario, &error))
      << error;
  EXPECT_EQ(scenario.participants[0].camera->source, GetParam().resolved);
  EXPECT_EQ(scenario.participants[0].camera->live, GetParam().live);
}

INSTANTIATE_TEST_SUITE_P(
    ScenarioReaderTest, SourceTest,
    ::testing::Values(SourceCase{"File", "a.mp4", "dir/a.mp4", false},
                      SourceCase{"Absolute", "/m/a.mp4", "/m/a.mp4", false},
                      SourceCase{"ColonBehindASlash", "x/a:b.mp4", "dir/x/a:b.mp4", false},
                      SourceCase{"FileScheme", "file:a.mp4", "file:a.mp4", false},
                      SourceCase{"SessionDescription", "a.sdp", "dir/a.sdp", true},
                      SourceCase{"Udp", "udp://127.0.0.1:5000", "udp://127.0.0.1:5000", true},
                      SourceCase{"Rtsp", "rtsp://h/x", "rtsp://h/x", true}),
    [](const auto& test) { return test.param.name; });

struct ErrorCase {
  const char* name;
  std::string text;
  const char* error;
};

class ScenarioErrorTest : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(ScenarioErrorTest, NamesTheLineAndTheMember) {
  Scenario scenario;
  std::string error;
  EXPECT_FALSE(ParseScenario(GetParam().text, "s.json", &scenario, &error));
  EXPECT_EQ(error, GetParam().error);
  EXPECT_THAT(scenario.participants, SizeIs(0));
}

constexpr char kSecondsText[] = "must be a number of seconds from 0 to 604800";

const ErrorCase kDocumentErrors[] = {
    {"Empty", "", "s.json:1: is not JSON: Syntax error: value, object or array expected."},
    {"NoJson", "{\n\"a\" 1}", "s.json:2: is not JSON: Missing ':' after object member name"},
    {"TooDeep", std::string(100, '['),
     "s.json:1: is not JSON: Exceeded stackLimit in readValue()."},
    {"NoObject", "[]", "s.json:1: must be an object"},
    {"UnknownMember", "{\n\n\"people\": []}", "s.json:3: people: is not a known member"},
    {"NoParticipants", "\n{}", "s.json:2: participants: is missing"},
    {"ParticipantsNoArray", "{\"participants\": 3}", "s.json:1: participants: must be an array"},
    {"EmptyParticipants", "{\n\"participants\":\n[]}",
     "s.json:3: participants: a conference needs at least one participant"},
    {"ZeroDuration", "{\"duration\": 0, \"participants\": []}",
     "s.json:1: duration: must be more than 0"},
    {"LongDuration", "{\"duration\": 604801, \"participants\": []}",
     "s.json:1: duration: must be a number of seconds from 0 to 604800"},
    {"TwoOfOneId",
     "{\"participants\": [{\"user_id\":1,\"camera\":\"a\"},\n{\"user_id\":1,\"camera\":\"a\"}]}",
     "s.json:2: participants[1].user_id: is used twice"},
    {"TwoLocals",
     "{\"participants\": [{\"user_id\":1,\"camera\":\"a\",\"local\":true},\n"
     "{\"user_id\":2,\"camera\":\"a\",\"local\":true}]}",
     "s.json:2: participants[1].local: only one participant can be local"},
};

INSTANTIATE_TEST_SUITE_P(Document, ScenarioErrorTest, ::testing::ValuesIn(kDocumentErrors),
                         [](const auto& test) { return test.param.name; });

// What is wrong with one participant; `error` is what follows "s.json:3: participants[0]".
struct ParticipantErrorCase {
  const char* name;
  const char* members;
  std::string error;
};

class ParticipantErrorTest : public ::testing::TestWithParam<ParticipantErrorCase> {};

TEST_P(ParticipantErrorTest, NamesTheMember) {
  Scenario scenario;
  std::string error;
  EXPECT_FALSE(ParseScenario(WithParticipant(GetParam().members), "s.json", &scenario, &error));
  EXPECT_EQ(error, "s.json:3: participants[0]" + GetParam().error);
}

const ParticipantErrorCase kMemberErrors[] = {
    {"Unknown", R"("user_id":1,"camara":"a")", ".camara: is not a known member"},
    {"NoUserId", R"("camera":"a")", ".user_id: is missing"},
    {"UserIdZero", R"("user_id":0,"camera":"a")",
     ".user_id: must be a whole number from 1 to 4294967295"},
    {"UserIdTooLarge", R"("user_id":4294967296,"camera":"a")",
     ".user_id: must be a whole number from 1 to 4294967295"},
    {"UserIdText", R"("user_id":"1","camera":"a")",
     ".user_id: must be a whole number from 1 to 4294967295"},
    {"NameNoText", R"("user_id":1,"name":5,"camera":"a")", ".name: must be a string"},
    {"NameEmpty", R"("user_id":1,"name":"","camera":"a")",
     ".name: must not be empty or contain a zero character"},
    {"LocalNoFlag", R"("user_id":1,"local":1,"camera":"a")", ".local: must be true or false"},
    {"NoMedia", R"("user_id":1)", ": needs a camera, a share or a microphone"},
    {"CameraNumber", R"("user_id":1,"camera":5)",
     ".camera: must be a source's path or an object with the member \"source\""},
    {"CameraNoSource", R"("user_id":1,"camera":{})", ".camera.source: is missing"},
    {"CameraUnknown", R"("user_id":1,"camera":{"source":"a","size":1})",
     ".camera.size: is not a known member"},
    {"LiveLoop", R"("user_id":1,"camera":{"source":"udp://h:1","loop":true})",
     ".camera.loop: a live source cannot loop"},
    {"FrameRate", R"("user_id":1,"camera":{"source":"a","frame_rate":0})",
     ".camera.frame_rate: must be a number from 1 to 240"},
    {"NestedAddress", R"("user_id":1,"camera":"concat:a|b")",
     ".camera: \"concat:\" cannot be recorded; use a path or one of file, http, https, rtmp, "
     "rtmps, "
     "rtp, rtsp, rtsps, srt, tcp, tls, udp"},
    {"LocalPlaylist", R"("user_id":1,"camera":{"source":"a.m3u8","format":"hls"})",
     ".camera: a playlist is followed only at an http or https address"},
    {"MicrophoneWithoutCamera", R"("user_id":1,"share":"s","microphone":true)",
     ".microphone: needs a source because there is no camera to take the sound from"},
};

INSTANTIATE_TEST_SUITE_P(Member, ParticipantErrorTest, ::testing::ValuesIn(kMemberErrors),
                         [](const auto& test) { return test.param.name; });

const ParticipantErrorCase kEventErrors[] = {
    {"NoArray", R"("user_id":1,"camera":"a","events":{})", ".events: must be an array"},
    {"NoObject", R"("user_id":1,"camera":"a","events":[1])", ".events[0]: must be an object"},
    {"NoTime", R"("user_id":1,"camera":"a","events":[{"do":"join"}])", ".events[0].at: is missing"},
    {"NegativeTime", R"("user_id":1,"camera":"a","events":[{"at":-1,"do":"join"}])",
     std::string(".events[0].at: ") + kSecondsText},
    {"NoAction", R"("user_id":1,"camera":"a","events":[{"at":0}])", ".events[0].do: is missing"},
    {"UnknownAction", R"("user_id":1,"camera":"a","events":[{"at":0,"do":"jump"}])",
     ".events[0].do: must be one of join, leave, camera_on, camera_off, share_on, share_off, mute, "
     "unmute"},
    {"BackInTime",
     R"("user_id":1,"camera":"a","events":[{"at":2,"do":"mute"},{"at":1,"do":"unmute"}])",
     ".events[1].at: must not be earlier than the event before it"},
    {"NoShare", R"("user_id":1,"camera":"a","events":[{"at":2,"do":"share_on"}])",
     ".events[0].do: there is no share"},
    {"NotPresent",
     R"("user_id":1,"camera":"a","events":[{"at":1,"do":"mute"},{"at":2,"do":"join"}])",
     ".events[0].do: is not present"},
};

INSTANTIATE_TEST_SUITE_P(Event, ParticipantErrorTest, ::testing::ValuesIn(kEventErrors),
                         [](const auto& test) { return test.param.name; });

TEST(ScenarioReaderTest, TellsOfAFileThatCannotBeRead) {
  const kx_testing::TempDir dir;
  Scenario scenario;
  std::string error;
  EXPECT_FALSE(LoadScenario(dir.File("none.json"), &scenario, &error));
  EXPECT_EQ(error, dir.File("none.json") + ": cannot be read: No such file or directory");
  EXPECT_FALSE(LoadScenario(dir.path(), &scenario, &error));
  EXPECT_EQ(error, dir.path() + ": cannot be read: not a regular file");
  EXPECT_FALSE(LoadScenario("/dev/zero", &scenario, &error));
  EXPECT_EQ(error, "/dev/zero: cannot be read: not a regular file");
  ASSERT_EQ(mkfifo(dir.File("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(LoadScenario(dir.File("fifo"), &scenario, &error));
  EXPECT_EQ(error, dir.File("fifo") + ": cannot be read: not a regular file");
  kx_testing::WriteFile(dir.File("large"), std::string((4 << 20) + 1, ' '));
  EXPECT_FALSE(LoadScenario(dir.File("large"), &scenario, &error));
  EXPECT_EQ(error, dir.File("large") + ": is larger than 4 MiB");
}

TEST(ScenarioReaderTest, ReadsAFile) {
  const kx_testing::TempDir dir;
  kx_testing::WriteFile(dir.File("s.json"), WithParticipant(R"("user_id":1,"camera":"a.mp4")"));
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(LoadScenario(dir.File("s.json"), &scenario, &error)) << error;
  EXPECT_EQ(scenario.participants[0].camera->source, dir.File("a.mp4"));
}

}  // namespace
}  // namespace kxrtc_host
