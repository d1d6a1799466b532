#include "record/bundle/timeline_mask.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

std::string MaskedTimeline(const std::string& content) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File(kSpeakerTimelineFileName), content);
  TimelineMask mask;
  EXPECT_TRUE(mask.Open(dir.path()));
  std::string text;
  for (std::string part; mask.Next(&part);) text += part;
  return text;
}

const char kHeader[] = "{\"speaker_timeline\":1}\n";

TEST(TimelineMaskTest, ReplacesNamesTitleAndUsers) {
  EXPECT_EQ(
      MaskedTimeline("{\"speaker_timeline\":1,\"title\":\"Weekly\",\"room\":\"12\"}\n"
                     "{\"event\":\"start\",\"us\":1,\"utc\":\"2026-11-22T09:30:00.250000Z\"}\n"
                     "{\"event\":\"joined\",\"name\":\"Ada\",\"us\":2,\"user_id\":1001}\n"
                     "{\"event\":\"joined\",\"name\":\"Ben\",\"us\":3,\"user_id\":77}\n"
                     "{\"event\":\"selected\",\"media_type\":2,\"ssrc\":12,\"us\":4,"
                     "\"user_id\":77,\"mail\":\"ben\"}\n"
                     "{\"event\":\"selected\",\"media_type\":0,\"ssrc\":0,\"us\":5,"
                     "\"user_id\":0}\n"
                     "{\"event\":\"voice\",\"on\":true,\"us\":6,\"user_id\":1001}\n"
                     "{\"event\":\"joined\",\"name\":\"Ada L.\",\"us\":7,\"user_id\":1001}\n"),
      "{\"speaker_timeline\":1,\"title\":\"Conference\"}\n"
      "{\"event\":\"start\",\"us\":1,\"utc\":\"2026-11-22T09:30:00.250000Z\"}\n"
      "{\"event\":\"joined\",\"name\":\"Speaker 1\",\"us\":2,\"user_id\":1}\n"
      "{\"event\":\"joined\",\"name\":\"Speaker 2\",\"us\":3,\"user_id\":2}\n"
      "{\"event\":\"selected\",\"media_type\":2,\"ssrc\":12,\"us\":4,\"user_id\":2}\n"
      "{\"event\":\"selected\",\"media_type\":0,\"ssrc\":0,\"us\":5,\"user_id\":0}\n"
      "{\"event\":\"voice\",\"on\":true,\"us\":6,\"user_id\":1}\n"
      "{\"event\":\"joined\",\"name\":\"Speaker 1\",\"us\":7,\"user_id\":1}\n");
}

TEST(TimelineMaskTest, LeavesATimelineWithoutTitleWithoutOne) {
  EXPECT_EQ(MaskedTimeline(kHeader), kHeader);
}

TEST(TimelineMaskTest, HidesDamagedTornAndUnknownLines) {
  EXPECT_EQ(MaskedTimeline(std::string(kHeader) + "Ada says hello\n" +
                           "{\"event\":\"waves\",\"us\":9,\"whom\":\"Ada\"}\n" +
                           "{\"event\":\"joined\",\"na"),
            std::string(kHeader) + std::string(14, 'x') + "\n" +
                "{\"event\":\"unknown\",\"us\":9}\n" + std::string(21, 'x'));
}

TEST(TimelineMaskTest, LeavesALineThatIsTooLongTooLong) {
  const std::string text(kMaxTimelineLineBytes * 3, 'A');
  EXPECT_EQ(MaskedTimeline(kHeader + text + "\n"),
            kHeader + std::string(kMaxTimelineLineBytes, 'x') + "\n");
  EXPECT_EQ(MaskedTimeline(kHeader + text), kHeader + std::string(kMaxTimelineLineBytes, 'x'));
}

TEST(TimelineMaskTest, HidesWhatIsNoTimeline) {
  EXPECT_EQ(MaskedTimeline("Ada\nBen\n"), "xxx\nxxx\n");
  EXPECT_EQ(MaskedTimeline(""), "");
  EXPECT_EQ(MaskedTimeline("{\"speaker_timeline\":2,\"title\":\"Weekly\"}\nAda\n"),
            "{\"speaker_timeline\":2,\"title\":\"Conference\"}\nxxx\n");
}

TEST(TimelineMaskTest, GivesTheSameNumberToAllWhoAreTooMany) {
  std::string content = kHeader;
  for (int user = 1; user <= 10002; ++user) {
    content += "{\"event\":\"left\",\"us\":1,\"user_id\":" + std::to_string(50000 + user) + "}\n";
  }
  const std::string masked = MaskedTimeline(content);
  EXPECT_THAT(masked, HasSubstr("\"user_id\":10000}\n{\"event\":\"left\",\"us\":1,"
                                "\"user_id\":10001}\n{\"event\":\"left\",\"us\":1,"
                                "\"user_id\":10001}\n"));
  EXPECT_THAT(masked, Not(HasSubstr("\"user_id\":10002}")));
}

TEST(TimelineMaskTest, RefusesWhatIsNotThere) {
  const TempDir dir;
  TimelineMask mask;
  EXPECT_FALSE(mask.Open(dir.path()));
}

}  // namespace
}  // namespace kxrtc_host
