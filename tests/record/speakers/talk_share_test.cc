#include "record/speakers/talk_share.h"

#include <gmock/gmock.h>

#include <limits>

namespace kxrtc_host {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<double> SharesOf(const std::vector<int64_t>& heard_us) {
  std::vector<Person> people(heard_us.size());
  for (size_t i = 0; i < people.size(); ++i) people[i].heard_us = heard_us[i];
  return TalkShares(people);
}

TEST(TalkShareTest, IsThePercentageOfWhatAllWereHeard) {
  EXPECT_THAT(SharesOf({30, 10, 0, 40}), ElementsAre(37.5, 12.5, 0, 50));
}

TEST(TalkShareTest, WithoutAnyTalkNobodyHasAShare) {
  EXPECT_THAT(SharesOf({0, 0}), ElementsAre(0, 0));
  EXPECT_THAT(SharesOf({}), IsEmpty());
}

TEST(TalkShareTest, TakesAnyTimes) {
  constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
  EXPECT_THAT(SharesOf({kMost, kMost}), ElementsAre(DoubleEq(50), DoubleEq(50)));
}

}  // namespace
}  // namespace kxrtc_host
