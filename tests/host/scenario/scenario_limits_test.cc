// Each limit of a scenario: what stands exactly at it is read, and one step beyond it is refused.
#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>

#include "host/scenario/scenario_reader.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

std::string Times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

std::string Quoted(int length) {
  return "\"" + std::string(static_cast<size_t>(length), 'x') + "\"";
}

// A document with one participant and these members of the document.
std::string Document(const std::string& members) {
  return "{" + members + R"("participants":[{"user_id":1,"camera":"a.mp4"}]})";
}

std::string WithParticipant(const std::string& members) {
  return "{\"participants\":[{" + members + "}]}";
}

std::string WithCamera(const std::string& members) {
  return WithParticipant(R"("user_id":1,"camera":{"source":"a.mp4",)" + members + "}");
}

std::string WithEvents(const std::string& events) {
  return WithParticipant(R"("user_id":1,"camera":"a.mp4","events":[)" + events + "]");
}

// `count` participants with the ids from 1.
std::string Participants(int count) {
  std::string all;
  for (int i = 1; i <= count; ++i) {
    all += (i > 1 ? "," : "") + std::string("{\"user_id\":") + std::to_string(i) +
           ",\"camera\":\"a.mp4\"}";
  }
  return "{\"participants\":[" + all + "]}";
}

// `count` events that may follow each other.
std::string Events(int count) {
  const std::string pairs = Times(count / 2, R"({"at":1,"do":"mute"},{"at":1,"do":"unmute"},)");
  const std::string all = count % 2 == 0 ? pairs : pairs + R"({"at":1,"do":"mute"},)";
  return WithEvents(all.substr(0, all.size() - 1));
}

struct LimitCase {
  const char* name;
  std::function<std::string(int)> document;
  int last;  // That is read.
  int step;  // To the first that is refused.
  const char* error;
};

void PrintTo(const LimitCase& test, std::ostream* out) { *out << test.name; }

class ScenarioLimitTest : public testing::TestWithParam<LimitCase> {};

TEST_P(ScenarioLimitTest, IsTheLastThatIsRead) {
  Scenario scenario;
  std::string error;
  EXPECT_TRUE(ParseScenario(GetParam().document(GetParam().last), "s.json", &scenario, &error))
      << error;
  EXPECT_FALSE(scenario.participants.empty());
  Scenario refused;
  const int beyond = GetParam().last + GetParam().step;
  EXPECT_FALSE(ParseScenario(GetParam().document(beyond), "s.json", &refused, &error));
  EXPECT_EQ(error, std::string("s.json:1: ") + GetParam().error);
  EXPECT_TRUE(refused.participants.empty());
}

const LimitCase kLimits[] = {
    {"TitleLength", [](int n) { return Document("\"title\":" + Quoted(n) + ","); }, 1024, 1,
     "title: must not be longer than 1024 bytes"},
    {"TitleNotEmpty", [](int n) { return Document("\"title\":" + Quoted(n) + ","); }, 1, -1,
     "title: must not be empty or contain a zero character"},
    {"DurationLongest", [](int n) { return Document("\"duration\":" + std::to_string(n) + ","); },
     604800, 1, "duration: must be a number of seconds from 0 to 604800"},
    {"DurationNotZero",
     [](int n) { return Document("\"duration\":" + std::to_string(n) + "e-6,"); }, 1, -1,
     "duration: must be more than 0"},
    {"Participants", Participants, 256, 1, "participants: contains more than 256 participants"},
    {"Events", Events, 10000, 1, "participants[0].events: contains more than 10000 events"},
    {"EventLatest",
     [](int n) { return WithEvents("{\"at\":" + std::to_string(n) + ",\"do\":\"mute\"}"); }, 604800,
     1, "participants[0].events[0].at: must be a number of seconds from 0 to 604800"},
    {"EventEarliest",
     [](int n) { return WithEvents("{\"at\":" + std::to_string(n) + ",\"do\":\"mute\"}"); }, 0, -1,
     "participants[0].events[0].at: must be a number of seconds from 0 to 604800"},
    {"EventsInOrder",
     [](int n) {
       return WithEvents("{\"at\":5,\"do\":\"mute\"},{\"at\":" + std::to_string(n) +
                         ",\"do\":\"unmute\"}");
     },
     5, -1, "participants[0].events[1].at: must not be earlier than the event before it"},
    {"NameLength",
     [](int n) { return WithParticipant(R"("user_id":1,"camera":"a","name":)" + Quoted(n)); }, 256,
     1, "participants[0].name: must not be longer than 256 bytes"},
    {"SourceLength", [](int n) { return WithParticipant(R"("user_id":1,"camera":)" + Quoted(n)); },
     4096, 1, "participants[0].camera: must not be longer than 4096 bytes"},
    {"SourceMemberLength",
     [](int n) { return WithParticipant(R"("user_id":1,"share":{"source":)" + Quoted(n) + "}"); },
     4096, 1, "participants[0].share.source: must not be longer than 4096 bytes"},
    {"FormatLength", [](int n) { return WithCamera("\"format\":" + Quoted(n)); }, 64, 1,
     "participants[0].camera.format: must not be longer than 64 bytes"},
    {"FrameRateHighest", [](int n) { return WithCamera("\"frame_rate\":" + std::to_string(n)); },
     240, 1, "participants[0].camera.frame_rate: must be a number from 1 to 240"},
    {"FrameRateLowest", [](int n) { return WithCamera("\"frame_rate\":" + std::to_string(n)); }, 1,
     -1, "participants[0].camera.frame_rate: must be a number from 1 to 240"},
};

INSTANTIATE_TEST_SUITE_P(Scenario, ScenarioLimitTest, testing::ValuesIn(kLimits),
                         [](const auto& test) { return test.param.name; });

// Members of the document and of a participant whose value has the wrong type or text.
struct WrongCase {
  const char* name;
  std::string document;
  const char* error;
};

void PrintTo(const WrongCase& test, std::ostream* out) { *out << test.name; }

class ScenarioWrongValueTest : public testing::TestWithParam<WrongCase> {};

TEST_P(ScenarioWrongValueTest, IsNamed) {
  Scenario scenario;
  std::string error;
  EXPECT_FALSE(ParseScenario(GetParam().document, "s.json", &scenario, &error));
  EXPECT_EQ(error, std::string("s.json:1: ") + GetParam().error);
}

const WrongCase kWrongValues[] = {
    {"TitleNoText", Document("\"title\":5,"), "title: must be a string"},
    {"TitleNotUtf8", Document("\"title\":\"\xFF\","), "title: must be UTF-8"},
    {"DurationNoNumber", Document("\"duration\":\"1\","),
     "duration: must be a number of seconds from 0 to 604800"},
    {"ParticipantNoObject", "{\"participants\":[5]}", "participants[0]: must be an object"},
    {"NameNotUtf8", WithParticipant("\"user_id\":1,\"camera\":\"a\",\"name\":\"\xFF\""),
     "participants[0].name: must be UTF-8"},
    {"SourceNoText", WithParticipant(R"("user_id":1,"camera":{"source":1})"),
     "participants[0].camera.source: must be a string"},
    {"SourceWithZero", WithParticipant("\"user_id\":1,\"camera\":\"a\\u0000\""),
     "participants[0].camera: must not be empty or contain a zero character"},
    {"LiveNoFlag", WithCamera("\"live\":0"), "participants[0].camera.live: must be true or false"},
    {"LoopNoFlag", WithCamera("\"loop\":0"), "participants[0].camera.loop: must be true or false"},
    {"LiveThatLoops", WithCamera("\"loop\":true,\"live\":true"),
     "participants[0].camera.loop: a live source cannot loop"},
    {"FormatNoText", WithCamera("\"format\":0"), "participants[0].camera.format: must be a string"},
    {"FrameRateNoNumber", WithCamera("\"frame_rate\":\"10\""),
     "participants[0].camera.frame_rate: must be a number from 1 to 240"},
    {"ShareWrong", WithParticipant(R"("user_id":1,"camera":"a","share":5)"),
     "participants[0].share: must be a source's path or an object with the member \"source\""},
    {"MicrophoneWrong", WithParticipant(R"("user_id":1,"camera":"a","microphone":5)"),
     "participants[0].microphone: must be a source's path or an object with the member "
     "\"source\""},
    {"EventUnknownMember", WithEvents(R"({"at":1,"do":"mute","to":1})"),
     "participants[0].events[0].to: is not a known member"},
    {"ActionNoText", WithEvents(R"({"at":1,"do":5})"),
     "participants[0].events[0].do: must be a string"},
    {"TwiceTheSameMember", R"({"duration":1,"duration":2,"participants":[]})",
     "is not JSON: Duplicate key: 'duration'"},
    {"BytesBehind", Document("") + "x", "is not JSON: Extra non-whitespace after JSON value."},
};

INSTANTIATE_TEST_SUITE_P(Scenario, ScenarioWrongValueTest, testing::ValuesIn(kWrongValues),
                         [](const auto& test) { return test.param.name; });

TEST(ScenarioValuesTest, AreTakenAsTheyStand) {
  Scenario scenario;
  std::string error;
  ASSERT_TRUE(ParseScenario(
      R"({"title":"Weekly","duration":1e-6,"participants":[
          {"user_id":4294967295,"local":false,"camera":{"source":"udp://h:1","live":false,
           "loop":true},"microphone":false},
          {"user_id":1,"local":true,"share":{"source":"a","live":true,"loop":false},
           "events":[{"at":0.0000015,"do":"join"},{"at":1,"do":"leave"}]}]})",
      "s.json", &scenario, &error))
      << error;
  EXPECT_EQ(scenario.title, "Weekly");
  EXPECT_EQ(scenario.duration_us, 1);
  const ScenarioParticipant& first = scenario.participants[0];
  EXPECT_EQ(first.user_id, 4294967295u);
  EXPECT_FALSE(first.local);
  EXPECT_FALSE(first.camera->live);
  EXPECT_TRUE(first.camera->loop);
  EXPECT_FALSE(first.microphone_from_camera);
  EXPECT_FALSE(first.microphone);
  EXPECT_TRUE(scenario.participants[1].local);
  EXPECT_TRUE(scenario.participants[1].share->live);
  EXPECT_FALSE(scenario.participants[1].microphone_from_camera);
  EXPECT_EQ(scenario.participants[1].events[0].at_us, 2);
}

TEST(ScenarioFileTest, MayHaveFourMebibytes) {
  const kx_testing::TempDir dir;
  std::string text = Document("");
  text.resize(4 << 20, ' ');
  kx_testing::WriteFile(dir.File("s.json"), text);
  Scenario scenario;
  std::string error;
  EXPECT_TRUE(LoadScenario(dir.File("s.json"), &scenario, &error)) << error;
}

}  // namespace
}  // namespace kxrtc_host
