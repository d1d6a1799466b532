// Builds speaker records by hand, byte by byte and independent of the code under test.
#ifndef TESTS_TESTING_RECORD_BUILDER_H_
#define TESTS_TESTING_RECORD_BUILDER_H_

#include <cstdint>
#include <string>

#include "tests/testing/temp_dir.h"

namespace kx_testing {

// Types of index records and media types, written by hand like all that is built here.
inline constexpr uint32_t kStartRecord = 0xEEDDCC01;
inline constexpr uint32_t kStopRecord = 0xEEDDCC02;
inline constexpr uint32_t kChannelRecord = 0xEEDDCC03;
inline constexpr uint32_t kAttributesRecord = 0xEEDDCC04;
inline constexpr uint32_t kVideoRecord = 0xEEDDCC06;
inline constexpr uint32_t kAudioRecord = 0xEEDDCC07;
inline constexpr uint32_t kCamera = 2;
inline constexpr uint32_t kDesktop = 3;

// Smallest access units that pass for a key frame and for a delta frame.
std::string KeyFrame();
std::string DeltaFrame();

// Big-endian fields as the index holds them.
std::string BigEndian32(uint32_t value);
std::string BigEndian64(uint64_t value);

// Collects records and frames; Write() puts the four files into the folder. Each operation appends
// one index record at `timestamp_us`; frames are appended to their data file as well.
class RecordBuilder {
 public:
  explicit RecordBuilder(const TempDir& dir) : folder_(dir.path()) {}

  RecordBuilder& Start(int64_t timestamp_us);
  RecordBuilder& Stop(int64_t timestamp_us);
  RecordBuilder& Channel(int64_t timestamp_us, uint32_t media_type);
  RecordBuilder& Attributes(int64_t timestamp_us, uint32_t width, uint32_t height,
                            int32_t rotation = 0);
  RecordBuilder& Video(int64_t timestamp_us, const std::string& frame);
  RecordBuilder& Key(int64_t timestamp_us) { return Video(timestamp_us, KeyFrame()); }
  RecordBuilder& Delta(int64_t timestamp_us) { return Video(timestamp_us, DeltaFrame()); }
  RecordBuilder& Audio(int64_t timestamp_us, const std::string& frame = "audio");

  // Any bytes, and a data record that points anywhere.
  RecordBuilder& RawIndex(const std::string& bytes);
  RecordBuilder& DataRecord(uint32_t type, int64_t timestamp_us, uint64_t start_position,
                            uint32_t size);
  RecordBuilder& RawVideo(const std::string& bytes);
  RecordBuilder& RawAudio(const std::string& bytes);

  RecordBuilder& Desktop(bool contains) {
    contain_desktop_ = contains;
    return *this;
  }
  RecordBuilder& AudioChannels(uint32_t count) {
    audio_channels_ = count;
    return *this;
  }

  void Write() const;

  const std::string& index() const { return index_; }
  const std::string& video() const { return video_; }
  const std::string& audio() const { return audio_; }
  std::string Descriptor() const;

 private:
  RecordBuilder& Header(uint32_t type, int64_t timestamp_us);

  std::string folder_;
  std::string index_;
  std::string video_;
  std::string audio_;
  std::string sessions_;  // JSON of the closed sessions.
  uint32_t session_count_ = 0;
  int64_t session_start_us_ = 0;
  int64_t session_end_us_ = 0;
  uint64_t session_video_frames_ = 0;
  uint64_t session_audio_frames_ = 0;
  uint32_t session_switches_ = 0;
  bool contain_video_ = false;
  bool contain_desktop_ = false;
  uint32_t audio_channels_ = 2;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_RECORD_BUILDER_H_
