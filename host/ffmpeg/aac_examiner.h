// Tries AAC frames with FFmpeg's decoder, at least as strictly as a browser.
#ifndef HOST_FFMPEG_AAC_EXAMINER_H_
#define HOST_FFMPEG_AAC_EXAMINER_H_

#include <cstdint>
#include <vector>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "record/check/sound_examiner.h"

namespace kxrtc_host {

// A frame that does not decode leaves no trace: the next one is tried as if silence were before it.
// Threads: an object belongs to one thread at a time.
class AacExaminer final : public SoundExaminer {
 public:
  [[nodiscard]] bool Begin(uint32_t object_type, uint32_t channel_count) override;
  [[nodiscard]] bool Decodes(const uint8_t* data, uint32_t size) override;

 private:
  bool Open();
  bool MakeReady();
  bool Decode(const uint8_t* data, uint32_t size);
  bool HasLayout() const;
  bool IsQuiet(uint64_t messages);

  std::vector<uint8_t> config_;  // The AudioSpecificConfig.
  std::vector<uint8_t> silence_;
  CodecContextHandle decoder_;  // Null: the last frame was damaged.
  PacketHandle packet_;
  FrameHandle frame_;   // Of the last frame that decoded.
  FrameHandle second_;  // A damaged frame may hold another one.
  FrameHandle silent_;  // Decoded silence.
  // Messages at the first frame that decoded: some encoders do what the decoder mentions. -1: none.
  int64_t usual_messages_ = -1;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_AAC_EXAMINER_H_
