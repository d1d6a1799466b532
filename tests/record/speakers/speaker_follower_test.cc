#include "record/speakers/speaker_follower.h"

#include <gmock/gmock.h>

#include <vector>

namespace kxrtc_host {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using Kind = TimelineEntry::Kind;

class Turns final : public TurnObserver {
 public:
  void OnHeard(const SpeakerTurn& turn) override { heard.push_back(turn); }
  void OnSeen(const SpeakerTurn& turn) override { seen.push_back(turn); }

  std::vector<SpeakerTurn> heard;
  std::vector<SpeakerTurn> seen;
};

auto IsTurn(int64_t start_us, int64_t end_us, uint32_t user_id, uint32_t media_type = 0) {
  return ::testing::AllOf(::testing::Field(&SpeakerTurn::start_us, start_us),
                          ::testing::Field(&SpeakerTurn::end_us, end_us),
                          ::testing::Field(&SpeakerTurn::user_id, user_id),
                          ::testing::Field(&SpeakerTurn::media_type, media_type));
}

TimelineEntry Voice(uint32_t user_id, bool on) {
  TimelineEntry entry;
  entry.kind = Kind::kVoice;
  entry.user_id = user_id;
  entry.on = on;
  return entry;
}

TimelineEntry Left(uint32_t user_id) {
  TimelineEntry entry;
  entry.kind = Kind::kLeft;
  entry.user_id = user_id;
  return entry;
}

TimelineEntry Selected(uint32_t user_id, uint32_t ssrc, uint32_t media_type) {
  TimelineEntry entry;
  entry.kind = Kind::kSelected;
  entry.user_id = user_id;
  entry.ssrc = ssrc;
  entry.media_type = media_type;
  return entry;
}

TEST(SpeakerFollowerTest, TellsWhoIsHeard) {
  Turns turns;
  SpeakerFollower follower(&turns);
  follower.Take(Voice(1, true), 10);
  follower.Take(Voice(2, true), 20);
  follower.Take(Voice(1, true), 25);  // Again: the turn goes on.
  follower.Take(Voice(1, false), 30);
  follower.Take(Voice(1, false), 35);
  follower.Take(Voice(3, true), 40);
  follower.Take(Left(3), 50);
  follower.Finish(60);
  EXPECT_THAT(turns.heard, ElementsAre(IsTurn(10, 30, 1), IsTurn(40, 50, 3), IsTurn(20, 60, 2)));
}

TEST(SpeakerFollowerTest, TellsWhoIsSeen) {
  Turns turns;
  SpeakerFollower follower(&turns, 5);
  follower.Take(Selected(1, 11, 2), 10);
  follower.Take(Selected(2, 12, 3), 20);
  follower.Take(Left(2), 25);  // The picture stays until another is selected.
  follower.Take(Selected(2, 0, 2), 30);
  follower.Take(Selected(0, 0, 0), 40);
  follower.Finish(60);
  EXPECT_THAT(turns.seen, ElementsAre(IsTurn(5, 10, 0), IsTurn(10, 20, 1, 2), IsTurn(20, 30, 2, 3),
                                      IsTurn(30, 40, 2), IsTurn(40, 60, 0)));
}

TEST(SpeakerFollowerTest, HasABound) {
  Turns turns;
  SpeakerFollower follower(&turns);
  for (uint32_t user = 1; user <= SpeakerFollower::kMaxSpeakers + 1; ++user) {
    follower.Take(Voice(user, true), 0);
  }
  follower.Finish(1);
  EXPECT_THAT(turns.heard, SizeIs(SpeakerFollower::kMaxSpeakers));
}

}  // namespace
}  // namespace kxrtc_host
