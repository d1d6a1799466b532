#include "tests/testing/recorded_conference.h"

#include <gtest/gtest.h>

#include <memory>

namespace kx_testing {

using kxrtc::EncodedImage;
using kxrtc::PeerConnectionConductor;
using kxrtc::VideoChannelInfo;
using kxrtc::VoiceActivity;

RecordedConference::RecordedConference() {
  mixer.on_start = [this] { mixer_started_.Set(); };
}

void RecordedConference::Drain() {
  mixer_started_.Reset();
  ASSERT_TRUE(recorder.MuteLocalMicrophone(false));
  ASSERT_TRUE(mixer_started_.Wait(kDeadlineMs));
}

void RecordedConference::StartAndDrain() {
  mixer_started_.Reset();
  ASSERT_TRUE(recorder.StartRecording());
  // The first start is the recording's own.
  ASSERT_TRUE(mixer_started_.Wait(kDeadlineMs));
  Drain();
}

void RecordedConference::MapRemote(const std::vector<VideoChannelInfo>& channels) {
  std::vector<uint32_t> ssrcs;
  std::vector<uint32_t> users;
  std::vector<PeerConnectionConductor::media_type> types;
  for (const VideoChannelInfo& channel : channels) {
    ssrcs.push_back(channel.ssrc);
    users.push_back(channel.user_id);
    types.push_back(static_cast<PeerConnectionConductor::media_type>(channel.type));
  }
  EXPECT_TRUE(recorder.UpdateVideoSsrcMapping(false, ssrcs.data(), users.data(), types.data(),
                                              static_cast<uint32_t>(channels.size())));
}

void RecordedConference::Voices(const std::vector<VoiceActivity>& activities) {
  std::vector<uint32_t> users;
  std::vector<uint8_t> speaking;
  for (const VoiceActivity& activity : activities) {
    users.push_back(activity.user_id);
    speaking.push_back(activity.speaking ? 200 : 0);
  }
  EXPECT_TRUE(recorder.UpdateVoiceActivity(users.data(), speaking.data(),
                                           static_cast<uint32_t>(activities.size())));
}

bool RecordedConference::Key(uint32_t ssrc, const std::string& bytes, uint32_t rotation) {
  return Video(ssrc, kxrtc::kVideoFrameTypeKey, bytes, rotation);
}

bool RecordedConference::Delta(uint32_t ssrc, const std::string& bytes, uint32_t rotation) {
  return Video(ssrc, 4, bytes, rotation);
}

bool RecordedConference::Audio(const std::string& bytes) {
  FakeAudioFrame frame(bytes);
  return recorder.OnEncodedData(&frame);
}

bool RecordedConference::Video(uint32_t ssrc, int32_t frame_type, const std::string& bytes,
                               uint32_t rotation) {
  // On the heap and gone after the call, as with a host.
  const auto copy = std::make_unique<std::string>(bytes);
  EncodedImage image;
  image.encoded_width = 640;
  image.encoded_height = 360;
  image.frame_type = frame_type;
  image.data = reinterpret_cast<const uint8_t*>(copy->data());
  image.length = static_cast<uint32_t>(copy->size());
  image.rotation = rotation;
  return recorder.OnEncodedFrame(&image, ssrc);
}

}  // namespace kx_testing
