// The options that choose size, frame rate and bit rate of encoded pictures.
#ifndef TOOLS_KXRTC_PICTURE_OPTIONS_H_
#define TOOLS_KXRTC_PICTURE_OPTIONS_H_

#include <json/value.h>

#include <string>

#include "record/predict/picture_choice.h"

namespace CLI {
class App;
}  // namespace CLI

namespace kxrtc_tool {

struct PictureOptions {
  std::string size;  // As given: "1920x1080", "source", or empty.
  kxrtc_host::PictureChoice choice;

  // The first of these options that was given; empty: none.
  std::string FirstGiven() const;
};

// --frame-rate. `options` outlives `command`.
void AddFrameRateOption(CLI::App* command, PictureOptions* options);

// --size, --frame-rate and --bit-rate. `options` outlives `command`.
void AddPictureOptions(CLI::App* command, PictureOptions* options);

// --quality, instead of --bit-rate.
void AddQualityOption(CLI::App* command, PictureOptions* options);

// Refuses, as an error of usage, what no H.264 file can have.
void CheckPictureOptions(const PictureOptions& options);

// The choice for the record in `folder`: the size "source" is the one of its largest picture.
// `*warning` tells where it had to be scaled down.
kxrtc_host::PictureChoice ResolvePicture(const PictureOptions& options, const std::string& folder,
                                         std::string* warning);

// What was chosen becomes members of `*origin`; what was not leaves it as it is.
void AddToOrigin(const PictureOptions& options, Json::Value* origin);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PICTURE_OPTIONS_H_
