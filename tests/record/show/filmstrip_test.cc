#include "record/show/filmstrip.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "record/check/video_check.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A "picture" is what it got.
class FakeThumbnailMaker final : public ThumbnailMaker {
 public:
  std::string Make(const uint8_t* data, uint32_t size, int32_t rotation) override {
    const std::string bytes(data, data + size);
    return bytes == "damaged" ? "" : bytes + "@" + std::to_string(rotation);
  }
};

class FilmstripTest : public testing::Test {
 protected:
  std::vector<std::string> Pictures(const std::vector<KeyFramePlace>& frames) {
    FakeThumbnailMaker maker;
    std::vector<std::string> texts;
    for (const FilmPicture& picture : MakeFilmstrip(dir_.path(), frames, &maker)) {
      texts.push_back(std::to_string(picture.output_us) + " " + picture.jpeg);
    }
    return texts;
  }

  TempDir dir_;
  std::string video_ = dir_.File("SpeakeRecord.264");
};

TEST_F(FilmstripTest, MakesAPictureOfEachFrame) {
  kx_testing::WriteFile(video_, "..first..second");
  EXPECT_THAT(Pictures({{100, {2, 5}, 0}, {200, {9, 6}, 90}}),
              ElementsAre("100 first@0", "200 second@90"));
}

TEST_F(FilmstripTest, LeavesOutWhatIsDamagedOrMissing) {
  kx_testing::WriteFile(video_, "damagedwhole");
  EXPECT_THAT(Pictures({{1, {0, 7}, 0}, {2, {7, 5}, 0}, {3, {8, 5}, 0}, {4, {1000, 1}, 0}}),
              ElementsAre("2 whole@0"));
}

TEST_F(FilmstripTest, LeavesOutFramesAboveTheLimit) {
  kx_testing::WriteFile(video_, "");
  std::filesystem::resize_file(video_, kMaxFrameBytesRead + 10);
  EXPECT_THAT(Pictures({{1, {0, kMaxFrameBytesRead + 1}, 0}}), IsEmpty());
  EXPECT_THAT(Pictures({{1, {0, kMaxFrameBytesRead}, 0}}), SizeIs(1));
}

TEST_F(FilmstripTest, ARecordWithoutVideoHasNoPicture) {
  EXPECT_THAT(Pictures({{1, {0, 5}, 0}}), IsEmpty());
}

}  // namespace
}  // namespace kxrtc_host
