// The result of the analysis of a record. Long lists are cut at a limit; the count beside them is
// complete.
// Threads: plain values.
#ifndef RECORD_CHECK_RECORD_SUMMARY_H_
#define RECORD_CHECK_RECORD_SUMMARY_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "record/check/finding.h"
#include "record/check/transcode_kind.h"

namespace kxrtc_host {

// Times are recorder time unless a name says output time, which is time in the MP4; both
// microseconds.

// At most so many are listed, so that memory stays bounded. The count includes all.
inline constexpr size_t kMaxSessions = 60000;
inline constexpr size_t kMaxSwitches = 10000;
inline constexpr size_t kMaxVideoFormats = 64;

struct SessionSummary {
  int64_t start_us = 0;
  int64_t end_us = 0;
  bool closed = false;  // A stop record ends it.
  uint64_t video_frames = 0;
  uint64_t audio_frames = 0;
  uint64_t key_frames = 0;
  uint64_t video_bytes = 0;
  uint64_t audio_bytes = 0;
  uint32_t switches = 0;
};

struct ChannelSwitch {
  int64_t time_us = 0;
  uint32_t media_type = 0;
};

// Sums over all channels of one media type.
struct ChannelTotals {
  uint64_t switches = 0;
  int64_t duration_us = 0;
  uint64_t video_frames = 0;
  uint64_t video_bytes = 0;
};

// One kind of picture, from a sequence parameter set (ITU-T H.264, 7.3.2.1.1).
struct VideoFormat {
  uint32_t profile_idc = 0;
  uint32_t level_idc = 0;
  uint32_t width = 0;  // Pixels, after cropping.
  uint32_t height = 0;

  bool operator<(const VideoFormat& other) const;
};

// Of the first audio frame that is not empty.
struct AudioFormat {
  bool is_known = false;  // There is such a frame.
  bool is_adts = false;   // Its ADTS header gives the following.
  uint32_t sample_rate = 0;
  uint32_t channels = 0;     // 0: not in the header.
  uint32_t object_type = 0;  // 2 is AAC-LC.
};

struct DescriptorSummary {
  bool parsed = false;  // The document and its overall object.
  uint32_t session_count = 0;
  uint32_t contain_video = 0;
  uint32_t contain_desktop = 0;
  std::optional<uint32_t> audio_channel_count;
};

struct FileSizes {
  uint64_t index = 0;
  uint64_t video = 0;
  uint64_t audio = 0;
  uint64_t descriptor = 0;
};

enum class FillerReason { kNone, kAudioOnly, kWaitingForKeyFrame, kGap, kStillShare };

// "audio only", "waiting for a key frame", "gap over 5 s", "still share".
const char* FillerReasonName(FillerReason reason);

// A span of the MP4 with one kind of picture.
struct OutputSpan {
  int64_t start_us = 0;  // Output time.
  int64_t end_us = 0;
  FillerReason filler = FillerReason::kNone;
  uint32_t media_type = 0;  // Of the current channel.
  int64_t time_us = 0;      // Recorder time of its start.
};

struct OutputMark {
  int64_t output_us = 0;
  int64_t time_us = 0;
  uint32_t media_type = 0;
};

// Sums of one slice of output time.
struct OutputBucket {
  uint64_t video_bytes = 0;
  uint64_t audio_bytes = 0;
  uint32_t video_frames = 0;
  uint32_t key_frames = 0;
};

// Samples and length of an MP4.
struct FileContents {
  int64_t duration_us = 0;
  uint64_t video_samples = 0;
  uint64_t audio_frames = 0;
};

// How kxrtc transcode ends in one of its modes; the contents are those of the MP4, if there is one.
struct ModePrediction {
  TranscodeKind kind = TranscodeKind::kRecordUnreadable;
  std::string text;  // What is wrong; empty for kWritten.
  FileContents contents;
};

// The MP4 that the transcoder will make of the record.
struct ReplayPrediction {
  ModePrediction encode;
  ModePrediction copy;
  bool completes = false;
  std::string failure;  // Where and why it stops, when it does not complete.
  std::string refusal;  // Why the MP4 writer accepts none of it; empty when it does.
  std::optional<int64_t> failure_time_us;  // Recorder time, if a record is the cause.
  int64_t start_us = 0;                    // Output time of the replay at the start of the MP4.
  int64_t duration_us = 0;                 // Output time.
  uint64_t video_samples = 0;              // Filler included.
  uint64_t audio_samples = 0;
  uint64_t filler_insertions = 0;  // Of the whole clip.
  int64_t filler_us = 0;           // Output time shown as filler in both video modes.
  int64_t still_share_us = 0;      // Likewise, in copied video only: the share's picture, encoded.
  uint64_t dropped_frames = 0;     // Delta frames without their key frame.
  int64_t largest_offset_us = 0;   // Of a picture behind the sound recorded at the same time.
  int64_t largest_offset_time_us = 0;
  std::vector<OutputSpan> spans;
  uint64_t span_count = 0;
  std::vector<OutputMark> switches;
  std::vector<OutputMark> sessions;
  std::vector<int64_t> key_frames_us;  // Output time.
  uint64_t key_frame_count = 0;
  int64_t bucket_us = 0;  // Width of a bucket.
  std::vector<OutputBucket> buckets;
};

struct RecordSummary {
  std::string folder;
  FileSizes sizes;
  uint64_t index_records = 0;
  int64_t duration_us = 0;  // Of all sessions together.
  int64_t recorded_us = 0;  // Of it with sound or pictures; see RecordedTime.
  uint64_t estimate_bytes = 0;
  std::vector<SessionSummary> sessions;
  uint64_t session_count = 0;
  std::vector<ChannelSwitch> switches;
  uint64_t switch_count = 0;
  std::map<uint32_t, ChannelTotals> channels;     // By media type.
  std::map<VideoFormat, uint64_t> video_formats;  // Key frames that carried it.
  AudioFormat audio;
  bool sound_examined = false;   // Each frame was tried with a decoder.
  double audio_interval_us = 0;  // Mean distance of two audio frames, 0 when unknown.
  SessionSummary totals;         // Sums of all sessions; no times.
  DescriptorSummary descriptor;
  ReplayPrediction replay;
  FindingList findings;
};

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_RECORD_SUMMARY_H_
