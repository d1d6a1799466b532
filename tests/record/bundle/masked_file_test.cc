#include "record/bundle/masked_file.h"

#include <gmock/gmock.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tests/testing/masked_content.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::Masked;
using ::kx_testing::MaskedContent;

class ListedMask final : public FileMask {
 public:
  explicit ListedMask(std::deque<MaskStretch> stretches) : stretches_(std::move(stretches)) {}

  bool Next(MaskStretch* stretch) override {
    if (stretches_.empty()) return false;
    *stretch = stretches_.front();
    stretches_.pop_front();
    return true;
  }

 private:
  std::deque<MaskStretch> stretches_;
};

std::unique_ptr<ListedMask> Listed(std::deque<MaskStretch> stretches) {
  return std::make_unique<ListedMask>(std::move(stretches));
}

TEST(MaskedFileTest, KeepsWhatTheMaskKeepsWhateverThePieces) {
  const std::deque<MaskStretch> stretches = {
      {2, {'a', 'b', 'c', 'd', 'e', 'f'}, 0},  // Goes on behind the next two.
      {3, {'X'}, 0},
      {4, {'Y'}, 0},
      {10, {}, 5},
      {20, {'z'}, 0},
  };
  const std::string expected =
      Masked(2) + "aXYdef" + Masked(2) + std::string(5, '\0') + Masked(5) + "z" + Masked(3);
  for (const size_t piece : {1, 2, 3, 5, 7, 24}) {
    EXPECT_EQ(MaskedContent(Listed(stretches), 24, piece), expected) << piece;
  }
}

TEST(MaskedFileTest, HidesEverythingWithoutAMask) {
  EXPECT_EQ(MaskedContent(Listed({}), 5), Masked(5));
}

TEST(MaskedFileTest, PassesOverPartsThatNobodyReads) {
  MaskedFile file;
  file.Add(Listed({{0, {}, 10}, {12, {'a', 'b', 'c'}, 0}}));
  std::string content(4, '\0');
  file.Read(13, reinterpret_cast<uint8_t*>(&content[0]), content.size());
  EXPECT_EQ(content, "bc" + Masked(2));
}

TEST(MaskedFileTest, LetsTheLastMaskCountMost) {
  MaskedFile file;
  file.Add(Listed({{0, {'a', 'b', 'c'}, 0}, {3, {'d'}, 0}}));
  file.Add(Listed({{1, {'X'}, 0}, {4, {'Y'}, 0}}));
  std::string content(6, '\0');
  file.Read(0, reinterpret_cast<uint8_t*>(&content[0]), content.size());
  EXPECT_EQ(content, "aXcdY" + Masked(1));
}

}  // namespace
}  // namespace kxrtc_host
