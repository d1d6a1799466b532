#include "record/bundle/sei_mask.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/testing/masked_content.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::Masked;

std::string MaskedSei(const std::string& payload) {
  std::vector<uint8_t> bytes(payload.begin(), payload.end());
  MaskSei(&bytes);
  return std::string(bytes.begin(), bytes.end());
}

TEST(SeiMaskTest, HidesTextAndKeepsTypesAndLengths) {
  EXPECT_EQ(MaskedSei(std::string("\x05\x06secret\x04\x03usr\x80")),
            std::string("\x05\x06") + Masked(6) + "\x04\x03" + Masked(3) + "\x80");
}

TEST(SeiMaskTest, ReadsLongTypesAndLengths) {
  const std::string text(300, 's');
  EXPECT_EQ(MaskedSei(std::string("\xFF\x05\xFF\x2D") + text + "\x80"),
            std::string("\xFF\x05\xFF\x2D") + Masked(300) + "\x80");
}

TEST(SeiMaskTest, KeepsOfThePictureTimingWhatGivesADuration) {
  EXPECT_EQ(MaskedSei(std::string("\x01\x0C") + "123456789abc" + "\x80"),
            std::string("\x01\x0C") + "123456789" + Masked(3) + "\x80");
}

TEST(SeiMaskTest, KeepsEscapesSoThatLengthsStayRight) {
  const std::string escape("\0\0\3", 3);
  // Six bytes of the message have seven here.
  EXPECT_EQ(MaskedSei("\x05\x06s" + escape + "\x01xy\x04\x01u\x80"),
            "\x05\x06" + Masked(1) + escape + Masked(3) + "\x04\x01" + Masked(1) + "\x80");
}

TEST(SeiMaskTest, EndsWithMessagesThatAreCut) {
  EXPECT_EQ(MaskedSei(""), "");
  EXPECT_EQ(MaskedSei("\x05"), "\x05");
  EXPECT_EQ(MaskedSei("\x05\x09sec"), "\x05\x09" + Masked(3));
}

}  // namespace
}  // namespace kxrtc_host
