#include "record/parts/kept_pictures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kxrtc_host {
namespace {

struct Picture {
  int64_t at;  // Times of 1000000 us.
  bool is_key;
  int64_t decoded_at;
};

// A picture a second; 'K': a key frame, 'p': another, '.': none.
std::vector<Picture> Pictures(const std::string& text) {
  std::vector<Picture> pictures;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto at = static_cast<int64_t>(i);
    if (text[i] != '.') pictures.push_back({at, text[i] == 'K', at});
  }
  return pictures;
}

constexpr int64_t kSecond = 1000000;

struct Outcome {
  std::string text;  // "0>-2 1>-1 ...": seconds of the whole MP4, and in the file.
  uint64_t waits = 0;
  KeptPictures::Wait longest;
  int64_t lead_in_us = 0;
};

Outcome OutcomeOf(const PartRequest& request, const std::vector<Picture>& pictures) {
  const KeptParts parts(request);
  KeptPictures kept(&parts);
  Outcome outcome;
  int64_t last_decode_us = INT64_MIN;
  for (const Picture& picture : pictures) {
    const auto times =
        kept.Next({picture.at * kSecond, picture.decoded_at * kSecond, kSecond}, picture.is_key);
    if (!times) continue;
    EXPECT_GT(times->decode_us, last_decode_us);
    EXPECT_GE(times->presentation_us, times->decode_us);
    EXPECT_GT(times->duration_us, 0);
    last_decode_us = times->decode_us;
    outcome.text += (outcome.text.empty() ? "" : " ") + std::to_string(picture.at) + ">" +
                    std::to_string(times->presentation_us / kSecond);
  }
  kept.Finish(parts.FileTime(20 * kSecond));
  outcome.waits = kept.waits();
  outcome.longest = kept.longest_wait();
  outcome.lead_in_us = kept.lead_in_us();
  EXPECT_EQ(kept.has_picture(), !outcome.text.empty());
  return outcome;
}

PartRequest Seconds(int64_t from, int64_t to, std::vector<TimeRange> cuts = {}) {
  PartRequest request;
  request.from_us = from * kSecond;
  request.to_us = to < 0 ? kNoPartEnd : to * kSecond;
  for (TimeRange cut : cuts) {
    request.cuts.push_back({cut.from_us * kSecond, cut.to_us * kSecond});
  }
  return request;
}

TEST(KeptPicturesTest, AreAllOfAWholeFile) {
  const Outcome outcome = OutcomeOf({}, Pictures("Kppp"));
  EXPECT_EQ(outcome.text, "0>0 1>1 2>2 3>3");
  EXPECT_EQ(outcome.waits, 0u);
  EXPECT_EQ(outcome.lead_in_us, 0);
}

TEST(KeptPicturesTest, StartWithALeadIn) {
  PartRequest request = Seconds(3, 6);
  request.lead_in_us = kSecond;
  const Outcome outcome = OutcomeOf(request, Pictures("pKppppKp"));
  EXPECT_EQ(outcome.text, "1>-2 2>-1 3>0 4>1 5>2");
  EXPECT_EQ(outcome.waits, 0u);
  EXPECT_EQ(outcome.lead_in_us, 2 * kSecond);
}

TEST(KeptPicturesTest, ShowThePictureBeforeAPartFromItsStart) {
  PartRequest request;
  request.from_us = 3 * kSecond + 400000;
  request.lead_in_us = kSecond;
  const KeptParts parts(request);
  KeptPictures kept(&parts);
  EXPECT_EQ(kept.Next({kSecond, kSecond, 2 * kSecond}, true)->presentation_us, -2400000);
  const auto shown = kept.Next({3 * kSecond, 3 * kSecond, 9 * kSecond}, false);
  EXPECT_EQ(shown->presentation_us, 0);
  EXPECT_EQ(shown->decode_us, 0);
  EXPECT_EQ(shown->duration_us, 8600000);
  EXPECT_EQ(kept.Next({12 * kSecond, 12 * kSecond, kSecond}, false)->presentation_us, 8600000);
  EXPECT_EQ(kept.lead_in_us(), 2400000);
}

TEST(KeptPicturesTest, StartAtTheNextKeyFrameWithoutALeadIn) {
  const Outcome outcome = OutcomeOf(Seconds(3, -1), Pictures("pKppppKp"));
  EXPECT_EQ(outcome.text, "6>3 7>4");
  EXPECT_EQ(outcome.waits, 1u);
  EXPECT_EQ(outcome.longest.file_us, 0);
  EXPECT_EQ(outcome.longest.duration_us, 3 * kSecond);
}

TEST(KeptPicturesTest, StartAtAKeyFrameThere) {
  const Outcome outcome = OutcomeOf(Seconds(3, -1), Pictures("KppKp"));
  EXPECT_EQ(outcome.text, "3>0 4>1");
  EXPECT_EQ(outcome.waits, 0u);
  EXPECT_EQ(outcome.lead_in_us, 0);
}

TEST(KeptPicturesTest, WaitForAKeyFrameBehindACut) {
  const Outcome outcome = OutcomeOf(Seconds(0, -1, {{2, 4}}), Pictures("KppKppKp"));
  EXPECT_EQ(outcome.text, "0>0 1>1 6>4 7>5");
  EXPECT_EQ(outcome.waits, 1u);
  EXPECT_EQ(outcome.longest.file_us, 2 * kSecond);
  EXPECT_EQ(outcome.longest.duration_us, 2 * kSecond);
}

TEST(KeptPicturesTest, GoOnWhereTheCutHasNoPicture) {
  const Outcome outcome = OutcomeOf(Seconds(0, -1, {{2, 4}}), Pictures("Kp..pp"));
  EXPECT_EQ(outcome.text, "0>0 1>1 4>2 5>3");
  EXPECT_EQ(outcome.waits, 0u);
}

TEST(KeptPicturesTest, WaitToTheEndWithoutAKeyFrame) {
  const Outcome outcome = OutcomeOf(Seconds(0, -1, {{2, 4}}), Pictures("Kppppp"));
  EXPECT_EQ(outcome.text, "0>0 1>1");
  EXPECT_EQ(outcome.waits, 1u);
  EXPECT_EQ(outcome.longest.duration_us, 16 * kSecond);
}

TEST(KeptPicturesTest, AreNoneBehindACutOfTheirKeyFrame) {
  EXPECT_EQ(OutcomeOf(Seconds(0, -1, {{0, 1}}), Pictures("Kpppp")).text, "");
  EXPECT_EQ(OutcomeOf(Seconds(0, -1, {{0, 1}}), Pictures("KpKp")).text, "2>1 3>2");
  EXPECT_EQ(OutcomeOf(Seconds(9, -1), Pictures("KpKp")).text, "");
}

// Coded K0 p3 b1 b2 p6 b4 b5, K7: what is coded behind a removed picture may be made of it.
TEST(KeptPicturesTest, LeaveOutWhatIsCodedBehindARemovedPicture) {
  const std::vector<Picture> pictures = {{0, true, -1}, {3, false, 0}, {1, false, 1},
                                         {2, false, 2}, {6, false, 3}, {4, false, 4},
                                         {5, false, 5}, {7, true, 6},  {8, false, 8}};
  EXPECT_EQ(OutcomeOf(Seconds(0, -1, {{5, 7}}), pictures).text, "0>0 3>3 1>1 2>2 7>5 8>6");
  EXPECT_EQ(OutcomeOf(Seconds(0, 3), pictures).text, "0>0");
  EXPECT_EQ(OutcomeOf(Seconds(0, -1), pictures).text, "0>0 3>3 1>1 2>2 6>6 4>4 5>5 7>7 8>8");
}

}  // namespace
}  // namespace kxrtc_host
