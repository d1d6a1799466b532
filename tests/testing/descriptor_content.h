// A descriptor's content as its reader sees it, for comparing whole.
#ifndef TESTS_TESTING_DESCRIPTOR_CONTENT_H_
#define TESTS_TESTING_DESCRIPTOR_CONTENT_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"

namespace kx_testing {

// The fields one after another, for comparing whole.
inline std::string DescribeDescriptor(const kxrtc::SpeakerRecordOverall& overall) {
  return std::to_string(overall.record_session_count) + " " +
         std::to_string(overall.contain_video) + " " + std::to_string(overall.contain_desktop) +
         " " + std::to_string(overall.audio_channel_count);
}

inline std::string DescribeDescriptor(const kxrtc::SpeakerRecordSession& session) {
  return std::to_string(session.sessoin_start_timestamp_us) + ".." +
         std::to_string(session.sessoin_end_timestamp_us) + " v" +
         std::to_string(session.session_video_frame_count) + " a" +
         std::to_string(session.session_audio_frame_count) + " s" +
         std::to_string(session.session_video_switch_count);
}

// The overall counts and every session, as the reader sees them.
inline std::vector<std::string> LoadDescriptor(const std::string& file_name) {
  kxrtc::SpeakerRecordDescReader reader;
  if (!reader.Initialize(file_name)) return {"refused"};
  kxrtc::SpeakerRecordOverall overall;
  EXPECT_TRUE(reader.GetSpeakerRecordOverall(&overall));
  std::vector<std::string> result = {DescribeDescriptor(overall)};
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    kxrtc::SpeakerRecordSession session;
    EXPECT_TRUE(reader.GetSpeakerRecordSession(i, &session));
    result.push_back(DescribeDescriptor(session));
  }
  return result;
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_DESCRIPTOR_CONTENT_H_
