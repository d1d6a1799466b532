// What became of one MP4 file. The writer's stop answers nothing, so the outcome is kept here.
#ifndef HOST_MP4_WRITER_STATUS_H_
#define HOST_MP4_WRITER_STATUS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "record/parts/part_request.h"

namespace kxrtc_host {

// Why there is no file.
enum class WriterFailure {
  kNone,
  kRefused,    // The output could not be begun: it exists, its folder is missing, ...
  kOutput,     // Writing, syncing or renaming the file failed, e.g. a full disk.
  kVideo,      // The pictures cannot be decoded or encoded.
  kAudio,      // The audio is of a kind that cannot be kept.
  kNothing,    // Nothing was pushed that a file could be made of.
  kNoPart,     // Nothing of it is in the parts that were asked for.
  kDiscarded,  // The host asked for it.
  kEncoder,    // No encoder that may be used works here.
};

// Threads: belongs to the writer until it is stopped.
struct Mp4WriterStatus {
  bool file_written = false;  // The finished file stands under its name.
  WriterFailure failure = WriterFailure::kNone;
  std::string failure_text;           // One sentence for the user; empty without a failure.
  std::vector<std::string> warnings;  // Likewise, in the order of their discovery.

  std::string video_encoder;   // Name of the encoder in use; empty when no video is encoded.
  bool is_sound_only = false;  // By the host's choice.
  uint32_t video_width = 0;    // Of encoded video, pixels.
  uint32_t video_height = 0;
  uint32_t video_frame_rate = 0;  // Likewise, frames a second.
  uint64_t video_samples_received = 0;
  uint64_t video_samples_written = 0;
  uint64_t video_samples_dropped = 0;  // Could not have been decoded from the file.
  uint64_t pictures_undecodable = 0;   // Encode mode: the picture before them stayed.
  uint64_t timestamps_raised = 0;      // Equal to the one before, or earlier.
  uint64_t audio_frames_received = 0;
  uint64_t audio_frames_written = 0;
  uint64_t audio_frames_dropped = 0;
  uint64_t audio_frames_silenced = 0;  // Did not decode: silence was written instead.
  bool sound_examined = false;         // Each audio frame was tried with a decoder.
  uint64_t chapters_written = 0;
  PartRequest parts;     // What the file has of the MP4 of the whole record.
  int64_t start_us = 0;  // Output time at the start of that MP4.
  int64_t duration_us = 0;
  uint64_t file_size = 0;  // Bytes.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_WRITER_STATUS_H_
