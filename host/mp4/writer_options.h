// What a host can choose about the MP4 files that the reference writer makes.
#ifndef HOST_MP4_WRITER_OPTIONS_H_
#define HOST_MP4_WRITER_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/mp4/mp4_tags.h"
#include "record/parts/part_request.h"
#include "record/predict/picture_choice.h"

namespace kxrtc_host {

class EncoderOpener;

enum class VideoMode {
  kEncode,  // One uniform picture that plays everywhere, as the VideoConfig asks for.
  kCopy,    // The recorded pictures, bit by bit.
  kNone,    // None: the file has the sound only, on the same timeline.
};

// What is shown while a desktop share stands still, so that no picture comes for more than 5 s.
enum class StillShare {
  kPicture,  // Its last picture.
  kIcon,     // The filler clip of the replay.
};

// Upper bounds, so that space for the index can be reserved before the samples are written. If they
// are unknown (all 0), or the space would be large compared with the samples, the samples are moved
// once at the end. The same happens when the bounds are too low.
struct SampleBounds {
  uint64_t video_samples = 0;
  uint64_t audio_frames = 0;
  uint64_t bytes = 0;  // Of all samples.
};

struct Mp4SinkWriterOptions {
  VideoMode video_mode = VideoMode::kEncode;
  // In encode mode, for the record in `record_folder`. Without a folder nothing is known of shares:
  // the icon is shown. Copied video shows it too.
  StillShare still_share = StillShare::kPicture;
  std::string record_folder;
  PictureChoice picture;            // In encode mode.
  std::string preset = "veryfast";  // Of libx264: from ultrafast to placebo.
  // Tries each audio frame with a decoder, as encode mode always does: one that does not decode
  // becomes silence.
  bool check_sound = false;
  // What the file has of the MP4 of the whole record. The ends of parts are moved to where a file
  // can be cut: see Mp4WriterStatus::parts.
  PartRequest parts;
  bool replace_existing = false;
  bool sync = true;         // Wait until the content is on the disk before the file gets its name.
  int encoder_threads = 0;  // 0: as many as there are processors.
  SampleBounds bounds;
  Mp4Tags tags;
  std::string origin;  // What the file is made of, for the mark at its end; empty: no mark.
  // In the order in which they are tried; the first list only when hardware is preferred.
  std::vector<std::string> hardware_encoders = {"h264_nvenc", "h264_v4l2m2m"};
  std::vector<std::string> software_encoders = {"libx264", "libopenh264"};
  bool copies_without_encoder = true;  // Where none of them works. Otherwise there is no file then.
  const EncoderOpener* encoder_opener = nullptr;  // Null: that of FFmpeg. For tests.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_WRITER_OPTIONS_H_
