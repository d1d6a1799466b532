#include "kxrtc/recording/speaker_record_descriptor_document.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <limits>

#include "kx_utility/json_accessors.h"

namespace kxrtc {
namespace {

SpeakerRecordSession Session(int64_t i) {
  SpeakerRecordSession session;
  session.sessoin_start_timestamp_us = i == 2 ? std::numeric_limits<int64_t>::min() : i * 1000003;
  session.sessoin_end_timestamp_us = i == 2 ? std::numeric_limits<int64_t>::max() : i * 1000004;
  session.session_audio_frame_count = static_cast<uint64_t>(i);
  return session;
}

// The same members with jsoncpp's own means.
Json::Value Document(const SpeakerRecordOverall& overall,
                     const std::vector<SpeakerRecordSession>& sessions) {
  Json::Value root;
  SpeakerRecordOverallToJson(overall, &root["speaker_record_overall"]);
  root["speaker_record_session"] = Json::Value();
  for (const SpeakerRecordSession& session : sessions) {
    SpeakerRecordSessionToJson(session, &root["speaker_record_session"].append(Json::Value()));
  }
  return root;
}

std::string Expected(const Json::Value& value) { return value.toStyledString(); }

// Layouts of other versions of the JSON library, and of none.
std::string Built(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  return Json::writeString(builder, value);
}
std::string ThreeSpaces(const Json::Value& value) { return Built(value, "   "); }
std::string OneLine(const Json::Value& value) { return Built(value, ""); }
std::string CompactText(const Json::Value& value) { return kx_utility::JsonValueToString(value); }

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}
// Opens and closes the array as expected, but joins its elements otherwise.
std::string OtherSeparator(const Json::Value& value) {
  return Replaced(value.toStyledString(), "\t},\n\t\t{", "\t}, {");
}
std::string WindowsLines(const Json::Value& value) {
  return Replaced(value.toStyledString(), "\n", "\r\n");
}
// Opens the array as expected and closes it otherwise.
std::string OtherClosing(const Json::Value& value) {
  return Replaced(value.toStyledString(), "\n\t]", " ]");
}

struct StyleCase {
  const char* name;
  SpeakerRecordDescText::Style style;
};

class DescTextStyleTest : public ::testing::TestWithParam<StyleCase> {};

TEST_P(DescTextStyleTest, RendersTheWholeDocumentHoweverItIsLaidOut) {
  const SpeakerRecordDescText::Style style = GetParam().style;
  SpeakerRecordDescText text(style);
  for (int round = 0; round < 2; ++round) {
    std::vector<SpeakerRecordSession> sessions;
    SpeakerRecordOverall overall;
    EXPECT_EQ(style(Document(overall, sessions)), text.Render(overall, sessions));
    for (int64_t i = 0; i < 5; ++i) {
      sessions.push_back(Session(i));
      for (uint32_t count = 9; count < 12; ++count) {  // The last session goes on.
        sessions.back().session_video_frame_count = count;
        overall.audio_channel_count = count;
        EXPECT_EQ(style(Document(overall, sessions)), text.Render(overall, sessions)) << i;
      }
    }
    text.Reset();
  }
}

INSTANTIATE_TEST_SUITE_P(Styles, DescTextStyleTest,
                         ::testing::Values(StyleCase{"Expected", &Expected},
                                           StyleCase{"ThreeSpaces", &ThreeSpaces},
                                           StyleCase{"OneLine", &OneLine},
                                           StyleCase{"CompactText", &CompactText},
                                           StyleCase{"OtherSeparator", &OtherSeparator},
                                           StyleCase{"WindowsLines", &WindowsLines},
                                           StyleCase{"OtherClosing", &OtherClosing}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(DescTextTest, TakesManySessionsAtOnce) {
  const std::vector<SpeakerRecordSession> sessions = {Session(0), Session(1), Session(2),
                                                      Session(3)};
  SpeakerRecordDescText text;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(RenderSpeakerRecordDesc({}, sessions), text.Render({}, sessions));
  }
}

// One styling of the whole document is the proof; afterwards only one session is styled.
int g_styled_sessions_ = 0;
std::string Counting(const Json::Value& value) {
  g_styled_sessions_ += static_cast<int>(value["speaker_record_session"].size());
  return value.toStyledString();
}

TEST(DescTextTest, RendersOneSessionOnlyWhenALongRecordGoesOn) {
  SpeakerRecordDescText text(&Counting);
  std::vector<SpeakerRecordSession> sessions(1000);
  (void)text.Render({}, sessions);
  g_styled_sessions_ = 0;
  (void)text.Render({}, sessions);
  EXPECT_EQ(1, g_styled_sessions_);
}

TEST(RenderSpeakerRecordDescTest, IsTheStyledFormOfTheWholeDocument) {
  const std::vector<SpeakerRecordSession> sessions = {Session(0), Session(1)};
  EXPECT_EQ(Document({2, 1, 1, 2}, sessions).toStyledString(),
            RenderSpeakerRecordDesc({2, 1, 1, 2}, sessions));
  EXPECT_EQ(Document({0, 0, 0, 1}, {}).toStyledString(), RenderSpeakerRecordDesc({0, 0, 0, 1}, {}));
}

}  // namespace
}  // namespace kxrtc
