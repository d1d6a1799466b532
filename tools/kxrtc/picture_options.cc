#include "tools/kxrtc/picture_options.h"

#include <CLI/CLI.hpp>
#include <optional>

#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/predict/chosen_video.h"
#include "record/predict/source_size.h"
#include "tools/kxrtc/size_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::PictureChoice;

constexpr char kSourceSize[] = "source";
constexpr uint32_t kUsualFrameRate = kxrtc::VideoSettingsFor(false).frame_rate;

CLI::Validator WholeNumber(uint32_t least, uint32_t most, const char* name) {
  return CLI::Validator(
      [=](const std::string& text) -> std::string {
        uint32_t number = 0;
        const bool is_number = text.find_first_not_of("0123456789") == std::string::npos &&
                               CLI::detail::lexical_cast(text, number);
        if (is_number && number >= least && number <= most) return "";
        return text + " is not a whole number from " + std::to_string(least) + " to " +
               std::to_string(most);
      },
      name);
}

uint32_t FrameRateOf(const PictureChoice& choice) {
  return choice.frame_rate != 0 ? choice.frame_rate : kUsualFrameRate;
}

}  // namespace

std::string PictureOptions::FirstGiven() const {
  if (!size.empty()) return "--size";
  if (choice.frame_rate != 0) return "--frame-rate";
  if (choice.bit_rate_kbps != 0) return "--bit-rate";
  return choice.quality != 0 ? "--quality" : "";
}

void AddFrameRateOption(CLI::App* command, PictureOptions* options) {
  command
      ->add_option("--frame-rate", options->choice.frame_rate,
                   "Frames a second of encoded pictures, 1 to 60 (default 24)")
      ->check(WholeNumber(1, kxrtc_host::kMaxPictureFrameRate, "FRAMES"));
}

void AddPictureOptions(CLI::App* command, PictureOptions* options) {
  command
      ->add_option_function<std::string>(
          "--size",
          [options](const std::string& text) {
            options->size = text;
            (void)ParseSize(text, &options->choice.width, &options->choice.height);
          },
          "Size of encoded pictures: WIDTHxHEIGHT, or source: that of the largest\n"
          "recorded picture (default 640x360, 1280x720 with a desktop share)")
      ->check(CLI::Validator(
          [](const std::string& text) -> std::string {
            uint32_t width = 0;
            uint32_t height = 0;
            if (text == kSourceSize || ParseSize(text, &width, &height)) return "";
            return text + " is not a size such as 1920x1080, nor source";
          },
          "WxH|source"));
  AddFrameRateOption(command, options);
  command
      ->add_option("--bit-rate", options->choice.bit_rate_kbps,
                   "kbit/s of encoded pictures (default 400 for 640x360, 1200 for\n"
                   "1280x720, in between and beyond by the pixels)")
      ->check(WholeNumber(kxrtc_host::kMinPictureBitRateKbps, kxrtc_host::kMaxPictureBitRateKbps,
                          "KBITS"));
}

void AddQualityOption(CLI::App* command, PictureOptions* options) {
  command
      ->add_option("--quality", options->choice.quality,
                   "The same quality throughout, whatever bits it takes: from 1, the\n"
                   "best, to 51; 23 is usual. Instead of --bit-rate")
      ->check(WholeNumber(1, kxrtc_host::kWorstPictureQuality, "1-51"))
      ->excludes("--bit-rate");
}

void CheckPictureOptions(const PictureOptions& options) {
  if (options.size.empty() || options.size == kSourceSize) return;
  const PictureChoice& choice = options.choice;
  const std::string obstacle =
      kxrtc_host::VideoObstacle({choice.width, choice.height, FrameRateOf(choice), 0});
  if (!obstacle.empty()) throw CLI::ValidationError("--size", obstacle);
}

PictureChoice ResolvePicture(const PictureOptions& options, const std::string& folder,
                             std::string* warning) {
  PictureChoice choice = options.choice;
  if (options.size != kSourceSize) return choice;
  kxrtc_host::RecordFiles files;
  files.Open(folder);
  const std::optional<kxrtc_host::PictureSize> source = kxrtc_host::LargestSourceSize(&files);
  if (!source) return choice;
  const kxrtc_host::PictureSize size = kxrtc_host::EncodableSize(*source, FrameRateOf(choice));
  choice.width = size.width;
  choice.height = size.height;
  if (size.width < source->width || size.height < source->height) {
    const std::string frames = kxrtc_host::CountText(FrameRateOf(choice), "frame");
    *warning = kxrtc_host::Text(
        "recorded pictures of %ux%u are more than H.264 level 5.2 allows at %s a second; they "
        "become "
        "%ux%u",
        source->width, source->height, frames.c_str(), size.width, size.height);
  }
  return choice;
}

void AddToOrigin(const PictureOptions& options, Json::Value* origin) {
  const PictureChoice& choice = options.choice;
  if (!options.size.empty()) (*origin)["size"] = options.size;
  if (choice.frame_rate != 0) (*origin)["frame_rate"] = choice.frame_rate;
  if (choice.bit_rate_kbps != 0) (*origin)["bit_rate_kbps"] = choice.bit_rate_kbps;
  if (choice.quality != 0) (*origin)["quality"] = choice.quality;
}

}  // namespace kxrtc_tool
