// Files that have parts of a record only.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "tests/testing/mp4_writer_fixture.h"
#include "tests/testing/shell.h"

namespace kxrtc_host {
namespace {

using kx_testing::kFrameUs;
using kx_testing::Mp4File;
using kx_testing::Mp4Track;
using kx_testing::ShownLumas;
using kx_testing::SilentAudio;
using kx_testing::TinyReorderedVideo;
using kx_testing::TinyVideo;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kPictures = 96;  // 24 a second.
constexpr int kFirstLuma = 60;
constexpr int64_t kPictureUs = 41667;

int64_t Seconds(double seconds) { return static_cast<int64_t>(seconds * 1000000); }

// Each has bytes that are found nowhere else: a data stream element (ISO/IEC 14496-3, 4.4.2.7).
std::string SoundText(int64_t i) { return "the sound of frame " + std::to_string(i) + "."; }
std::string Sound(int64_t i) {
  const std::string text = SoundText(i);
  return "\x81" + std::string(1, static_cast<char>(text.size())) + text + SilentAudio();
}

std::string PictureText(size_t i) { return "the picture " + std::to_string(i) + "."; }

// The same for pictures, in a message that decoders skip (ITU-T H.264, D.1.7).
std::vector<std::string> Named(std::vector<std::string> units) {
  for (size_t i = 0; i < units.size(); ++i) {
    const std::string text = PictureText(i);
    units[i] = std::string("\0\0\0\1\x06\x05", 6) + static_cast<char>(16 + text.size()) +
               "an id of 16 byte" + text + "\x80" + units[i];
  }
  return units;
}

// TinyVideo() begins again with the first one.
int Luma(int picture) { return kFirstLuma + picture % 64; }

std::vector<int> Lumas(int first, int end) {
  std::vector<int> lumas;
  for (int i = first; i < end; ++i) lumas.push_back(Luma(i));
  return lumas;
}

std::vector<std::string> Pictures(int key_frame_distance = 24) {
  return Named(TinyVideo(64, 32, kPictures, key_frame_distance, kFirstLuma));
}

template <typename Fixture>
class PartsTest : public Fixture {
 protected:
  // Four seconds.
  void Push(const std::vector<std::string>& units) {
    ASSERT_TRUE(this->Start());
    this->Attributes();
    int64_t frame = 0;
    for (size_t i = 0; i < units.size(); ++i) {
      const int64_t time_us = static_cast<int64_t>(i) * kPictureUs;
      for (; frame * kFrameUs <= time_us; ++frame) {
        ASSERT_TRUE(this->Audio(frame * kFrameUs, Sound(frame)));
      }
      ASSERT_TRUE(this->Video(time_us, units[i]));
    }
    for (; frame * kFrameUs < static_cast<int64_t>(units.size()) * kPictureUs; ++frame) {
      ASSERT_TRUE(this->Audio(frame * kFrameUs, Sound(frame)));
    }
    frames_ = frame;
  }
  PartRequest& parts() { return this->options_.parts; }
  void Cut(double from, double to) { parts().cuts.push_back({Seconds(from), Seconds(to)}); }
  // The frames of sound whose bytes are in the file.
  std::string KeptSound() const {
    const std::string bytes = kx_testing::ReadFile(this->path_);
    std::string kept;
    int64_t first = -1;
    for (int64_t i = 1; i <= frames_; ++i) {
      const bool is_in_file = i < frames_ && bytes.find(SoundText(i)) != std::string::npos;
      if (is_in_file && first < 0) first = i;
      if (is_in_file || first < 0) continue;
      kept += (kept.empty() ? "" : " ") + std::to_string(first) + "-" + std::to_string(i - 1);
      first = -1;
    }
    return kept;
  }

  int64_t frames_ = 0;
};

using CopyPartsTest = PartsTest<kx_testing::CopyTest>;
using EncodePartsTest = PartsTest<kx_testing::EncodeTest>;

// How many of the pictures from `first` to before `end` have bytes in the file.
int PicturesIn(const std::string& path, size_t first, size_t end) {
  const std::string bytes = kx_testing::ReadFile(path);
  int count = 0;
  for (size_t i = first; i < end; ++i) {
    if (bytes.find(PictureText(i)) != std::string::npos) ++count;
  }
  return count;
}

TEST_F(CopyPartsTest, EverythingGivesTheFileWithoutParts) {
  Push(Pictures());
  ASSERT_TRUE(Stop().file_written);
  const std::string whole = kx_testing::ReadFile(path_);
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
  options_.replace_existing = true;
  parts().cuts = {{5, 5}};
  Push(Pictures());
  ASSERT_TRUE(Stop().file_written);
  EXPECT_TRUE(kx_testing::ReadFile(path_) == whole);
  EXPECT_EQ(KeptSound(), "1-" + std::to_string(frames_ - 1));
}

TEST_F(CopyPartsTest, HideTheLeadIn) {
  parts().from_us = Seconds(1.5);
  parts().to_us = Seconds(3);
  parts().lead_in_us = Seconds(1.00001);
  Push(Pictures());
  const Mp4File file = Finished();
  EXPECT_EQ(file.Track("vide").sizes.size(), 48u);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre(HasSubstr("starts at the key frame 0:00:00.499 before the part")));
  EXPECT_EQ(writer_->status().duration_us, 1500000);
  EXPECT_EQ(KeptSound(), "69-140");
  EXPECT_EQ(PicturesIn(path_, 24, 72), 48);
  EXPECT_EQ(PicturesIn(path_, 0, 24) + PicturesIn(path_, 72, kPictures), 0);
  EXPECT_EQ(ShownLumas(path_), Lumas(35, 72));
}

// A player that starts between two pictures would move all that follow.
TEST_F(CopyPartsTest, StartWithThePictureThatIsShownThen) {
  parts().from_us = Seconds(1.53);
  parts().lead_in_us = Seconds(1.00001);
  Push(Pictures());
  const Mp4Track video = Finished().Track("vide");
  EXPECT_EQ(ShownLumas(path_), Lumas(36, kPictures));
  const std::string times =
      kx_testing::RunShell(
          "ffprobe -v error -select_streams v -show_entries frame=pts_time -of "
          "csv=p=0 " +
          kx_testing::Quoted(path_) + " | grep . | head -2")
          .output;
  EXPECT_THAT(times, testing::MatchesRegex("0.000000,?\n0.0117[0-9][0-9],?\n"));
}

TEST_F(CopyPartsTest, StartAtTheNextKeyFrameWhereTheLeadInIsCut) {
  parts().from_us = Seconds(1.5);
  parts().lead_in_us = Seconds(1.00001);
  Cut(1.2, 1.3);
  Push(Pictures());
  const Mp4File file = Finished();
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre(HasSubstr("no new picture until the next key frame in 1 place, the "
                                    "longest for 0:00:00.500 at 0:00:00.000")));
  EXPECT_EQ(PicturesIn(path_, 0, 48), 0);
  EXPECT_EQ(ShownLumas(path_), Lumas(48, kPictures));
}

TEST_F(CopyPartsTest, HaveNoByteOfACut) {
  Cut(0.5, 1.75);
  Cut(3, 3.5);
  Push(Pictures());
  const Mp4File file = Finished();
  EXPECT_EQ(PicturesIn(path_, 0, 12), 12);
  EXPECT_EQ(PicturesIn(path_, 12, 48), 0);
  EXPECT_EQ(PicturesIn(path_, 48, 72), 24);
  EXPECT_EQ(PicturesIn(path_, 72, kPictures), 0);
  EXPECT_EQ(KeptSound(), "1-21 83-138 165-187");
  std::vector<int> shown = Lumas(0, 12);
  for (const int luma : Lumas(48, 72)) shown.push_back(luma);
  EXPECT_EQ(ShownLumas(path_), shown);
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre(HasSubstr("until the next key frame in 2 places, the longest for "
                                    "0:00:00.498")));
  // The cuts lasted 59 and 24 frames.
  EXPECT_NEAR(static_cast<double>(writer_->status().duration_us), 4000032 - 83 * 64000 / 3, 25000);
  const Mp4Track& sound = file.Track("soun");
  for (size_t i = 0; i < sound.durations.size(); ++i) EXPECT_EQ(sound.durations[i], 1024u) << i;
}

TEST_F(CopyPartsTest, ShowPicturesOfACutAtTheStartNoLonger) {
  Cut(0, 1);
  Push(Pictures());
  (void)Finished();
  EXPECT_EQ(ShownLumas(path_), Lumas(24, kPictures));
  EXPECT_EQ(KeptSound(), "47-" + std::to_string(frames_ - 1));
  EXPECT_THAT(writer_->status().warnings, IsEmpty());
}

TEST_F(CopyPartsTest, EndBeforeACutAtTheEnd) {
  Cut(2, 100);
  Push(Pictures());
  (void)Finished();
  EXPECT_EQ(ShownLumas(path_), Lumas(0, 48));
  EXPECT_EQ(KeptSound(), "1-91");
  EXPECT_EQ(writer_->status().duration_us, 2000000);
}

TEST_F(CopyPartsTest, KeepSoundWithoutAnyKeyFrame) {
  Cut(0, 1);
  Push(Pictures(250));
  const Mp4File file = Finished();
  ASSERT_EQ(file.tracks.size(), 1u);
  EXPECT_EQ(file.tracks[0].handler, "soun");
  EXPECT_THAT(writer_->status().warnings,
              ElementsAre(HasSubstr("the longest for 0:00:03.010 at 0:00:00.000"),
                          "the part contains no video that can be shown"));
}

TEST_F(CopyPartsTest, OfReorderedPicturesKeepWhatCanBeDecoded) {
  const std::vector<std::string> units = TinyReorderedVideo(64, 32, 7);  // I P B B P B B
  parts().to_us = 5 * kPictureUs;
  Push(units);
  (void)Finished();
  // The second P comes behind the end, so that the B pictures of both cannot be decoded.
  EXPECT_EQ(ShownLumas(path_), (std::vector<int>{40, 43, 46, 49}));
}

TEST_F(CopyPartsTest, BeyondTheEndGiveNoFile) {
  parts().from_us = Seconds(10);
  Push(Pictures());
  const Mp4WriterStatus& status = Stop();
  EXPECT_FALSE(status.file_written);
  EXPECT_EQ(status.failure, WriterFailure::kNoPart);
  EXPECT_EQ(status.failure_text, "the part that was asked for contains nothing of the record");
  EXPECT_THAT(Names(), IsEmpty());
}

class EncodedCase : public EncodePartsTest {
 protected:
  // What is shown from `from` to `to`.
  std::vector<int> Shown(double from, double to, std::vector<TimeRange> cuts = {}) {
    options_.replace_existing = true;
    video_.bit_rate_kbps = 2000;
    parts() = {Seconds(from), Seconds(to), std::move(cuts), std::nullopt};
    Push(Pictures());
    const Mp4File file = Finished();
    for (const uint32_t duration : file.Track("vide").durations) EXPECT_EQ(duration, 1000u);
    EXPECT_EQ(file.Track("vide").start_us, 0);
    return ShownLumas(path_);
  }
};

TEST_F(EncodedCase, PartsThatFollowEachOtherHaveEachFrameOnce) {
  for (const double middle : {1.5, 1.49, 1.51, 2.02}) {
    std::vector<int> two = Shown(0.5, middle);
    for (const int luma : Shown(middle, 3.2)) two.push_back(luma);
    const std::vector<int> one = Shown(0.5, 3.2);
    ASSERT_EQ(two.size(), one.size()) << middle;
    EXPECT_EQ(one.size(), 65u);
    for (size_t i = 0; i < one.size(); ++i) {
      EXPECT_LE(std::abs(two[i] - one[i]), 1) << middle << " " << i;
      EXPECT_LE(std::abs(one[i] - Luma(12 + static_cast<int>(i))), 1) << i;
    }
  }
}

TEST_F(EncodedCase, CutsAreExactToTheFrame) {
  const std::vector<int> shown = Shown(0, 100, {{Seconds(1), Seconds(2.5)}, {0, Seconds(0.25)}});
  // The sound ends a little later than the last picture, which goes on.
  ASSERT_EQ(shown.size(), 55u);
  for (size_t i = 0; i < 54; ++i) {
    const int expected = Luma(6 + static_cast<int>(i) + (i >= 18 ? 36 : 0));
    EXPECT_LE(std::abs(shown[i] - expected), 1) << i;
  }
  EXPECT_EQ(writer_->status().parts.cuts.size(), 2u);
}

}  // namespace
}  // namespace kxrtc_host
