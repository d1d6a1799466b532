// The key frames of an MP4 file with H.264 video.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_FFMPEG_MP4_KEY_FRAMES_H_
#define HOST_FFMPEG_MP4_KEY_FRAMES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/read_only_file.h"
#include "host/ffmpeg/ffmpeg_input_handles.h"
#include "record/show/key_frame_source.h"

namespace kxrtc_host {

class Mp4KeyFrames final : public KeyFrameSource {
 public:
  Mp4KeyFrames() = default;
  ~Mp4KeyFrames() override;

  // Reads the index of the file. False: `*error` says why. Opens no other file, whatever the MP4
  // asks for. Call once.
  [[nodiscard]] bool Open(const std::string& path, std::string* error);

  int64_t duration_us() const override { return duration_us_; }
  const std::vector<int64_t>& times_us() const override { return times_us_; }
  [[nodiscard]] bool Read(size_t place, KeyFrame* frame) override;
  bool ShowsIcon(int64_t) const override { return false; }  // It is in the file.

 private:
  static int ReadBytes(void* self, uint8_t* buffer, int size);
  static int64_t Seek(void* self, int64_t offset, int whence);

  [[nodiscard]] bool OpenInput(std::string* error);
  [[nodiscard]] bool FindVideo(std::string* error);
  [[nodiscard]] bool MakeFilter();
  void ListKeyFrames();
  int64_t FileTime(int64_t ticks) const;
  [[nodiscard]] bool ToAnnexB(AVPacket* packet, std::vector<uint8_t>* access_unit);

  ReadOnlyFile file_;
  int64_t position_ = 0;
  AVIOContext* bytes_ = nullptr;
  FormatInputHandle input_;
  BitstreamFilterHandle filter_;
  const AVStream* stream_ = nullptr;
  int32_t rotation_ = 0;
  int64_t duration_us_ = 0;
  std::vector<int64_t> times_us_;
  std::vector<int64_t> seek_ticks_;  // Where to seek each, in the unit of the stream.
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_MP4_KEY_FRAMES_H_
