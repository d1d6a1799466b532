// Keeps of an H.264 byte stream what tells how it is built: start codes with the zero bytes before
// them, NAL headers, parameter sets, slice headers and the structure of SEI. Everything else is
// masked: slice data, the content of SEI, filler, and bytes before the first start code.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_VIDEO_MASK_H_
#define RECORD_BUNDLE_VIDEO_MASK_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "files/is_wanted.h"
#include "files/read_only_file.h"
#include "record/bundle/file_mask.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {

// So much of a parameter set stays: no encoder makes a longer one.
inline constexpr uint32_t kMaxKeptSetBytes = 1024;

class VideoMask final : public FileMask {
 public:
  // `video` is borrowed. Where `is_video` is false, other bytes look like video by chance: nothing
  // stays of parameter sets and SEI but their headers.
  VideoMask(const ReadOnlyFile* video, bool is_video, IsWanted is_wanted)
      : video_(video), is_video_(is_video), is_wanted_(std::move(is_wanted)) {}

  [[nodiscard]] bool Next(MaskStretch* stretch) override;

 private:
  void ReadPiece();
  void End();
  uint64_t ZerosBefore(uint64_t end) const;
  void KeepZeros(uint64_t end);
  void OnStartCode(uint64_t position);
  std::vector<uint8_t> ReadUnit(uint64_t position);
  void MaskUnit(std::vector<uint8_t>* unit);

  const ReadOnlyFile* video_;
  const bool is_video_;
  IsWanted is_wanted_;
  uint64_t position_ = 0;  // Start codes before this are known.
  // From here to the piece, all bytes are zero. Within the piece: behind the latest NAL header.
  uint64_t zeros_from_ = 0;
  bool is_at_end_ = false;
  PictureParameterSets sets_;
  std::deque<MaskStretch> found_;
  std::vector<uint8_t> piece_;
  uint64_t piece_begin_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_VIDEO_MASK_H_
