#include "host/mp4/encoder_list.h"

#include "kxrtc/recording/replay_rules.h"

namespace kxrtc_host {

std::vector<EncoderState> TryEncoders(const EncoderOpener& opener) {
  constexpr kxrtc::VideoSettings kUsual = kxrtc::VideoSettingsFor(false);
  EncoderSettings settings;
  settings.width = kUsual.width;
  settings.height = kUsual.height;
  settings.frame_rate = kUsual.frame_rate;
  settings.bit_rate_kbps = kUsual.bit_rate_kbps;
  settings.preset = Mp4SinkWriterOptions().preset;
  std::vector<EncoderState> states;
  for (const char* name : kEncoderNames) {
    EncoderState state;
    state.name = name;
    state.opens = opener.Open(name, settings, &state.obstacle) != nullptr;
    states.push_back(state);
  }
  return states;
}

}  // namespace kxrtc_host
