#include "record/predict/chosen_video.h"

#include <algorithm>
#include <cmath>

#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

// Level 5.2 (ITU-T H.264, table A-1): macroblocks of a picture and of a second.
constexpr uint64_t kMaxPictureMacroblocks = 36864;
constexpr uint64_t kMaxMacroblocksPerSecond = 2073600;
// A side has at most the square root of eight times the former (A.3.1).
constexpr uint32_t kMaxSide = 543 * 16;

uint64_t Macroblocks(uint32_t width, uint32_t height) {
  return uint64_t{(width + 15) / 16} * ((height + 15) / 16);
}

bool FitsLevel(const PictureSize& size, uint32_t frame_rate) {
  const uint64_t macroblocks = Macroblocks(size.width, size.height);
  return size.width <= kMaxSide && size.height <= kMaxSide &&
         macroblocks <= kMaxPictureMacroblocks &&
         macroblocks * frame_rate <= kMaxMacroblocksPerSecond;
}

uint32_t EvenSide(double side) {
  return std::max(kMinPictureSide, static_cast<uint32_t>(std::ceil(side / 2)) * 2);
}

}  // namespace

kxrtc::VideoSettings ChosenVideo(const kxrtc::VideoSettings& asked, const PictureChoice& choice) {
  kxrtc::VideoSettings video = asked;
  if (choice.width != 0 && choice.height != 0) {
    video.width = choice.width;
    video.height = choice.height;
  }
  if (choice.frame_rate != 0) video.frame_rate = choice.frame_rate;
  const auto pixels = [](const kxrtc::VideoSettings& settings) {
    return static_cast<double>(settings.width) * settings.height * settings.frame_rate;
  };
  // Of four times the pixels the replay asks for three times the bits.
  const double growth = std::log(3) / std::log(4);
  const double factor = std::pow(pixels(video) / std::max(1.0, pixels(asked)), growth);
  const auto grown = static_cast<uint32_t>(std::lround(asked.bit_rate_kbps * factor));
  if (choice.bit_rate_kbps != 0) {
    video.bit_rate_kbps = choice.bit_rate_kbps;
  } else if (factor != 1) {
    video.bit_rate_kbps = std::clamp(grown, kMinPictureBitRateKbps, kMaxPictureBitRateKbps);
  }
  return video;
}

std::string VideoObstacle(const kxrtc::VideoSettings& video) {
  const std::string size = Text("%ux%u", video.width, video.height);
  if ((video.width | video.height) % 2 != 0) {
    return "the sides of " + size + " are not even, as H.264 video needs it";
  }
  if (video.width < kMinPictureSide || video.height < kMinPictureSide) {
    return size + " is too small: each side needs " + std::to_string(kMinPictureSide) + " pixels";
  }
  if (!FitsLevel({video.width, video.height}, 1)) {
    return size +
           " is more than H.264 level 5.2 allows; choose a size such as 3840x2160, 4096x2304 "
           "or 2304x4096";
  }
  if (!FitsLevel({video.width, video.height}, video.frame_rate)) {
    return CountText(video.frame_rate, "frame") + " a second of " + size +
           " are more than H.264 level 5.2 allows; choose a lower frame rate or a smaller size";
  }
  return "";
}

PictureSize EncodableSize(const PictureSize& size, uint32_t frame_rate) {
  PictureSize fitting = {EvenSide(size.width), EvenSide(size.height)};
  // In steps of a percent; a side of a hostile stream has at most 16384 pixels.
  for (double scale = 0.99; !FitsLevel(fitting, frame_rate) && scale > 0; scale -= 0.01) {
    fitting = {EvenSide(size.width * scale), EvenSide(size.height * scale)};
  }
  return fitting;
}

}  // namespace kxrtc_host
