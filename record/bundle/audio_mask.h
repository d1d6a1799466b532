// Keeps of recorded sound the ADTS headers. A frame that decodes becomes silence of the same
// length, so that it still decodes; in others the whole payload is masked.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_AUDIO_MASK_H_
#define RECORD_BUNDLE_AUDIO_MASK_H_

#include <cstdint>
#include <optional>
#include <queue>
#include <vector>

#include "files/is_wanted.h"
#include "files/read_only_file.h"
#include "record/bundle/file_mask.h"
#include "record/check/damaged_sound.h"
#include "record/index/index_walker.h"
#include "record/repair/adts_scanner.h"
#include "record/stream/stream_frame.h"

namespace kxrtc_host {

class AudioMask final : public FileMask {
 public:
  struct Sound {
    bool is_adts = false;
    uint32_t channels = 0;  // 0: no frame becomes silence.
    const DamagedSound* damaged = nullptr;
  };

  // The files and `sound.damaged` are borrowed. The frames are those that the index names, and
  // those with a header of the file's format, wherever they are.
  AudioMask(ReadOnlyFile* index, ReadOnlyFile* audio, const Sound& sound,
            const IsWanted& is_wanted);

  [[nodiscard]] bool Next(MaskStretch* stretch) override;

 private:
  // Of the index; the first in the file comes first.
  struct IsBehind {
    bool operator()(const StreamFrame& a, const StreamFrame& b) const {
      return a.position != b.position ? a.position > b.position : a.size < b.size;
    }
  };

  void ReadIndex();
  bool Names(uint64_t position, uint64_t size);
  void MaskFrame(uint64_t position, bool is_named, MaskStretch* stretch);

  ReadOnlyFile* audio_;
  Sound sound_;
  IndexWalker walker_;
  bool index_ended_ = false;
  std::priority_queue<StreamFrame, std::vector<StreamFrame>, IsBehind> named_;
  AdtsScanner scanner_;
  std::optional<StreamFrame> header_;  // The next one of the format.
  uint64_t position_ = 0;              // Frames before this are done.
  uint64_t header_to_ = 0;             // The end of the latest header.
  uint64_t named_to_ = 0;    // Ends of the latest frames that are silent now: one that the
  uint64_t unnamed_to_ = 0;  // index names, and another.
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_AUDIO_MASK_H_
