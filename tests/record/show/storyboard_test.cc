#include "record/show/storyboard.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kxrtc_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t kSecondUs = 1000000;

// Key frames of one letter each, which says what it shows: 'g'ood, 'b'lack, 'i'con, 'd'amaged or
// 'u'nreadable.
class FakeSource final : public KeyFrameSource {
 public:
  FakeSource(int64_t duration_us, std::vector<std::pair<int64_t, char>> frames)
      : duration_us_(duration_us), frames_(std::move(frames)) {
    for (const auto& frame : frames_) times_us_.push_back(frame.first);
  }

  void set_icon(int64_t start_us, int64_t end_us) { icons_[start_us] = end_us; }

  int64_t duration_us() const override { return duration_us_; }
  const std::vector<int64_t>& times_us() const override { return times_us_; }
  [[nodiscard]] bool Read(size_t place, KeyFrame* frame) override {
    frame->time_us = times_us_[place];
    frame->access_unit.assign(1, static_cast<uint8_t>(frames_[place].second));
    return frames_[place].second != 'u';
  }
  bool ShowsIcon(int64_t time_us) const override {
    for (const auto& [start_us, end_us] : icons_) {
      if (time_us >= start_us && time_us < end_us) return true;
    }
    return false;
  }

 private:
  const int64_t duration_us_;
  const std::vector<std::pair<int64_t, char>> frames_;
  std::vector<int64_t> times_us_;
  std::map<int64_t, int64_t> icons_;
};

// A sheet is the list of its tiles.
class FakePainter final : public StoryboardPainter {
 public:
  PictureKind Decode(const KeyFrame& frame) override {
    if (frame.access_unit.size() > 1) return PictureKind::kIcon;  // The real one.
    letter_ = static_cast<char>(frame.access_unit.front());
    switch (letter_) {
      case 'g':
        return PictureKind::kGood;
      case 'b':
        return PictureKind::kBlack;
      case 'i':
        return PictureKind::kIcon;
      default:
        return PictureKind::kNone;
    }
  }
  [[nodiscard]] bool DrawTile(uint32_t x, uint32_t y) override {
    sheet_ += std::to_string(x) + "," + std::to_string(y) + " ";
    return true;
  }
  std::string TakeSheet(const ImageSize&) override { return std::exchange(sheet_, ""); }
  std::string MakePoster(const KeyFrame& frame, ImageSize* size) override {
    *size = {640, 360};
    return std::string("poster ") + static_cast<char>(frame.access_unit.front());
  }

 private:
  char letter_ = 0;
  std::string sheet_;
};

class StoryboardTest : public testing::Test {
 protected:
  bool Make(FakeSource* source, size_t count) {
    const auto parts = static_cast<int64_t>(count);
    const int64_t interval_us = (source->duration_us() + parts - 1) / parts;
    const SheetSink sink = [this](const std::string& jpeg) {
      sheets_.push_back(jpeg);
      return sheets_.size() != refused_sheet_;
    };
    return MakeStoryboard(source, &painter_, layout_, interval_us, is_wanted_, sink, &storyboard_);
  }

  // "start-end sheet/tile", times in seconds.
  std::vector<std::string> Cues() const {
    std::vector<std::string> texts;
    for (const StoryboardCue& cue : storyboard_.cues) {
      texts.push_back(std::to_string(cue.start_us / kSecondUs) + "-" +
                      std::to_string(cue.end_us / kSecondUs) + " " + std::to_string(cue.sheet) +
                      "/" + std::to_string(cue.tile));
    }
    return texts;
  }

  const SheetLayout layout_{ImageSize{160, 90}};
  FakePainter painter_;
  IsWanted is_wanted_;
  size_t refused_sheet_ = 0;
  Storyboard storyboard_;
  std::vector<std::string> sheets_;
};

TEST_F(StoryboardTest, HasOnePictureForEachPart) {
  FakeSource source(40 * kSecondUs, {{0, 'g'},
                                     {12 * kSecondUs, 'g'},
                                     {15 * kSecondUs, 'g'},
                                     {25 * kSecondUs, 'g'},
                                     {39 * kSecondUs, 'g'}});
  ASSERT_TRUE(Make(&source, 4));
  EXPECT_THAT(Cues(), ElementsAre("0-10 0/0", "10-20 0/1", "20-30 0/2", "30-40 0/3"));
  EXPECT_THAT(sheets_, ElementsAre("0,0 160,0 320,0 480,0 "));
  EXPECT_EQ(storyboard_.unreadable_pictures, 0u);
  EXPECT_EQ(StoryboardWebVtt(storyboard_, layout_,
                             [](size_t sheet) { return "s" + std::to_string(sheet) + ".jpg"; })
                .substr(0, 95),
            "WEBVTT\n\n00:00:00.000 --> 00:00:10.000\ns0.jpg#xywh=0,0,160,90\n\n"
            "00:00:10.000 --> 00:00:20.000\ns0.");
}

TEST_F(StoryboardTest, APictureStaysUntilTheNext) {
  FakeSource source(40 * kSecondUs, {{12 * kSecondUs, 'g'}, {35 * kSecondUs, 'g'}});
  ASSERT_TRUE(Make(&source, 4));
  EXPECT_THAT(Cues(), ElementsAre("0-30 0/0", "30-40 0/1"));
}

TEST_F(StoryboardTest, TheLastPartMayBeShort) {
  EXPECT_EQ(CountPictures(0, kSecondUs), 1u);
  EXPECT_EQ(CountPictures(2 * kSecondUs, kSecondUs), 2u);
  EXPECT_EQ(CountPictures(2 * kSecondUs + 1, kSecondUs), 3u);
  FakeSource source(25 * kSecondUs, {{0, 'g'}, {10 * kSecondUs, 'g'}, {20 * kSecondUs, 'g'}});
  ASSERT_TRUE(MakeStoryboard(
      &source, &painter_, layout_, 10 * kSecondUs, is_wanted_,
      [](const std::string&) { return true; }, &storyboard_));
  EXPECT_THAT(Cues(), ElementsAre("0-10 0/0", "10-20 0/1", "20-25 0/2"));
}

TEST_F(StoryboardTest, APictureThatWasNotChosenIsShownLater) {
  FakeSource source(30 * kSecondUs, {{5 * kSecondUs, 'g'}, {9 * kSecondUs, 'g'}});
  ASSERT_TRUE(Make(&source, 3));
  EXPECT_THAT(Cues(), ElementsAre("0-10 0/0", "10-30 0/1"));
}

TEST_F(StoryboardTest, DamagedPicturesAreLeftOutAndCounted) {
  FakeSource source(
      40 * kSecondUs,
      {{5 * kSecondUs, 'g'}, {15 * kSecondUs, 'd'}, {25 * kSecondUs, 'u'}, {35 * kSecondUs, 'g'}});
  ASSERT_TRUE(Make(&source, 4));
  EXPECT_THAT(Cues(), ElementsAre("0-30 0/0", "30-40 0/1"));
  EXPECT_EQ(storyboard_.unreadable_pictures, 2u);
}

TEST_F(StoryboardTest, ShowsTheIconByOneTile) {
  FakeSource source(60 * kSecondUs, {{15 * kSecondUs, 'g'}, {45 * kSecondUs, 'g'}});
  source.set_icon(0, 12 * kSecondUs);
  source.set_icon(20 * kSecondUs, 40 * kSecondUs);
  source.set_icon(56 * kSecondUs, 60 * kSecondUs);  // Not in the middle of the part.
  ASSERT_TRUE(Make(&source, 6));
  EXPECT_THAT(Cues(), ElementsAre("0-10 0/0", "10-20 0/1", "20-40 0/0", "40-60 0/2"));
}

TEST_F(StoryboardTest, FillsSheetAfterSheet) {
  std::vector<std::pair<int64_t, char>> frames;
  for (int64_t i = 0; i < 201; ++i) frames.emplace_back(i * kSecondUs, 'g');
  FakeSource exactly(200 * kSecondUs, {frames.begin(), frames.end() - 1});
  ASSERT_TRUE(Make(&exactly, 200));
  EXPECT_THAT(storyboard_.sheets, SizeIs(2));
  storyboard_ = {};
  FakeSource one_more(201 * kSecondUs, frames);
  ASSERT_TRUE(Make(&one_more, 201));
  ASSERT_THAT(storyboard_.sheets, SizeIs(3));
  EXPECT_EQ(storyboard_.sheets[0].width, 1600u);
  EXPECT_EQ(storyboard_.sheets[0].height, 900u);
  EXPECT_EQ(storyboard_.sheets[2].width, 160u);
  EXPECT_EQ(storyboard_.sheets[2].height, 90u);
  EXPECT_EQ(storyboard_.cues.back().sheet, 2u);
  EXPECT_EQ(storyboard_.cues.back().tile, 0u);
}

struct PosterCase {
  const char* name;
  std::vector<std::pair<int64_t, char>> frames;
  const char* jpeg;
  int64_t time_us;
};

class PosterTest : public StoryboardTest, public testing::WithParamInterface<PosterCase> {};

TEST_P(PosterTest, IsTheFirstGoodPicture) {
  FakeSource source(100, GetParam().frames);
  ASSERT_TRUE(Make(&source, 2));
  EXPECT_EQ(storyboard_.poster.jpeg, GetParam().jpeg);
  EXPECT_EQ(storyboard_.poster.time_us, GetParam().time_us);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PosterTest,
    testing::Values(
        PosterCase{"First", {{0, 'g'}, {50, 'g'}}, "poster g", 0},
        PosterCase{"AfterBlack", {{0, 'b'}, {1, 'b'}, {2, 'g'}, {3, 'g'}}, "poster g", 2},
        PosterCase{"AfterIcon", {{0, 'i'}, {1, 'd'}, {2, 'u'}, {3, 'g'}}, "poster g", 3},
        PosterCase{"BlackBeforeIcon", {{0, 'i'}, {1, 'b'}, {2, 'b'}}, "poster b", 1},
        PosterCase{"IconAtWorst", {{0, 'd'}, {1, 'i'}}, "poster i", 1},
        PosterCase{"None", {{0, 'd'}, {1, 'u'}}, "", 0}, PosterCase{"NoFrame", {}, "", 0}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(StoryboardTest, AfterManyBlackPicturesThePosterIsOneOfTheStoryboard) {
  std::vector<std::pair<int64_t, char>> frames;
  for (int64_t i = 0; i < 1000; ++i) frames.emplace_back(i * kSecondUs, i < 500 ? 'b' : 'g');
  FakeSource source(1000 * kSecondUs, frames);
  ASSERT_TRUE(Make(&source, 10));
  EXPECT_EQ(storyboard_.poster.kind, PictureKind::kGood);
  EXPECT_EQ(storyboard_.poster.time_us, 550 * kSecondUs);
}

TEST_F(StoryboardTest, EndsWhenNobodyWantsItOrTheSinkFails) {
  FakeSource source(40 * kSecondUs, {{0, 'g'}});
  int left = 2;
  is_wanted_ = [&left] { return left-- > 0; };
  EXPECT_FALSE(Make(&source, 4));
  EXPECT_THAT(sheets_, IsEmpty());
  is_wanted_ = nullptr;
  storyboard_ = {};
  refused_sheet_ = 1;
  EXPECT_FALSE(Make(&source, 4));
}

TEST(SheetLayoutTest, NoSideIsAboveTheLimit) {
  const SheetLayout wide(ImageSize{640, 16});
  EXPECT_EQ(wide.tiles(), 60u);
  EXPECT_EQ(wide.SizeOf(wide.tiles()).width, 3840u);
  const SheetLayout largest(ImageSize{4096, 4096});
  EXPECT_EQ(largest.tiles(), 1u);
}

}  // namespace
}  // namespace kxrtc_host
